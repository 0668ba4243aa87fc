// The command reads a description's outline again after the library accepted it: on every
// description the repository keeps (the description reader's fuzz corpus, the test data, the
// example), the outline must be what the library's reader built.
#include <filesystem>
#include <string>

#include "cli/NetworkOutline.h"
#include "net/NaiveBayesNet.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// Hypothesis, states and each test's tag, description and values, one line each.
std::string Shown(const cli::NetworkOutline& outline)
{
    std::string shown = outline.hypothesis + ": " + cli::Join(outline.states, "|");
    for (const cli::TestOutline& test : outline.tests)
        shown += "\n" + test.tag + " = " + test.description + ": " + cli::Join(test.values, "|");
    return shown;
}

// What the library's reader built, shown as an outline is.
std::string Shown(const NaiveBayesNet& net)
{
    cli::NetworkOutline outline{net.GetHypothesis().GetName().Trim().str(), {}, {}};
    for (int32_t s = 0; s < net.GetHypothesis().GetStateCount(); ++s)
        outline.states.push_back(net.GetHypothesis().GetState(s).str());
    for (int32_t t = 0; t < net.GetTestCount(); ++t) {
        const BayesTest& test = net.GetTest(t);
        outline.tests.push_back({test.GetTag().str(), test.GetDescription().Trim().str(), {}});
        for (int32_t v = 0; v < test.GetValueCount(); ++v)
            outline.tests.back().values.push_back(test.GetValue(v).str());
    }
    return Shown(outline);
}

TEST(NetworkOutline, IsWhatTheLibrarysReaderBuilt)
{
    namespace fs = std::filesystem;
    const fs::path source = VELTRA_SOURCE_DIR;
    TempDir dir;
    int compared = 0;
    for (const char* where :
         {"fuzz/corpus/InitializeFuzzer", "tests/data", "tests/cli/data", "examples/fields"})
        for (const auto& entry : fs::recursive_directory_iterator(source / where)) {
            if (!entry.is_regular_file()) continue;
            std::string text = ReadFile(entry.path().string());
            text = text.substr(0, text.find('\0'));  // fuzz inputs: the description ends there
            NaiveBayesNet net;
            if (test::Run([&] { net.Load(text); }).raised) continue;
            ++compared;
            EXPECT_EQ(Shown(cli::ReadOutline(dir.Write("d", text))), Shown(net)) << entry.path();
        }
    EXPECT_GT(compared, 20);
}

}  // namespace
}  // namespace veltra::test
