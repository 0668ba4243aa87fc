// A batch evaluation through the export of an arbitrary input file. An input with a zero byte
// carries a network description, loaded as text first, before it and the file after it; without
// one, the whole input is the file, evaluated with a fixed network of three states and two tests.
// Besides the contract of every export: the input file does not change, and a success prints its
// accuracy on standard output and ends the written file with the same figure.
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

namespace {

const char* const kNetwork =
    "H = Category \"a,b,c\"\n"
    "Dig = Has digits \"y,n\"\n"
    "Len = Length class \"s,m,l\"\n"
    "P(H=a) = 0.5\nP(H=b) = 0.3\nP(H=c) = 0.2\n"
    "P(Dig=y|H=a) = 0.9\nP(Dig=n|H=a) = 0.1\nP(Dig=y|H=b) = 0.5\nP(Dig=n|H=b) = 0.5\n"
    "P(Dig=y|H=c) = 0\nP(Dig=n|H=c) = 1\n"
    "P(Len=s|H=a) = 0.2\nP(Len=m|H=a) = 0.3\nP(Len=l|H=a) = 0.5\n"
    "P(Len=s|H=b) = 0.6\nP(Len=m|H=b) = 0.3\nP(Len=l|H=b) = 0.1\n"
    "P(Len=s|H=c) = 0.3\nP(Len=m|H=c) = 0.3\nP(Len=l|H=c) = 0.4\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string network, file;
    SplitAtZero(data, size, network, file, kNetwork);
    const std::string inputPath = WriteScratch("input.txt", file);
    const std::string outputPath = ScratchFile("output.txt");
    std::remove(outputPath.c_str());

    BayesianEngineHandle engine = nullptr;
    if (CreateBayesianEngine(&engine) != 0 || !engine) Fail("CreateBayesianEngine failed");
    CheckStatus("InitializeThruParam", Capture([&] { return InitializeThruParam(engine, network.c_str()); }),
                input);
    const Outcome run = Capture([&] { return AnalyzeFile(engine, inputPath.c_str(), outputPath.c_str()); });
    CheckStatus("AnalyzeFile", run, input);
    if (ReadWhole(inputPath) != file) Fail("AnalyzeFile changed its input file");
    if (run.status == 0) {
        const size_t at = run.out.find("Accuracy: ");
        if (at == std::string::npos) Fail("AnalyzeFile: no accuracy on standard output");
        const std::string accuracy = ";" + run.out.substr(at, run.out.find('\n', at) - at) + "\n";
        const std::string written = ReadWhole(outputPath);
        const size_t last = written.rfind(";Accuracy: ");
        if (last == std::string::npos || written.compare(last, accuracy.size(), accuracy) != 0)
            Fail("AnalyzeFile: the written accuracy is not the printed one");
    }
    DestroyBayesianEngine(&engine);
    return 0;
}
