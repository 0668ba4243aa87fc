// Training runs: the trained file against the checked-in one, the console report, sample and
// count lines, the probability floor and the date line. (Files that cannot be opened: FileSafety.)
#include <ctime>
#include <random>
#include <tuple>

#include "engine/FieldClassifier.h"
#include "net/ProbabilityKey.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

const std::string kNetwork = "H = Category \"a,b\"\nDig = Digits\"y,n\"\nLen = Length\"s,m,l\"\n";
const std::string kData = VELTRA_TEST_DATA_DIR "/training/";

// The non-zero counts in table order, "key:count" separated by blanks.
static std::string NonZeroCounts(const BayesianEngine& engine)
{
    std::string text;
    Ptr<Vector<String>> keys = engine.GetCountTable().GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i)
        if (int32_t n = engine.GetCountTable().Get((*keys)[i]).m_value)
            text += " " + (*keys)[i].str() + ":" + std::to_string(n);
    return text.substr(text.empty() ? 0 : 1);
}

// Samples with LF or CR LF line ends give the checked-in file, equal but for the date (which ctime
// writes in a fixed width). Nothing on standard error; progress, zero-count warnings and the
// closing lines on standard output.
TEST(Training, TrainedFileIsTheCheckedInOne)
{
    for (const std::string end : {"\n", "\r\n"}) {
        std::string samples = ReadFile(kData + "samples.txt");
        for (size_t at = 0; (at = samples.find('\n', at)) != std::string::npos; at += end.size())
            samples.replace(at, 1, end);
        FieldClassifier engine;
        TempDir dir;
        const Outcome run = test::Run(
            [&] { engine.Train(kData + "network.txt", dir.Write("s", samples), dir.File("o"), false); });
        EXPECT_EQ(run.err + run.out, ReadFile(kData + "expected-stdout.txt"));
        std::string written = ReadFile(dir.File("o")), golden = ReadFile(kData + "expected-trained.txt");
        const size_t date = golden.find("training: ") + 10;
        EXPECT_EQ(written.replace(date, 24, golden, date, 24), golden);
    }
}

TEST(Training, SampleAndCountLines)
{
    // Lines trained on kNetwork (states a, b; tests Dig y/n and Len s/m/l) as samples or as counts:
    // the non-zero counts afterwards, and the exact message of a failed run.
    const std::tuple<bool, const char*, const char*, const char*> rows[] = {
        {false, ";TESTS\taba\ty-", "H=a:2 H=b:1 Dig=y|H=a:2 Dig=y|H=b:1 H=a,Dig!=-:2 H=b,Dig!=-:1", ""},
        {false, ";TESTS\t\tb\t\t.n..m.", "H=b:1 Dig=n|H=b:1 Len=m|H=b:1 H=b,Dig!=-:1 H=b,Len!=-:1", ""},
        {false, ";TESTS\n  \t# ;TESTS\ta\tys", "", ""},
        {false, ";TESTS\tab", "", "Wrong format in line:\n;TESTS\tab"},
        {false, ";TESTS\ta\tys\tn", "", "Wrong format in line:\n;TESTS\ta\tys\tn"},
        {false, ";TESTS\ta\ty", "", "Expected 2 test results but got 1 Results:y\n"},
        {false, ";TESTS\ta\ty.s.n", "", "Expected 2 test results but got 3 Results:ysn\n"},
        {false, ";TESTS\ta\tyx", "H=a:1 Dig=y|H=a:1 H=a,Dig!=-:1", "Hashtable cannot find key: Len=x|H=a"},
        {true, "\t C(H=b,Dig!=-) = 2 \nC(Dig=n|H=b) = 2\n# C(H=a) = 7", "Dig=n|H=b:2 H=b,Dig!=-:2", ""},
        {true, "C(H=a) = 7\nC(H=b)=1", "H=a:7", "Wrong format for input line: C(H=b)=1"},
        {true, "X(H=a) = 7", "", "Wrong format for input line: X(H=a) = 7"},
        {true, "C(H=a)  = 7", "", "Wrong format for input line: C(H=a)  = 7"},
        {true, "C(Dig=y|H=b) = 4", "Dig=y|H=b:4", "Count number for state: Dig=y|H=b should be 0"}};
    for (const auto& [counts, lines, nonZero, error] : rows) {
        SCOPED_TRACE(lines);
        FieldClassifier engine;
        TempDir dir;
        const std::string network = dir.Write("n", kNetwork),
                          samples = dir.Write("s", lines + std::string("\n"));
        const Outcome run = test::Run([&, c = counts] { engine.Train(network, samples, dir.File("o"), c); });
        EXPECT_EQ(run.err, *error ? error + std::string("\n") : "");
        EXPECT_EQ(NonZeroCounts(engine), nonZero);
        // A failed run writes no probabilities; a good one tells whether it found samples.
        const char* lists = !counts && *nonZero ? "lists: 1" : "lists: 0";
        EXPECT_EQ(ReadFile(dir.File("o")).find(*error ? "P(" : lists) != std::string::npos, !*error);
    }
}

// The floor as its rule reads: for every raised entry, a search of the whole table.
void FloorByWholeSearch(HashTable<Double>& table)
{
    Ptr<Vector<String>> keys = table.GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i) {
        const String& key = (*keys)[i];
        const double old = table.Get(key).m_value;
        if (old >= 0.001) continue;
        const String tag = TagOfKey(key), state = StateOfConditionalKey(key);
        int32_t best = -1;
        for (int32_t j = 0; j < keys->Size(); ++j) {
            const String& other = (*keys)[j];
            if (TagOfKey(other) != tag || StateOfConditionalKey(other) != state) continue;
            if (best < 0 || table.Get(other).m_value > table.Get((*keys)[best]).m_value) best = j;
        }
        table.Get(key).m_value = 0.001;
        table.Get((*keys)[best]).m_value -= 0.001 - old;
    }
}

// The floor gives what that search gives, to the bit, on seeded random tables: distributions
// interleaved, values at, below and around the floor, equal largest values (the earlier gives),
// values and states that hold "|H=" or "=", and now and then a key without them, which must fail
// with the same message after the same entries were raised.
TEST(Training, ProbabilityFloorIsTheWholeTableSearch)
{
    const char* const tags[] = {"T", "U", "Dig", "T|H=a"};
    const char* const parts[] = {"a", "b", "c", "x|H=a", "=", "b=c"};
    const double figures[] = {0.0, 0.0005, 0.000999, 0.001, 0.3, 0.3, 0.9995, 1.0};
    std::mt19937 random(20261124);
    for (int round = 0; round < 400; ++round) {
        HashTable<Double> fast, reference;
        const int size = 1 + static_cast<int>(random() % 40);
        for (int k = 0; k < size; ++k) {
            std::string key =
                std::string(tags[random() % 4]) + "=" + parts[random() % 6] + "|H=" + parts[random() % 3];
            if (random() % 60 == 0) key = random() % 2 ? "T=a|a" : "Ta";
            const double figure =
                random() % 5 ? figures[random() % 8] : static_cast<double>(random() % 1000) / 1000.0;
            if (fast.Contains(key)) continue;
            fast.Add(key, Double(figure));
            reference.Add(key, Double(figure));
        }
        const Outcome got = test::Run([&] { FieldClassifier().ApplyProbabilityFloor(fast); });
        const Outcome want = test::Run([&] { FloorByWholeSearch(reference); });
        ASSERT_EQ(got.err, want.err) << round;
        Ptr<Vector<String>> keys = fast.GetKeys();
        for (int32_t i = 0; i < keys->Size(); ++i)
            ASSERT_EQ(Bits(fast.Get((*keys)[i]).m_value), Bits(reference.Get((*keys)[i]).m_value))
                << round << " " << (*keys)[i];
    }
}

// The date line is ctime's text, made without ctime's buffer that threads share: every day of
// sixty years, at a time that moves through the day, leap days included.
TEST(Training, DateLineIsCtimesText)
{
    for (std::time_t time = 0; time < std::time_t{60} * 366 * 86400; time += 86400 + 3607)
        ASSERT_EQ(TrainingDate(time), std::ctime(&time)) << time;
}

}  // namespace veltra::test
