// A batch evaluation through the export of an arbitrary input file. An input with a zero byte
// carries a network description, loaded as text first, before it and the file after it; without
// one, the whole input is the file, evaluated with the fixed network. Besides the contract of every
// export: the input file does not change.
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string network, file;
    SplitAtZero(data, size, network, file, std::string(kFixedTests) + kFixedProbabilities);
    const std::string inputPath = Scratch().Write("input.txt", file);
    const std::string outputPath = Scratch().File("output.txt");

    BayesianEngineHandle engine = nullptr;
    if (CreateBayesianEngine(&engine) != 0 || !engine) Fail("CreateBayesianEngine failed");
    CheckStatus("InitializeThruParam", Capture([&] { return InitializeThruParam(engine, network.c_str()); }),
                input);
    CheckStatus("AnalyzeFile",
                Capture([&] { return AnalyzeFile(engine, inputPath.c_str(), outputPath.c_str()); }), input);
    if (ReadFile(inputPath) != file) Fail("AnalyzeFile changed its input file");
    DestroyBayesianEngine(&engine);
    return 0;
}
