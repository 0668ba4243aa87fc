// Drives the exports of the built library as a host application does: every export's status and
// the exact text each call leaves on standard error. Prints one line per failed check; exits 1 on
// any.
// Usage: ExportHost <test data directory>
#include <string>

#include "HostSupport.h"
#include "Veltra.h"

namespace {

using Call = std::function<int32_t()>;
using host::Expect;

// Analyze of "a.b-c" with a capacity of `count` into four entries preset to '#' and -1; afterwards
// the count and the entries (category, probability) must read `arrays`.
void ExpectAnalyze(BayesianEngineHandle engine, int32_t count, int32_t status, const std::string& err,
                   const std::string& arrays)
{
    char categories[] = "####";
    double probabilities[] = {-1, -1, -1, -1};
    Expect("analyze", status, err,
           [&] { return Analyze(engine, "a.b-c", categories, probabilities, &count); });
    std::string got = std::to_string(count);
    for (int i = 0; i < 4; ++i) got += " " + std::string(1, categories[i]) + std::to_string(probabilities[i]);
    host::Check(got == arrays, "analyze: " + got);
}

}  // namespace

int main(int argc, char** argv)
{
    // Three states, four tests: "a.b-c" gives x 0.75, z 0.2, y 0.05.
    const std::string file = std::string(argc > 1 ? argv[1] : ".") + "/three-states.net",
                      text = host::ReadFile(file);
    const std::string unset = " #-1.000000", typical = "3 x0.750000 z0.200000 y0.050000" + unset;
    BayesianEngineHandle one = nullptr, none = nullptr;
    Expect("create", 0, "", [&] { return CreateBayesianEngine(&one); });
    ExpectAnalyze(one, 3, -1, "Network has not been initialized yet\n", "3" + unset + unset + unset + unset);
    // clang-format off
    char c = '#'; double p = -1; int32_t n = 1;
    const Call nulls[] = {  // null arguments: -1 at once, nothing written
        [&] { return InitializeThruParam(nullptr, "H"); }, [&] { return InitializeThruFile(nullptr, "x"); },
        [&] { return InitializeThruParam(one, nullptr); }, [&] { return InitializeThruFile(one, nullptr); },
        [&] { return Analyze(nullptr, "", &c, &p, &n); }, [&] { return Analyze(one, nullptr, &c, &p, &n); },
        [&] { return Analyze(one, "", nullptr, &p, &n); }, [&] { return Analyze(one, "", &c, nullptr, &n); },
        [&] { return Analyze(one, "", &c, &p, nullptr); }};
    // clang-format on
    for (const Call& call : nulls) Expect("null argument", -1, "", call);
    host::Check(n == 1 && c == '#' && p == -1, "null arguments: nothing written");
    // Train and AnalyzeFile take a null file name as the empty name, which does not open.
    Expect("train, null names", -1, "Cannot open file: \n",
           [&] { return Train(one, nullptr, nullptr, nullptr); });
    Expect("evaluate, null names", -1, "Cannot open file: \n",
           [&] { return AnalyzeFile(one, nullptr, nullptr); });

    Expect("initialise from text", 0, "", [&] { return InitializeThruParam(one, text.c_str()); });
    ExpectAnalyze(one, 4, 0, "", typical);
    ExpectAnalyze(one, 2, -1, "", "2" + unset + unset + unset + unset);  // too small: nothing written
    Expect("initialise from a file", 0, "", [&] { return InitializeThruFile(one, file.c_str()); });
    ExpectAnalyze(one, 3, 0, "", typical);
    Expect("destroy, then a null handle", 0, "",
           [&] { return DestroyBayesianEngine(&one) + DestroyBayesianEngine(&none); });
    std::printf("ExportHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
