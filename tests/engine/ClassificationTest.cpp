#include <sstream>
#include <string>
#include <utility>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// The entries of a result list in index order: "[x 0.75][z 0.2]".
std::string Entries(DubiousDataList& list)
{
    std::ostringstream out;
    Ptr<Vector<String>> keys = list.GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i)
        out << "[" << (*keys)[i] << " " << list.Get((*keys)[i])->m_figure << "]";
    return out.str();
}

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

TEST(DubiousData, SortByDecreasingFigureOnlyWhenEveryKeyIsItsValue)
{
    DubiousDataList list;
    list.m_deleteItems = true;
    for (const auto& [value, figure] : {std::pair("A", 0.2), std::pair("B", 0.7), std::pair("C", 0.7),
                                        std::pair("D", 0.1), std::pair("E", 0.9)})
        list.Add(value, Ptr<DubiousData>(NewObject<DubiousData>(value, figure)));
    list.Get("E")->m_value = "F";
    EXPECT_TRUE(RaisesExactly(
        [&] { SortDubiousDataList(list); },
        "In DubiousDataLists, every key must be identical to item's value.\nKey:   >E<\nValue: >F<"));
    EXPECT_EQ(Entries(list), "[A 0.2][B 0.7][C 0.7][D 0.1][E 0.9]");  // unchanged
    list.Get("E")->m_value = "E";
    EXPECT_EQ(test::Run([&] { SortDubiousDataList(list); }).err, "");
    EXPECT_EQ(Entries(list), "[E 0.9][B 0.7][C 0.7][A 0.2][D 0.1]");  // equal figures keep their order
}

}  // namespace
}  // namespace veltra::test
