// A training run through the export over an arbitrary sample file. An input with a zero byte
// carries the network description to train before it and the sample file after it; without one,
// the whole input is the sample file for a fixed network of three states and two tests. Besides
// the contract of every export: neither input file changes; a failed run leaves an engine that
// still answers within the contract; a successful run ends its report with the totals and writes
// a description that a fresh engine loads and that answers there exactly as in the trained
// engine, for the fields of the sample lines (up to eight) and, on the fixed network, for none.
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

namespace {

const char* const kNetwork =
    "# Fields by category\n"
    "H = Category \"a,b,c\"\n"
    "Dig = Has digits \"y,n\"\n"
    "Len = Length class \"s,m,l\"\n";

// The test results of up to eight sample lines: the third tab-separated field of a line that
// begins ";TESTS<tab>" once trimmed.
std::vector<std::string> SampleFields(const std::string& samples)
{
    std::vector<std::string> fields;
    size_t start = 0;
    while (start < samples.size() && fields.size() < 8) {
        size_t end = samples.find('\n', start);
        if (end == std::string::npos) end = samples.size();
        std::string line = samples.substr(start, end - start);
        start = end + 1;
        line.erase(0, line.find_first_not_of(" \t\r\f\v"));
        if (line.compare(0, 7, ";TESTS\t") != 0) continue;
        std::vector<std::string> parts;
        for (size_t at = 0; at < line.size();) {
            const size_t tab = line.find('\t', at);
            const size_t stop = tab == std::string::npos ? line.size() : tab;
            if (stop > at) parts.push_back(line.substr(at, stop - at));
            at = stop + 1;
        }
        if (parts.size() >= 3) fields.push_back(parts[2]);
    }
    return fields;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string network, samples;
    const bool fixed = !SplitAtZero(data, size, network, samples, kNetwork);
    const std::string networkPath = WriteScratch("network.txt", network);
    const std::string samplesPath = WriteScratch("samples.txt", samples);
    const std::string trainedPath = ScratchFile("trained.txt");
    std::remove(trainedPath.c_str());

    std::vector<std::string> fields = SampleFields(samples);
    if (fixed) fields.push_back("--");
    const int32_t states = fixed ? 3 : -1;

    BayesianEngineHandle engine = nullptr, fresh = nullptr;
    if (CreateBayesianEngine(&engine) != 0 || !engine || CreateBayesianEngine(&fresh) != 0 || !fresh)
        Fail("CreateBayesianEngine failed");
    const Outcome run =
        Capture([&] { return Train(engine, networkPath.c_str(), samplesPath.c_str(), trainedPath.c_str()); });
    CheckStatus("Train", run, input);
    if (ReadWhole(networkPath) != network) Fail("Train changed the network file");
    if (ReadWhole(samplesPath) != samples) Fail("Train changed the sample file");
    if (run.status == 0) {
        if (run.out.find("\nTotal sample count: ") == std::string::npos)
            Fail("Train: no totals on standard output");
        const Outcome reload = Capture([&] { return InitializeThruFile(fresh, trainedPath.c_str()); });
        if (reload.status != 0) Fail("a trained file does not load: " + reload.err);
        for (const std::string& field : fields)
            if (!(AnalyzeChecked(engine, field, 256, 256, states, input) ==
                  AnalyzeChecked(fresh, field, 256, 256, states, input)))
                Fail("a trained file answers otherwise in a fresh engine: " + field);
    } else {
        for (const std::string& field : fields) AnalyzeChecked(engine, field, 256, 256, states, input);
    }
    DestroyBayesianEngine(&engine);
    DestroyBayesianEngine(&fresh);
    return 0;
}
