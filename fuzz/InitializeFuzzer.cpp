// The description reader through both initialising exports. The input up to its first zero byte is
// a network description, handed to one engine as text and to another as a file; the rest is the
// test results of one field, classified by both engines whatever their loads gave (a failed load
// leaves what the earlier lines built). Besides the contract of every export and the file left
// as it was: a description that loads both ways answers alike both ways (carriage returns aside,
// which only the file reader takes as part of a line end), and a successful answer asked again
// with one entry less of capacity is refused without a message and without a write.
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

namespace {

// Analyze with room for any number of states: first 256 entries, then, refused without a
// message, one more than the description has characters.
Answer AnalyzeAll(BayesianEngineHandle engine, const std::string& results, const std::string& description,
                  const std::string& input)
{
    Answer a = AnalyzeChecked(engine, results, 256, 256, -1, input);
    if (a.outcome.status == -1 && a.outcome.err.empty()) {
        const int32_t room = static_cast<int32_t>(description.size()) + 1;
        a = AnalyzeChecked(engine, results, room, static_cast<size_t>(room), room, input);
    }
    if (a.outcome.status == 0 && a.count > 0) {
        const Answer less = AnalyzeChecked(engine, results, a.count - 1, a.categories.size(), a.count, input);
        if (less.outcome.status != -1 || !less.outcome.err.empty())
            Fail("Analyze: one entry less of capacity was not refused silently");
    }
    return a;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    std::string description, results;
    SplitAtZero(data, size, description, results);
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string path = WriteScratch("network.txt", description);

    BayesianEngineHandle text = nullptr, file = nullptr;
    if (CreateBayesianEngine(&text) != 0 || !text || CreateBayesianEngine(&file) != 0 || !file)
        Fail("CreateBayesianEngine failed");
    const Outcome fromText = Capture([&] { return InitializeThruParam(text, description.c_str()); });
    CheckStatus("InitializeThruParam", fromText, input);
    const Outcome fromFile = Capture([&] { return InitializeThruFile(file, path.c_str()); });
    CheckStatus("InitializeThruFile", fromFile, input);
    if (ReadWhole(path) != description) Fail("InitializeThruFile changed its file");

    const Answer a = AnalyzeAll(text, results, description, input);
    const Answer b = AnalyzeAll(file, results, description, input);
    if (fromText.status == 0 && fromFile.status == 0 && !(a == b))
        Fail("a description answers otherwise loaded from a file");
    DestroyBayesianEngine(&text);
    DestroyBayesianEngine(&file);
    return 0;
}
