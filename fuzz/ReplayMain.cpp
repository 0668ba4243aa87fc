// Runs a fuzz target over files or directories of inputs, for compilers without libFuzzer: lets
// the checked-in corpus run as ordinary tests. A path that does not exist, a directory without
// inputs or no input at all fails the run: a corpus that went missing must not pass as tested.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void Replay(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

int main(int argc, char** argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path(argv[i]);
        std::vector<std::filesystem::path> inputs;
        if (std::filesystem::is_directory(path)) {
            for (const auto& entry : std::filesystem::directory_iterator(path))
                if (entry.is_regular_file()) inputs.push_back(entry.path());
            std::sort(inputs.begin(), inputs.end());
        } else if (std::filesystem::is_regular_file(path)) {
            inputs.push_back(path);
        }
        if (inputs.empty()) {
            std::fprintf(stderr, "no inputs in %s\n", argv[i]);
            return 1;
        }
        for (const auto& input : inputs) Replay(input);
        count += static_cast<int>(inputs.size());
    }
    std::printf("replayed %d inputs\n", count);
    return count > 0 ? 0 : 1;
}
