// Shared by the fuzz targets: the size bound, a broken contract turned into a crash, the output of
// one call captured, the checks every export's outcome must pass, the scratch files through which
// the file readers get their fuzzed contents, and the fixed network of the targets that need one.
#ifndef VELTRA_FUZZ_FUZZSUPPORT_H
#define VELTRA_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "api/Veltra.h"
#include "tests/support/Files.h"

namespace veltra::fuzz {

using test::Bits;
using test::ReadFile;
using test::Scratch;

// Inputs above this size are skipped: descriptions, result strings and the files are short by
// nature, and the largest corpus input, a network of 1024 tests, takes 100 KiB.
constexpr size_t kMaxInput = 128 * 1024;

// The tests of the fixed network, three states and two tests, and then its probabilities.
const char* const kFixedTests =
    "H = Category \"a,b,c\"\n"
    "Dig = Has digits \"y,n\"\n"
    "Len = Length class \"s,m,l\"\n";
const char* const kFixedProbabilities =
    "P(H=a) = 0.5\nP(H=b) = 0.3\nP(H=c) = 0.2\n"
    "P(Dig=y|H=a) = 0.9\nP(Dig=n|H=a) = 0.1\nP(Dig=y|H=b) = 0.5\nP(Dig=n|H=b) = 0.5\n"
    "P(Dig=y|H=c) = 0\nP(Dig=n|H=c) = 1\n"
    "P(Len=s|H=a) = 0.2\nP(Len=m|H=a) = 0.3\nP(Len=l|H=a) = 0.5\n"
    "P(Len=s|H=b) = 0.6\nP(Len=m|H=b) = 0.3\nP(Len=l|H=b) = 0.1\n"
    "P(Len=s|H=c) = 0.3\nP(Len=m|H=c) = 0.3\nP(Len=l|H=c) = 0.4\n";

// A broken contract: reported and turned into a crash, so that the fuzzer keeps the input.
[[noreturn]] inline void Fail(const std::string& what)
{
    std::fputs((what + "\n").c_str(), stderr);
    std::fflush(stderr);
    std::abort();
}

// What one export call did: its status and what it wrote to standard error and standard output.
// The library writes through the standard streams, so swapping their buffers catches every byte
// and leaves file descriptor 2 to the sanitizers.
struct Outcome {
    int32_t status = -2;
    std::string err, out;
};

template <class Call>
Outcome Capture(Call call)
{
    test::StreamCapture err{std::cerr}, out{std::cout};
    const int32_t status = call();
    return {status, err.text.str(), out.text.str()};
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

// Analyze into arrays of `slots` entries preset to a mark, *count set to `capacity`, with its
// contract checked: the status and message as for every export (a -1 without a message only with
// a capacity below `states`, or when that is unknown, -1); on -1 the count and both arrays
// untouched; on success a count within the capacity and nothing written past it. Returns what it
// answered: status, message, count and entries, every probability to the bit.
inline std::string AnalyzeChecked(BayesianEngineHandle engine, const std::string& results, int32_t capacity,
                                  size_t slots, int32_t states, const std::string& input)
{
    const char unsetCategory = '\x7f';
    const double unsetProbability = -7.25;
    std::vector<char> categories(slots, unsetCategory);
    std::vector<double> probabilities(slots, unsetProbability);
    int32_t count = capacity;
    const Outcome outcome = Capture(
        [&] { return Analyze(engine, results.c_str(), categories.data(), probabilities.data(), &count); });
    CheckStatus("Analyze", outcome, input, states < 0 || capacity < states);
    if (!outcome.out.empty()) Fail("Analyze: wrote to standard output");
    if (outcome.status == -1 ? count != capacity : count < 0 || count > capacity)
        Fail("Analyze: status " + std::to_string(outcome.status) + " with the count " +
             std::to_string(count));
    const size_t written = outcome.status == 0 ? static_cast<size_t>(count) : 0;
    std::string answer = std::to_string(outcome.status) + outcome.err + std::to_string(count);
    for (size_t i = 0; i < slots; ++i) {
        if (i < written)
            answer += " " + std::string(1, categories[i]) + Bits(probabilities[i]);
        else if (categories[i] != unsetCategory || probabilities[i] != unsetProbability)
            Fail("Analyze: status " + std::to_string(outcome.status) + ", entry " + std::to_string(i) +
                 " written");
    }
    return answer;
}

// The input cut at its first zero byte: the text before it, and the rest. Without a zero byte the
// head is `fixedHead` and the rest the whole input, or, with no (an empty) `fixedHead`, the head is
// the whole input and the rest empty.
inline void SplitAtZero(const uint8_t* data, size_t size, std::string& head, std::string& rest,
                        const std::string& fixedHead = "")
{
    const std::string all(reinterpret_cast<const char*>(data), size);
    const size_t zero = all.find('\0');
    if (zero == std::string::npos && !fixedHead.empty()) {
        head = fixedHead;
        rest = all;
        return;
    }
    head = all.substr(0, zero);
    rest = zero == std::string::npos ? std::string() : all.substr(zero + 1);
}

}  // namespace veltra::fuzz

#endif  // VELTRA_FUZZ_FUZZSUPPORT_H
