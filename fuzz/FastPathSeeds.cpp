// Writes FastPathFuzzer's seeded inputs, seeded-01 to seeded-40, into the directory given: the
// random networks, reloads and calls of the engine's comparative test, with probability changes.
// The build runs it; the replay test and the fuzzer read the directory beside the checked-in corpus.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/SeededCalls.h"

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: FastPathSeeds DIRECTORY\n", stderr);
        return 2;
    }
    std::filesystem::create_directories(argv[1]);
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        std::string input;
        for (const std::string& piece : veltra::test::SeededPieces(seed, 1000, true)) input += piece + '\x01';
        input.pop_back();
        char name[16];
        std::snprintf(name, sizeof name, "seeded-%02u", static_cast<unsigned>(seed));
        if (!(std::ofstream(std::filesystem::path(argv[1]) / name, std::ios::binary) << input)) {
            std::fprintf(stderr, "FastPathSeeds: cannot write %s in %s\n", name, argv[1]);
            return 1;
        }
    }
    return 0;
}
