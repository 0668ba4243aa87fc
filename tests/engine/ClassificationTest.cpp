#include <string>
#include <utility>
#include <vector>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

using Ranking = std::vector<std::pair<std::string, double>>;

// Three states x, y, z and four tests.
std::string ThreeStates()
{
    return ReadFile(DataDir() + "/three-states.net");
}

// The entries of a result table in index order.
Ranking Entries(DubiousDataList& table)
{
    Ranking entries;
    Ptr<Vector<String>> keys = table.GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i) {
        const DubiousData& entry = *table.Get((*keys)[i]);
        entries.emplace_back(entry.GetValue().str(), entry.m_figure);
    }
    return entries;
}

// Classifies `results`; fails the test on any standard error output (a failure, or a report
// such as "Memory leak detected!").
Ranking Classify(FieldClassifier& engine, const std::string& results)
{
    Ranking entries;
    auto classify = [&] {
        AutoPtr<DubiousDataList> table(engine.Analyze(results, false));
        entries = Entries(*table);
    };
    EXPECT_EQ(test::Run(classify).err, "") << results;
    return entries;
}

TEST(FieldClassifier, MostProbableFirst)
{
    FieldClassifier engine;
    engine.GetNetwork().Load(ThreeStates());
    const Ranking ranking = Classify(engine, "ab-c");
    ASSERT_EQ(ranking.size(), 3u);
    const char* order[] = {"x", "z", "y"};
    const double expected[] = {0.224 / 0.255, 0.025 / 0.255, 0.006 / 0.255};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(ranking[i].first, order[i]) << i;
        EXPECT_NEAR(ranking[i].second, expected[i], 1e-12) << i;
    }
    EXPECT_EQ(Classify(engine, "a.b-c"), ranking);
    EXPECT_EQ(Classify(engine, "..a.b.-c."), ranking);
}

TEST(FieldClassifier, EqualProbabilitiesKeepStateOrder)
{
    FieldClassifier engine;
    engine.GetNetwork().Load("H = K \"x,y,z\"\nP(H=x) = 0.25\nP(H=y) = 0.5\nP(H=z) = 0.25");
    const Ranking expected = {{"y", 0.5}, {"x", 0.25}, {"z", 0.25}};
    EXPECT_EQ(Classify(engine, "."), expected);  // no tests: no results
}

TEST(FieldClassifier, FileInitialisation)
{
    const std::string text = ThreeStates();
    FieldClassifier fromText;
    fromText.GetNetwork().Load(text);
    const Ranking expected = Classify(fromText, "ba-a");

    std::string withoutNewline = text;
    withoutNewline.pop_back();
    TempDir dir;
    for (const std::string& content : {text, withoutNewline}) {
        const std::string path = dir.Write("net.txt", content);
        FieldClassifier fromFile;
        EXPECT_EQ(test::Run([&] { fromFile.InitializeThruFile(path); }).err, "");
        EXPECT_EQ(Classify(fromFile, "ba-a"), expected);
    }
    FieldClassifier engine;
    EXPECT_TRUE(RaisesExactly([&] { engine.InitializeThruFile(dir.Write("empty.txt", "")); },
                              "Network must contain a hypothesis (H)"));
    const std::string missing = dir.File("missing.txt");
    EXPECT_TRUE(RaisesExactly([&] { engine.InitializeThruFile(missing); }, "Cannot open file: " + missing));
}

struct AnalyzeCase {
    const char* name;
    const char* results;
    const char* err;
};

const AnalyzeCase kAnalyzeFailures[] = {
    {"full stops removed before counting", "a.b.-",
     "Expected 4 test results but got 3. Test results:\nab-\n"},
    {"too many results", "ab-cc", "Expected 4 test results but got 5. Test results:\nab-cc\n"},
    {"value not of the test", "ab-d", "Test: T4 does not contain state: T4=d|H=x\n"},
};

TEST(FieldClassifier, AnalyzeFailures)
{
    FieldClassifier fresh;
    EXPECT_TRUE(RaisesExactly([&] { fresh.Analyze("ab-c", false); }, "Network has not been initialized yet"));

    FieldClassifier engine;
    engine.GetNetwork().Load(ThreeStates());
    for (const AnalyzeCase& row : kAnalyzeFailures) {
        Outcome outcome =
            test::Run([&] { AutoPtr<DubiousDataList> table(engine.Analyze(row.results, false)); });
        EXPECT_TRUE(outcome.raised) << row.name;
        EXPECT_EQ(outcome.err, row.err) << row.name;
    }
}

// A list that owns its entries, keyed as given.
void AddEntry(DubiousDataList& list, const char* key, const char* value, double figure)
{
    list.Add(key, Ptr<DubiousData>(NewObject<DubiousData>(value, figure)));
}

TEST(DubiousData, SortByDecreasingFigureTiesInOrder)
{
    DubiousDataList list;
    list.m_deleteItems = true;
    AddEntry(list, "A", "A", 0.2);
    AddEntry(list, "B", "B", 0.7);
    AddEntry(list, "C", "C", 0.7);
    AddEntry(list, "D", "D", 0.1);
    EXPECT_EQ(test::Run([&] { SortDubiousDataList(list); }).err, "");
    const Ranking expected = {{"B", 0.7}, {"C", 0.7}, {"A", 0.2}, {"D", 0.1}};
    EXPECT_EQ(Entries(list), expected);
}

TEST(DubiousData, KeyMustEqualValue)
{
    DubiousDataList list;
    list.m_deleteItems = true;
    AddEntry(list, "B", "B", 0.1);
    AddEntry(list, "A", "C", 0.9);
    EXPECT_TRUE(RaisesExactly([&] { SortDubiousDataList(list); },
                              "In DubiousDataLists, every key must be identical to item's value.\n"
                              "Key:   >A<\n"
                              "Value: >C<"));
    const Ranking unchanged = {{"B", 0.1}, {"C", 0.9}};
    EXPECT_EQ(Entries(list), unchanged);
}

}  // namespace
}  // namespace veltra::test
