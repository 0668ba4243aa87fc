// Runs a fuzz target over directories of inputs, for compilers without libFuzzer: lets the
// checked-in corpus run as ordinary tests. A directory that does not exist or holds no input
// fails the run: a corpus that went missing must not pass as tested.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/Files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<std::filesystem::path> inputs;
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i], missing))
            inputs.push_back(entry);
        if (inputs.empty()) {
            std::fprintf(stderr, "no inputs in %s\n", argv[i]);
            return 1;
        }
        std::sort(inputs.begin(), inputs.end());
        for (const auto& input : inputs) {
            const std::string bytes = veltra::test::ReadFile(input.string());
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        }
        count += inputs.size();
    }
    std::printf("replayed %zu inputs\n", count);
    return count > 0 ? 0 : 1;
}
