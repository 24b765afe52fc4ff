// The suite's entry point. Tests that need seconds (loop devices, strace, the
// peers' tools, the longest chains) have suite names ending in "Slow"; a plain
// run leaves them out so that the everyday loop and a mutation run stay fast.
// Any --gtest_filter, or LAYSCAN_ALL_TESTS=1, runs what it says instead;
// ctest runs the slow ones as a test of their own.
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

namespace {

bool FilterGiven(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--gtest_filter", 14) == 0) return true;
    return std::getenv("GTEST_FILTER") != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    const bool filterGiven = FilterGiven(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    const char* all = std::getenv("LAYSCAN_ALL_TESTS");
    if (!filterGiven && !(all && std::strcmp(all, "1") == 0)) GTEST_FLAG_SET(filter, "-*Slow.*");
    return RUN_ALL_TESTS();
}
