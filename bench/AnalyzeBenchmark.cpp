// Benchmarks of classification and loading, on networks generated in memory. BM_FlatReference
// computes the same posteriors from plain arrays, so that figures read as ratios to it.
#include <benchmark/benchmark.h>

#include <cmath>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "engine/FieldClassifier.h"

using namespace veltra;

namespace {

const char kValues[] = "abcd";

// A description with `states` states (named A, B, ...) and `tests` tests of four values each.
std::string MakeNetwork(int states, int tests)
{
    std::ostringstream text;
    text << "H = Category \"";
    for (int s = 0; s < states; ++s) text << (s ? "," : "") << static_cast<char>('A' + s);
    text << "\"\n";
    for (int t = 0; t < tests; ++t) text << "T" << t << " = test " << t << " \"a,b,c,d\"\n";
    for (int s = 0; s < states; ++s) text << "P(H=" << static_cast<char>('A' + s) << ") = " << 1.0 / states << "\n";
    std::mt19937 random(7);
    for (int t = 0; t < tests; ++t) {
        for (int s = 0; s < states; ++s) {
            double w[4], sum = 0;
            for (double& x : w) sum += (x = 1.0 + random() % 9);
            for (int v = 0; v < 4; ++v)
                text << "P(T" << t << "=" << kValues[v] << "|H=" << static_cast<char>('A' + s) << ") = " << w[v] / sum
                     << "\n";
        }
    }
    return text.str();
}

// Distinct inputs, so that the caches do not answer every call.
std::vector<std::string> MakeInputs(int tests, int count)
{
    std::mt19937 random(11);
    std::vector<std::string> inputs;
    for (int i = 0; i < count; ++i) {
        std::string r;
        for (int t = 0; t < tests; ++t) r += "abcd-"[random() % 5];
        inputs.push_back(r);
    }
    return inputs;
}

// Field analysis of ever new inputs: the cost of a product per state pair and the tables.
void BM_Analyze(benchmark::State& state)
{
    int states = static_cast<int>(state.range(0)), tests = static_cast<int>(state.range(1));
    FieldClassifier engine;
    engine.GetNetwork().Load(String(MakeNetwork(states, tests)));
    std::vector<std::string> inputs = MakeInputs(tests, 4096);
    size_t i = 0;
    for (auto _ : state) {
        AutoPtr<DubiousDataList> result(engine.Analyze(String(inputs[i++ % inputs.size()]), false));
        benchmark::DoNotOptimize(result->Size());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Analyze)->Args({3, 4})->Args({5, 8})->Args({10, 20});

// The same input again and again: what the confidence cache buys.
void BM_AnalyzeRepeated(benchmark::State& state)
{
    int states = static_cast<int>(state.range(0)), tests = static_cast<int>(state.range(1));
    FieldClassifier engine;
    engine.GetNetwork().Load(String(MakeNetwork(states, tests)));
    String input(MakeInputs(tests, 1)[0]);
    for (auto _ : state) {
        AutoPtr<DubiousDataList> result(engine.Analyze(input, false));
        benchmark::DoNotOptimize(result->Size());
    }
}
BENCHMARK(BM_AnalyzeRepeated)->Args({3, 4})->Args({10, 20});

// Posteriors from flat arrays of the same sizes: the floor that the engine's figures compare to.
void BM_FlatReference(benchmark::State& state)
{
    int states = static_cast<int>(state.range(0)), tests = static_cast<int>(state.range(1));
    std::vector<double> prior(states, 1.0 / states), cond(static_cast<size_t>(states * tests * 4), 0.25);
    std::vector<std::string> inputs = MakeInputs(tests, 4096);
    std::vector<double> post(states);
    size_t i = 0;
    for (auto _ : state) {
        const std::string& r = inputs[i++ % inputs.size()];
        double sum = 0;
        for (int s = 0; s < states; ++s) {
            double p = prior[s];
            for (int t = 0; t < tests; ++t)
                if (r[t] != '-') p *= cond[static_cast<size_t>((s * tests + t) * 4 + (r[t] - 'a'))];
            sum += post[s] = p;
        }
        for (double& p : post) p /= sum;
        benchmark::DoNotOptimize(post.data());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FlatReference)->Args({3, 4})->Args({5, 8})->Args({10, 20});

// Reading a description: line classification, node building and the sum checks.
void BM_Load(benchmark::State& state)
{
    String text(MakeNetwork(static_cast<int>(state.range(0)), static_cast<int>(state.range(1))));
    FieldClassifier engine;
    for (auto _ : state) engine.GetNetwork().Load(text);
    state.SetBytesProcessed(state.iterations() * text.Length());
}
BENCHMARK(BM_Load)->Args({3, 4})->Args({10, 20});

}  // namespace

BENCHMARK_MAIN();
