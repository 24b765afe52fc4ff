#pragma once
// The one alignment rule of both layout models. Each used partition is fed as
// (A, B, S): two sector counts and the sector size. The track test comes
// first and works on sectors; the megabyte tests work on bytes and are exact,
// so a disk whose partitions fall in different classes is "None".

#include <cstdint>
#include <string>

namespace nsLayout {

class AlignmentClassifier {
public:
    explicit AlignmentClassifier(uint32_t sectorsPerTrack);

    // An entry that fits no class leaves the state unchanged.
    void Add(uint64_t a, uint64_t b, uint32_t bytesPerSector);
    // "Cylinder", "1 MB", "2 MB", "3 MB", "4 MB" or "None".
    std::wstring GetLabel() const;

private:
    enum class State { Unset, Cylinder, OneMb, TwoMb, ThreeMb, FourMb, Mixed };

    uint32_t mSectorsPerTrack;
    State mState = State::Unset;
};

}  // namespace nsLayout
