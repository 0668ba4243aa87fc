// Two engines, one with its fast paths switched off, take the same fuzzed calls and must answer
// alike: every status, probability (to the bit), message, printed byte, written file and count.
// The input is cut at 0x01 bytes into pieces, each one call:
// - "H..." or "#...": a description, loaded into both engines (reloads leave stale cache entries);
// - "P<key> <value>": the probability of the key set to the value;
// - "L<line>": a line of the sample and batch file;
// - anything else: the test results of one field, classified through the host's entry point (into
//   too few slots when the piece's length is 4 modulo 5) and into a table, then asked state by
//   state for the level and the product with verbose output, which shows what the caches hold.
// At the end both engines evaluate the batch file (the lines, then a line for every field) and
// train the last description on the lines, by counts when one begins with "C(".
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "engine/FieldClassifier.h"
#include "fuzz/FuzzSupport.h"

using namespace veltra;

namespace {

// The file a call of `engine` writes: one for each engine.
std::string OutputOf(const FieldClassifier& engine)
{
    return fuzz::Scratch().File(std::to_string(reinterpret_cast<uintptr_t>(&engine)));
}

// What a call answered or raised, everything it printed and the file it wrote (removed then),
// with the date of training masked.
template <class Call>
std::string Traced(FieldClassifier& engine, Call call)
{
    std::ostringstream printed;
    std::streambuf* out = std::cout.rdbuf(printed.rdbuf());
    std::streambuf* err = std::cerr.rdbuf(printed.rdbuf());
    std::string trace;
    try {
        trace = call(engine);
    } catch (TrapException& e) {
        trace = "raised " + e.GetMessage();
    }
    std::cout.rdbuf(out);
    std::cerr.rdbuf(err);
    const std::string output = OutputOf(engine);
    trace += "\nprinted " + printed.str() + "\nwrote " + fuzz::ReadFile(output);
    std::remove(output.c_str());
    const size_t date = trace.find("# Date of training: ");
    if (date != std::string::npos) trace.replace(date + 20, 24, 24, '#');
    return trace;
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
        const std::string keyedTrace = Traced(keyed, call), fastTrace = Traced(fast, call);
        if (keyedTrace != fastTrace)
            fuzz::Fail("the fast path answered otherwise.\nkeyed: " + keyedTrace + "\nfast: " + fastTrace);
    };
    std::string network, lines, fields;
    bool counts = false;
    for (const std::string& piece : pieces) {
        const char kind = piece.empty() ? '\0' : piece[0];
        if (kind == 'H' || kind == '#') {
            network = piece;
            twins([&](FieldClassifier& e) { return e.GetNetwork().Load(piece), std::string(); });
            continue;
        }
        if (kind == 'P') {
            std::string key;
            double value = 0.0;
            std::istringstream(piece.substr(1)) >> key >> value;
            twins(
                [&](FieldClassifier& e) { return e.GetNetwork().SetProbability(key, value), std::string(); });
            continue;
        }
        if (kind == 'L') {
            counts = counts || piece.compare(1, 2, "C(") == 0;
            lines += piece.substr(1) + "\n";
            continue;
        }
        fields += ";TESTS\tA\t" + piece + "\n";
        const std::string results = piece.substr(0, piece.find('\0'));
        AutoPtr<Vector<String>> stateKeys(keyed.GetNetwork().HasHypothesis()
                                              ? keyed.GetNetwork().GetHypothesisKeys()
                                              : Ptr<Vector<String>>(new Vector<String>()));
        const int32_t states = stateKeys->Size();
        const int32_t capacity = piece.size() % 5 == 4 ? states - 1 : 64;
        twins([&](FieldClassifier& e) {
            char names[64] = {};
            double levels[64] = {};
            int32_t count = capacity;
            std::string answer = std::to_string(e.AnalyzeInto(results.c_str(), names, levels, &count));
            for (int32_t i = 0; i < count && i < 64; ++i) answer += names[i] + fuzz::Bits(levels[i]) + " ";
            return answer;
        });
        twins([&](FieldClassifier& e) {
            AutoPtr<DubiousDataList> table(e.Analyze(results, false));
            Ptr<Vector<String>> keys = table->GetKeys();
            std::string answer;
            for (int32_t i = 0; i < keys->Size(); ++i)
                answer += (*keys)[i].str() + fuzz::Bits(table->Get((*keys)[i])->m_figure) + " ";
            return answer;
        });
        for (int32_t s = 0; s < stateKeys->Size(); ++s)
            twins([&](FieldClassifier& e) {
                return fuzz::Bits(e.GetNetwork().GetConfLevel((*stateKeys)[s], results, true)) + " " +
                       fuzz::Bits(e.GetNetwork().Product((*stateKeys)[s], results, true));
            });
    }
    const std::string batch = fuzz::Scratch().Write("batch.txt", lines + fields);
    twins([&](FieldClassifier& e) { return e.AnalyzeFile(batch, OutputOf(e)), std::string(); });
    const std::string networkFile = fuzz::Scratch().Write("network.txt", network);
    const std::string samples = fuzz::Scratch().Write("samples.txt", lines);
    twins([&](FieldClassifier& e) {
        return e.Train(networkFile, samples, OutputOf(e), counts), std::string();
    });
    return 0;
}
