// Drives the exports of the built library as a host application does: every export's status and
// the exact text each call leaves on standard error, and the numbers of batch evaluation. Prints
// one line per failed check; exits 1 on any.
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

// Batch evaluation writes every probability as this program's own C++ stream writes the double
// that Analyze returns for the same field, at precision 4 (and 0 below 0.001): thousands of
// fields of a network whose posteriors spread over every decade from 0.001 to 1.
void ExpectBatchNumbers(BayesianEngineHandle engine)
{
    const int states = 8, tests = 6, fields = 3000;
    const char* const names = "ABCDEFGI";
    std::mt19937 random(5);
    std::ostringstream network;
    network.precision(17);
    network << "H = Kind \"A,B,C,D,E,F,G,I\"\n";
    for (int s = 0; s < states; ++s) network << "P(H=" << names[s] << ") = 0.125\n";
    for (int t = 0; t < tests; ++t) {
        network << "T" << t << " = test \"a,b,c,d\"\n";
        for (int s = 0; s < states; ++s) {
            double weights[4], sum = 0;
            for (double& w : weights)
                sum += (w = random() % 4 == 0 ? 0.0005 : static_cast<double>(1 + random() % 100));
            for (int v = 0; v < 4; ++v)
                network << "P(T" << t << "="
                        << "abcd"[v] << "|H=" << names[s] << ") = " << weights[v] / sum << "\n";
        }
    }
    host::Check(InitializeThruParam(engine, network.str().c_str()) == 0, "the batch network loads");

    // The input, and the start of the output: each test line followed by its result line.
    std::string input;
    std::ostringstream expected;
    expected.precision(4);
    for (int f = 0; f < fields; ++f) {
        std::string results;
        for (int t = 0; t < tests; ++t) results += "abcd-"[random() % 5];
        char categories[states];
        double probabilities[states];
        int32_t count = states;
        host::Check(Analyze(engine, results.c_str(), categories, probabilities, &count) == 0,
                    "analyze " + results);
        input += ";TESTS\tA\t" + results + "\n";
        expected << ";TESTS\tA\t" << results << (categories[0] == 'A' ? "\n;OK\t" : "\n;ERROR\t");
        for (int i = 0; i < count; ++i)
            expected << categories[i] << ":" << (probabilities[i] < 0.001 ? 0.0 : probabilities[i]) << "  ";
        expected << "\n";
    }
    const std::string in = host::Scratch().Write("batch-in.txt", input),
                      out = host::Scratch().File("batch-out.txt");
    host::Capture(1, [&] { host::Check(AnalyzeFile(engine, in.c_str(), out.c_str()) == 0, "evaluate"); });
    // Line by line until the expected lines end or one differs.
    std::istringstream written(host::Normalised(host::ReadFile(out))), wanted(expected.str());
    std::string got, want;
    while (std::getline(wanted, want) && std::getline(written, got) && got == want) continue;
    host::Check(!wanted, "batch output line\n  got:  " + got + "\n  want: " + want);
}

}  // namespace

int main(int argc, char** argv)
{
    // Three states, four tests: "a.b-c" gives x 0.75, z 0.2, y 0.05.
    const std::string file = std::string(argc > 1 ? argv[1] : ".") + "/three-states.net",
                      text = host::ReadFile(file);
    const std::string unset = " #-1.000000", typical = "3 x0.750000 z0.200000 y0.050000" + unset;
    BayesianEngineHandle one = nullptr, two = nullptr, none = nullptr;
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
    ExpectAnalyze(one, 3, 0, "", typical);
    ExpectAnalyze(one, 2, -1, "", "2" + unset + unset + unset + unset);  // too small: nothing written
    Expect("create", 0, "", [&] { return CreateBayesianEngine(&two); });
    Expect("initialise from a file", 0, "", [&] { return InitializeThruFile(two, file.c_str()); });
    ExpectAnalyze(two, 4, 0, "", typical);
    ExpectBatchNumbers(one);
    Expect("destroy both engines, then a null handle", 0, "", [&] {
        return DestroyBayesianEngine(&one) + DestroyBayesianEngine(&two) + DestroyBayesianEngine(&none);
    });
    std::printf("ExportHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
