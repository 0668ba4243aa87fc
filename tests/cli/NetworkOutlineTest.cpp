// The command reads a description's outline again after the library accepted it: on every
// description the repository keeps (the description reader's fuzz corpus, the test data, the
// example), the outline must be what the library's reader built.
#include <filesystem>
#include <string>
#include <vector>

#include "cli/NetworkOutline.h"
#include "net/NaiveBayesNet.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

std::vector<std::string> Descriptions()
{
    namespace fs = std::filesystem;
    const fs::path source = VELTRA_SOURCE_DIR;
    std::vector<std::string> texts;
    for (const fs::path& dir :
         {source / "fuzz/corpus/InitializeFuzzer", source / "tests/data", source / "tests/cli/data"})
        for (const auto& entry : fs::recursive_directory_iterator(dir))
            if (entry.is_regular_file()) {
                const std::string text = ReadFile(entry.path().string());
                texts.push_back(text.substr(0, text.find('\0')));  // fuzz inputs: the description ends there
            }
    texts.push_back(ReadFile((source / "examples/fields/network.txt").string()));
    return texts;
}

TEST(NetworkOutline, IsWhatTheLibrarysReaderBuilt)
{
    TempDir dir;
    int compared = 0;
    for (const std::string& text : Descriptions()) {
        NaiveBayesNet net;
        if (test::Run([&] { net.Load(text); }).raised) continue;
        const cli::NetworkOutline outline = cli::ReadOutline(dir.Write("d", text));
        SCOPED_TRACE(text.substr(0, 200));
        ++compared;
        const Hypothesis& hypothesis = net.GetHypothesis();
        EXPECT_EQ(outline.hypothesis, hypothesis.GetName().Trim().str());
        ASSERT_EQ(outline.states.size(), static_cast<size_t>(hypothesis.GetStateCount()));
        for (int32_t s = 0; s < hypothesis.GetStateCount(); ++s)
            EXPECT_EQ(outline.states[s], hypothesis.GetState(s).str());
        ASSERT_EQ(outline.tests.size(), static_cast<size_t>(net.GetTestCount()));
        for (int32_t t = 0; t < net.GetTestCount(); ++t) {
            const BayesTest& test = net.GetTest(t);
            EXPECT_EQ(outline.tests[t].tag, test.GetTag().str());
            EXPECT_EQ(outline.tests[t].description, test.GetDescription().Trim().str());
            ASSERT_EQ(outline.tests[t].values.size(), static_cast<size_t>(test.GetValueCount()));
            for (int32_t v = 0; v < test.GetValueCount(); ++v)
                EXPECT_EQ(outline.tests[t].values[v], test.GetValue(v).str());
        }
    }
    EXPECT_GT(compared, 20);
}

}  // namespace
}  // namespace veltra::test
