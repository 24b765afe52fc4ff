#include "SectorBuffer/Dev/DiskSectorProvider.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "support/FakeDiskDevice.h"
#include "support/Failure.h"
#include "support/GoldenFile.h"

namespace {

// Runs one script of tests/golden/disk-cache.txt against a fake drive and returns what came of it: the device
// reads as "FIRST+COUNT" in sectors ("@" after a seek), a step's failure as "fails: TEXT" (the script ends
// there when it was the provider's making) and the sizes as "[...]". The provider is made at the first step
// that needs it, after the device's knobs are set.
std::string RunScript(uint32_t bytesPerSector, uint64_t sectors, const std::string& script) {
    auto owned = std::make_unique<FakeDiskDevice>(bytesPerSector, sectors);
    FakeDiskDevice* device = owned.get();  // owned by the provider once it is made
    std::unique_ptr<DiskSectorProvider> provider;
    uint32_t sectorSize = 0;
    std::wstring path;
    std::string out;
    size_t logged = 0;
    std::istringstream in(script);
    for (std::string step; in >> step;) {
        const std::string failure = FailureOf([&] {
            const size_t is = step.find('='), plus = step.find('+');
            const uint64_t value = is == std::string::npos ? 0 : std::stoull(step.substr(is + 1));
            if (step == "!seek" || step == "!read") (step == "!seek" ? device->seekFails : device->readFails) = true;
            else if (step == "!geometry" || step == "!length") (step == "!length" ? device->lengthFails
                                                                                  : device->geometryFails) = true;
            else if (step == "!geometry-bytes") device->geometryBytes = 0;
            else if (step.starts_with("size=")) sectorSize = uint32_t(value);
            else if (step.starts_with("extra=")) device->extraLength = int64_t(value);
            else if (step == "volume") path = L"\\\\.\\C:";
            else if (step == "image") device->imageFile = true;
            else if (step.starts_with("efi=")) std::memcpy(device->Bytes().data() + value, "EFI PART", 8);
            else if (step.starts_with("holds=")) device->Bytes().resize(value * bytesPerSector);
            else if (step == "refill") {
                device->Bytes().resize(sectors * bytesPerSector);
                for (size_t i = 0; i < device->Bytes().size(); ++i)
                    device->Bytes()[i] = FakeDiskDevice::PatternByte(i, bytesPerSector);
            }
            else if (!provider) provider = std::make_unique<DiskSectorProvider>(std::move(owned), path, sectorSize);
            if (step == "D" || step == "E") provider->DisableCache(step == "D");
            else if (step == "?")
                out += " [" + std::to_string(provider->GetSectorCount()) + " x " +
                       std::to_string(provider->GetBytesPerSector()) + ", " + std::to_string(provider->GetCylinders()) +
                       "/" + std::to_string(provider->GetTracksPerCylinder()) + "/" +
                       std::to_string(provider->GetSectorsPerTrack()) + "]";
            if (plus == std::string::npos) return;
            const uint64_t first = std::stoull(step.substr(step[0] == 'W')), count = std::stoull(step.substr(plus + 1));
            const uint32_t bps = provider->GetBytesPerSector();
            // The sectors stand before a guard byte; a write puts new bytes that a stale cache would not hold.
            std::vector<uint8_t> bytes(size_t(std::min<uint64_t>(count, 64) * bps) + 1, 0xEE);
            if (step[0] == 'W') {
                for (size_t i = 0; i + 1 < bytes.size(); ++i) bytes[i] = uint8_t(i * 3 + 1);
                return provider->Write(first, count, bytes.data());
            }
            provider->Read(first, count, bytes.data());
            EXPECT_EQ(bytes.back(), 0xEE) << step << ": wrote past the requested sectors";
            EXPECT_TRUE(std::equal(bytes.begin(), bytes.end() - 1, device->Bytes().begin() + first * bps)) << step;
        });
        if (!provider && !failure.empty()) return out + " fails: " + failure;
        for (; logged < device->log.reads.size(); ++logged) {
            const FakeDiskDevice::DeviceRead& r = device->log.reads[logged];
            const uint32_t bps = provider ? provider->GetBytesPerSector() : bytesPerSector;
            out += std::string(" ") + (r.afterSeek ? "@" : "") + std::to_string(r.offset / bps) + "+" +
                   std::to_string(r.bytes / bps);
        }
        out += failure.empty() ? "" : " fails: " + failure;
    }
    return out;
}

// Each line of the file: sector size, sector count, a script, "=>", what came of it; the expected outcome is
// replaced by the actual one and the file compared.
TEST(DiskSectorProvider, CacheFillsHitsSeeksAndFailures) {
    golden::ExpectOutcomes("disk-cache.txt", [](const std::string& line) {
        std::istringstream in(line);
        uint32_t bps = 0;
        uint64_t sectors = 0;
        std::string script;
        in >> bps >> sectors;
        std::getline(in >> std::ws, script);
        return RunScript(bps, sectors, script);
    });
}

}  // namespace
