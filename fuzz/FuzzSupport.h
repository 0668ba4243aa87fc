// Shared by the fuzz targets: the size bound, a broken contract turned into a crash, the output of
// one call captured, the checks every export's outcome must pass, and the temporary files through
// which the file readers get their fuzzed contents.
#ifndef VELTRA_FUZZ_FUZZSUPPORT_H
#define VELTRA_FUZZ_FUZZSUPPORT_H

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "api/Veltra.h"

namespace veltra::fuzz {

// Inputs above this size are skipped: descriptions, result strings and the files are short by nature.
constexpr size_t kMaxInput = 64 * 1024;

// A broken contract: reported and turned into a crash, so that the fuzzer keeps the input.
[[noreturn]] inline void Fail(const std::string& what)
{
    std::fputs(what.c_str(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
    std::abort();
}

// What one export call did: its status and what it wrote to standard error and standard output.
// The library writes through the standard streams, so swapping their buffers catches every byte
// and leaves file descriptor 2 to the sanitizers.
struct Outcome {
    int32_t status = -2;
    std::string err;
    std::string out;
};

template <class Call>
Outcome Capture(Call call)
{
    std::ostringstream err, out;
    std::streambuf* savedErr = std::cerr.rdbuf(err.rdbuf());
    std::streambuf* savedOut = std::cout.rdbuf(out.rdbuf());
    Outcome outcome;
    outcome.status = call();
    std::cerr.rdbuf(savedErr);
    std::cout.rdbuf(savedOut);
    outcome.err = err.str();
    outcome.out = out.str();
    return outcome;
}

// The contract of every export: 0 or -1 and nothing else; a -1 explained on standard error by
// whole lines, a success silent there; never a leak report that the input did not bring in.
// `silentFailure` allows the one -1 that comes without a message (Analyze's too small capacity).
inline void CheckStatus(const char* call, const Outcome& outcome, const std::string& input,
                        bool silentFailure = false)
{
    const std::string what = std::string(call) + ": ";
    if (outcome.status != 0 && outcome.status != -1) Fail(what + "status " + std::to_string(outcome.status));
    if (outcome.status == 0 && !outcome.err.empty()) Fail(what + "succeeded with a message: " + outcome.err);
    if (outcome.status == -1 && outcome.err.empty() && !silentFailure) Fail(what + "-1 without a message");
    if (!outcome.err.empty() && outcome.err.back() != '\n') Fail(what + "message without an end of line");
    const char* leak = "Memory leak detected!";
    if (outcome.err.find(leak) != std::string::npos && input.find(leak) == std::string::npos)
        Fail(what + "leak report: " + outcome.err);
}

// One Analyze call into arrays of `slots` entries preset to a mark, *count set to `capacity`:
// what the call returned and printed, and the count and arrays as it left them.
struct Answer {
    Outcome outcome;
    int32_t capacity = 0;
    int32_t count = 0;
    std::vector<char> categories;
    std::vector<double> probabilities;

    static constexpr char kUnsetCategory = '\x7f';
    static constexpr double kUnsetProbability = -7.25;

    bool Unset(size_t i) const
    {
        return categories[i] == kUnsetCategory && Same(probabilities[i], kUnsetProbability);
    }
    static bool Same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
    // Equal status, message, count and entries, every probability to the bit.
    bool operator==(const Answer& o) const
    {
        if (outcome.status != o.outcome.status || outcome.err != o.outcome.err || count != o.count ||
            categories != o.categories || probabilities.size() != o.probabilities.size())
            return false;
        for (size_t i = 0; i < probabilities.size(); ++i)
            if (!Same(probabilities[i], o.probabilities[i])) return false;
        return true;
    }
};

// Analyze with its contract checked: the status and message as for every export (a -1 without a
// message only with a capacity below `states`, when that is known, or -1 for unknown); on -1 the
// count and both arrays untouched; on success a count within the capacity and nothing written
// past it.
inline Answer AnalyzeChecked(BayesianEngineHandle engine, const std::string& results, int32_t capacity,
                             size_t slots, int32_t states, const std::string& input)
{
    Answer a;
    a.capacity = a.count = capacity;
    a.categories.assign(slots, Answer::kUnsetCategory);
    a.probabilities.assign(slots, Answer::kUnsetProbability);
    a.outcome = Capture([&] {
        return Analyze(engine, results.c_str(), a.categories.data(), a.probabilities.data(), &a.count);
    });
    CheckStatus("Analyze", a.outcome, input, states < 0 || capacity < states);
    if (!a.outcome.out.empty()) Fail("Analyze: wrote to standard output");
    if (a.outcome.status == -1) {
        if (a.count != capacity) Fail("Analyze: -1 but the count changed");
        for (size_t i = 0; i < slots; ++i)
            if (!a.Unset(i)) Fail("Analyze: -1 but the arrays were written");
        return a;
    }
    if (a.count < 0 || a.count > capacity) Fail("Analyze: count outside the capacity");
    for (size_t i = static_cast<size_t>(a.count); i < slots; ++i)
        if (!a.Unset(i)) Fail("Analyze: written past the count");
    return a;
}

// The path of the file `name` in a directory of this process's own, removed at exit.
inline std::string ScratchFile(const std::string& name)
{
    struct Directory {
        std::filesystem::path path =
            std::filesystem::temp_directory_path() / ("veltra-fuzz-" + std::to_string(getpid()));
        Directory() { std::filesystem::create_directories(path); }
        ~Directory()
        {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    };
    static const Directory directory;
    return (directory.path / name).string();
}

// Writes `bytes` as the whole of the scratch file `name`, none there before, and returns its path.
inline std::string WriteScratch(const std::string& name, const std::string& bytes)
{
    const std::string path = ScratchFile(name);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) Fail("cannot write " + path);
    return path;
}

// The whole of the file at `path`, empty when it cannot be opened.
inline std::string ReadWhole(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

// The input cut at its first zero byte: the text before it, and the rest. Without a zero byte the
// head is `fixedHead` and the rest the whole input, or, with no `fixedHead`, the head is the whole
// input and the rest empty. Tells whether there was a zero byte.
inline bool SplitAtZero(const uint8_t* data, size_t size, std::string& head, std::string& rest,
                        const char* fixedHead = nullptr)
{
    const std::string all(reinterpret_cast<const char*>(data), size);
    const size_t zero = all.find('\0');
    if (zero == std::string::npos && fixedHead) {
        head = fixedHead;
        rest = all;
        return false;
    }
    head = all.substr(0, zero);
    rest = zero == std::string::npos ? std::string() : all.substr(zero + 1);
    return zero != std::string::npos;
}

}  // namespace veltra::fuzz

#endif  // VELTRA_FUZZ_FUZZSUPPORT_H
