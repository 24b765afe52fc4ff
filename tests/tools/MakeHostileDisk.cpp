// make_hostile_disk: writes one of the hostile test disks, or an EPBR chain of
// any length, for measuring and for trying the tool by hand: "chain" puts an
// EPBR every two sectors, "mib-chain" one at the start of each MiB (sparse).
//
//   make_hostile_disk list | NAME OUTPUT | chain COUNT OUTPUT | mib-chain COUNT OUTPUT

#include <cstdlib>
#include <exception>
#include <iostream>

#include "support/HostileDisks.h"

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    try {
        if (what == "chain" && argc == 4) return hostile::WriteChain(argv[3], std::strtoull(argv[2], nullptr, 10)), 0;
        if (what == "mib-chain" && argc == 4)
            return hostile::WriteChain(argv[3], std::strtoull(argv[2], nullptr, 10), UINT64_MAX, 2048), 0;
        for (const hostile::Case& c : hostile::Cases()) {
            if (what == "list" && argc == 2) std::cout << c.name << "\n";
            if (c.name == what && argc == 3) return c.make(argv[2]), 0;
        }
        if (what == "list" && argc == 2) return 0;
        if (argc == 3) {
            std::cerr << "make_hostile_disk: no disk named " << what << "\n";
            return 1;
        }
    } catch (const std::exception& e) {
        std::cerr << "make_hostile_disk: " << e.what() << "\n";
        return 1;
    }
    std::cerr << "usage: make_hostile_disk list | NAME OUTPUT | chain COUNT OUTPUT | mib-chain COUNT OUTPUT\n";
    return 2;
}
