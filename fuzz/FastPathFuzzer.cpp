// Two engines, one with its fast paths switched off, take the same fuzzed calls and must answer
// alike: every status, probability (to the bit), message and printed byte. The input is cut at
// 0x01 bytes into pieces: a piece that begins with "H" or "#" is a description loaded into both
// engines; any other piece is the test results of one field, classified through the host's entry
// point, then asked state by state with verbose output (which shows what the caches hold), and
// at the end all fields again as one batch file.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "engine/FieldClassifier.h"
#include "fuzz/FuzzSupport.h"

using namespace veltra;

namespace {

// What a call did: its answer, its failure and everything it printed.
struct Trace {
    std::string answer;
    std::string failure;
    std::string printed;
    bool operator==(const Trace& o) const
    {
        return answer == o.answer && failure == o.failure && printed == o.printed;
    }
};

template <class Call>
Trace Traced(FieldClassifier& engine, Call call)
{
    Trace trace;
    std::ostringstream printed;
    std::streambuf* out = std::cout.rdbuf(printed.rdbuf());
    std::streambuf* err = std::cerr.rdbuf(printed.rdbuf());
    try {
        trace.answer = call(engine);
    } catch (TrapException& e) {
        trace.failure = e.GetMessage();
    }
    std::cout.rdbuf(out);
    std::cerr.rdbuf(err);
    trace.printed = printed.str();
    return trace;
}

std::string Bits(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%a ", value);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > fuzz::kMaxInput) return 0;
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 1)
            pieces.emplace_back();
        else
            pieces.back() += static_cast<char>(data[i]);
    }
    FieldClassifier keyed, fast;
    keyed.SetFastPath(false);
    auto twins = [&](auto call) {
        if (!(Traced(keyed, call) == Traced(fast, call))) fuzz::Fail("the fast path answered otherwise");
    };
    std::string batch;
    for (const std::string& piece : pieces) {
        if (!piece.empty() && (piece[0] == 'H' || piece[0] == '#')) {
            twins([&](FieldClassifier& e) { return e.GetNetwork().Load(piece), std::string(); });
            continue;
        }
        batch += ";TESTS\tA\t" + piece + "\n";
        const std::string results = piece.substr(0, piece.find('\0'));
        twins([&](FieldClassifier& e) {
            char states[64];
            double levels[64];
            int32_t count = 64;
            std::string answer = std::to_string(e.AnalyzeInto(results.c_str(), states, levels, &count));
            for (int32_t i = 0; i < count && i < 64; ++i) answer += states[i] + Bits(levels[i]);
            return answer;
        });
        if (!keyed.GetNetwork().HasHypothesis()) continue;
        AutoPtr<Vector<String>> stateKeys(keyed.GetNetwork().GetHypothesisKeys());
        for (int32_t s = 0; s < stateKeys->Size(); ++s)
            twins([&](FieldClassifier& e) {
                return Bits(e.GetNetwork().GetConfLevel((*stateKeys)[s], results, true));
            });
    }
    const std::filesystem::path dir = std::filesystem::temp_directory_path();
    const std::string prefix = "veltra-fastpath-fuzz-" + std::to_string(getpid());
    const std::string input = (dir / (prefix + "-input.txt")).string();
    std::ofstream(input, std::ios::binary) << batch;
    twins([&](FieldClassifier& e) {
        const std::string output = (dir / (prefix + "-" + std::to_string(&e == &fast) + ".txt")).string();
        std::string answer;
        try {
            e.AnalyzeFile(input, output);
        } catch (TrapException&) {
            answer = "raised\n";
        }
        std::ifstream in(output, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        std::remove(output.c_str());
        return answer + text.str();
    });
    std::remove(input.c_str());
    return 0;
}
