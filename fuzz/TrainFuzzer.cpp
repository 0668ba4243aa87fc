// A training run through the export over an arbitrary sample file. An input with a zero byte
// carries the network description to train before it and the sample file after it; without one,
// the whole input is the sample file for the tests of the fixed network. Besides the contract of
// every export: neither input file changes, and the engine still answers within the contract
// whatever the run did (a successful run has reloaded it from what it wrote).
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string network, samples;
    SplitAtZero(data, size, network, samples, kFixedTests);
    const std::string networkPath = Scratch().Write("network.txt", network);
    const std::string samplesPath = Scratch().Write("samples.txt", samples);
    const std::string trainedPath = Scratch().File("trained.txt");

    BayesianEngineHandle engine = nullptr;
    if (CreateBayesianEngine(&engine) != 0 || !engine) Fail("CreateBayesianEngine failed");
    const Outcome run =
        Capture([&] { return Train(engine, networkPath.c_str(), samplesPath.c_str(), trainedPath.c_str()); });
    CheckStatus("Train", run, input);
    if (ReadFile(networkPath) != network || ReadFile(samplesPath) != samples)
        Fail("Train changed an input file");
    AnalyzeChecked(engine, "--", 256, 256, -1, input);
    DestroyBayesianEngine(&engine);
    return 0;
}
