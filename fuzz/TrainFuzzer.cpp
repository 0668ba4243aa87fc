// A training run through the export over an arbitrary sample file. An input with a zero byte
// carries the network description to train before it and the sample file after it; without one,
// the whole input is the sample file for the tests of the fixed network. Besides the contract of
// every export: neither input file changes, a successful run writes a description that a fresh
// engine loads, and the engine still answers within the contract whatever the run did.
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
    std::remove(trainedPath.c_str());

    BayesianEngineHandle engine = nullptr, fresh = nullptr;
    if (CreateBayesianEngine(&engine) != 0 || !engine || CreateBayesianEngine(&fresh) != 0 || !fresh)
        Fail("CreateBayesianEngine failed");
    const Outcome run =
        Capture([&] { return Train(engine, networkPath.c_str(), samplesPath.c_str(), trainedPath.c_str()); });
    CheckStatus("Train", run, input);
    if (ReadFile(networkPath) != network || ReadFile(samplesPath) != samples)
        Fail("Train changed an input file");
    if (run.status == 0) {
        const Outcome reload = Capture([&] { return InitializeThruFile(fresh, trainedPath.c_str()); });
        if (reload.status != 0) Fail("a trained file does not load: " + reload.err);
    }
    AnalyzeChecked(engine, "--", 256, 256, -1, input);
    DestroyBayesianEngine(&engine);
    DestroyBayesianEngine(&fresh);
    return 0;
}
