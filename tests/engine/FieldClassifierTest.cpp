#include <sstream>
#include <string>
#include <utility>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

TEST(FieldClassifier, MostProbableFirstFromTheFileOrItsText)
{
    const std::string path = DataDir() + "/three-states.net";
    FieldClassifier text, file;
    text.GetNetwork().Load(ReadFile(path));
    EXPECT_TRUE(RaisesExactly([&] { file.Analyze("ab-c", false); }, "Network has not been initialized yet"));
    file.InitializeThruFile(path);
    // Full stops are removed; standard error stays empty (no failure, no "Memory leak detected!").
    for (FieldClassifier* engine : {&text, &file}) {
        std::string ranking;
        auto classify = [&](const char* results) {
            ranking += Entries(*AutoPtr<DubiousDataList>(engine->Analyze(results, false)));
        };
        EXPECT_EQ(test::Run([&] { classify("..a.b.-c."), classify("ab-b"); }).err, "");
        EXPECT_EQ(ranking, "[x 0.75][z 0.2][y 0.05][y 0.383333][x 0.333333][z 0.283333]");
    }
}

}  // namespace
}  // namespace veltra::test
