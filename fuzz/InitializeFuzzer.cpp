// The description reader through both initialising exports. The input up to its first zero byte is
// a network description, handed to one engine as text and to another as a file; the rest is the
// test results of one field, classified by both engines whatever their loads gave (a failed load
// leaves what the earlier lines built). Besides the contract of every export and the file left
// as it was: a description that loads both ways answers alike both ways (carriage returns aside,
// which only the file reader takes as part of a line end).
#include <string>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    std::string description, results;
    SplitAtZero(data, size, description, results);
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string path = Scratch().Write("network.txt", description);

    BayesianEngineHandle text = nullptr, file = nullptr;
    if (CreateBayesianEngine(&text) != 0 || !text || CreateBayesianEngine(&file) != 0 || !file)
        Fail("CreateBayesianEngine failed");
    const Outcome fromText = Capture([&] { return InitializeThruParam(text, description.c_str()); });
    CheckStatus("InitializeThruParam", fromText, input);
    const Outcome fromFile = Capture([&] { return InitializeThruFile(file, path.c_str()); });
    CheckStatus("InitializeThruFile", fromFile, input);
    if (ReadFile(path) != description) Fail("InitializeThruFile changed its file");

    // Room for every state: a state takes at least one character of the description.
    const int32_t room = static_cast<int32_t>(description.size()) + 1;
    const std::string a = AnalyzeChecked(text, results, room, static_cast<size_t>(room), -1, input);
    const std::string b = AnalyzeChecked(file, results, room, static_cast<size_t>(room), -1, input);
    if (fromText.status == 0 && fromFile.status == 0 && a != b)
        Fail("a description answers otherwise loaded from a file");
    DestroyBayesianEngine(&text);
    DestroyBayesianEngine(&file);
    return 0;
}
