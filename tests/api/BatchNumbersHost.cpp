// Batch evaluation writes every probability as this program's own C++ stream writes the double
// that Analyze returns for the same field, at precision 4 (and 0 below 0.001): thousands of
// fields of a network whose posteriors spread over every decade from 0.001 to 1.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>

#include "HostSupport.h"
#include "Veltra.h"

int main()
{
    const int states = 8, tests = 6, fields = 3000;
    std::mt19937 random(5);
    std::ostringstream network;
    network.precision(17);
    network << "H = Kind \"A,B,C,D,E,F,G,I\"\n";
    for (int s = 0; s < states; ++s)
        network << "P(H="
                << "ABCDEFGI"[s] << ") = 0.125\n";
    for (int t = 0; t < tests; ++t) {
        network << "T" << t << " = test \"a,b,c,d\"\n";
        for (int s = 0; s < states; ++s) {
            double weights[4], sum = 0;
            for (double& w : weights)
                sum += (w = random() % 4 == 0 ? 0.0005 : static_cast<double>(1 + random() % 100));
            for (int v = 0; v < 4; ++v)
                network << "P(T" << t << "="
                        << "abcd"[v] << "|H="
                        << "ABCDEFGI"[s] << ") = " << weights[v] / sum << "\n";
        }
    }
    BayesianEngineHandle engine = nullptr;
    CreateBayesianEngine(&engine);
    host::Check(InitializeThruParam(engine, network.str().c_str()) == 0, "the network loads");

    std::string input, expected;
    for (int f = 0; f < fields; ++f) {
        std::string results;
        for (int t = 0; t < tests; ++t) results += "abcd-"[random() % 5];
        char categories[states];
        double probabilities[states];
        int32_t count = states;
        host::Check(Analyze(engine, results.c_str(), categories, probabilities, &count) == 0,
                    "analyze " + results);
        input += ";TESTS\tA\t" + results + "\n";
        expected += categories[0] == 'A' ? ";OK\t" : ";ERROR\t";
        for (int i = 0; i < count; ++i) {
            std::ostringstream number;
            number.precision(4);
            if (probabilities[i] < 0.001)
                number << 0;
            else
                number << probabilities[i];
            expected += std::string(1, categories[i]) + ":" + number.str() + "  ";
        }
        expected += "\n";
    }

    const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                      ("veltra-batch-numbers-" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(dir);
    const std::string in = (dir / "in.txt").string(), out = (dir / "out.txt").string();
    std::FILE* file = std::fopen(in.c_str(), "wb");
    std::fwrite(input.data(), 1, input.size(), file);
    std::fclose(file);
    host::CaptureDescriptor(
        1, [&] { host::Check(AnalyzeFile(engine, in.c_str(), out.c_str()) == 0, "evaluate"); });

    // Every other line of the output is a result line; compare them one by one.
    std::istringstream written(host::ReadFile(out)), wanted(expected);
    std::string line, want;
    int mismatches = 0;
    for (int f = 0; f < fields && std::getline(written, line) && std::getline(written, line); ++f) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::getline(wanted, want);
        if (line != want && ++mismatches <= 5)
            host::Check(false, "result line\n  got:  " + line + "\n  want: " + want);
    }
    host::Check(mismatches == 0, std::to_string(mismatches) + " result lines differ");
    DestroyBayesianEngine(&engine);
    std::filesystem::remove_all(dir);
    std::printf("BatchNumbersHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
