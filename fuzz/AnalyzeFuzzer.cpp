// Analyze through the export, on the fixed network with a third test whose "z" is impossible in
// every state. The first byte of the input picks the capacity (-7 to 7); the rest, cut at
// newlines, is the test results of up to 64 fields, classified in turn by one engine. Besides the
// contract of every export: with room for the three states, the status is what the results call
// for: 0 for one known value or "-" per test, full stops aside, -1 otherwise.
#include <cstring>
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

namespace {

const std::string kNetwork = std::string(kFixedTests) + "Case = Case \"u,v,z\"\n" + kFixedProbabilities +
                             "P(Case=u|H=a) = 0.5\nP(Case=v|H=a) = 0.5\nP(Case=z|H=a) = 0\n"
                             "P(Case=u|H=b) = 0.9\nP(Case=v|H=b) = 0.1\nP(Case=z|H=b) = 0\n"
                             "P(Case=u|H=c) = 0.25\nP(Case=v|H=c) = 0.75\nP(Case=z|H=c) = 0\n";
const char* const kValues[] = {"yn", "sml", "uvz"};

// Whether the results, as Analyze sees them (up to a zero byte, full stops removed), hold one
// known value or "-" for each test.
bool Classifiable(const std::string& field)
{
    std::string results;
    for (const char c : field.substr(0, field.find('\0')))
        if (c != '.') results += c;
    for (size_t t = 0; t < results.size(); ++t)
        if (t >= 3 || (results[t] != '-' && !std::strchr(kValues[t], results[t]))) return false;
    return results.size() == 3;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    const int32_t capacity = static_cast<int8_t>(data[0]) % 8;
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    BayesianEngineHandle engine = nullptr;
    if (CreateBayesianEngine(&engine) != 0 || !engine) Fail("CreateBayesianEngine failed");
    CheckStatus("InitializeThruParam", Capture([&] { return InitializeThruParam(engine, kNetwork.c_str()); }),
                input);
    size_t start = 0;
    for (int field = 0; field < 64 && start <= input.size(); ++field) {
        const std::string results = input.substr(start, input.find('\n', start) - start);
        start += results.size() + 1;
        const bool classified = AnalyzeChecked(engine, results, capacity, 8, 3, input)[0] == '0';
        if (capacity >= 3 && classified != Classifiable(results))
            Fail(std::string("Analyze: ") + (classified ? "0 for bad results" : "-1 for good results"));
    }
    DestroyBayesianEngine(&engine);
    return 0;
}
