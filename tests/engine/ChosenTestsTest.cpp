#include <vector>

#include "engine/ChosenTests.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// A kept line stays byte for byte, its line end and indentation included; a test left out takes
// its line, its probability lines and their line ends with it, whatever ends the lines.
TEST(ChosenTests, KeepsTheChosenTestsLines)
{
    const struct {
        const char* description;
        std::vector<bool> kept;
        const char* expected;
    } rows[] = {
        {"# K\nPARAMETER p = 1\nH = K \"a\"\nT1 = t \"x\"\n\nT2 = u \"x\"\nP(H=a) = 1\nP(T1=x|H=a) = 1\n"
         "P( T2 = x | H = a ) = 1\n# T2 stays in comments\n",
         {true, false},
         "# K\nPARAMETER p = 1\nH = K \"a\"\nT1 = t \"x\"\n\nP(H=a) = 1\nP(T1=x|H=a) = 1\n# T2 stays in "
         "comments\n"},
        {"H = K \"a\"\r\n  T1 = t \"x\"\r\n\tT2 = u \"x\"\r\nP(T1=x|H=a)=1\r\nP(T2=x|H=a)=1",
         {false, true},
         "H = K \"a\"\r\n\tT2 = u \"x\"\r\nP(T2=x|H=a)=1"},
        {"H = K \"a\"\rT1 = t \"x\"\rT2 = u \"x\"\r", {false, true}, "H = K \"a\"\rT2 = u \"x\"\r"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(KeepTests(row.description, row.kept), row.expected) << row.description;
}

// Test lines as training reads them (trimmed, runs of tabs one separator, full stops removed),
// cut to positions 1 and 3 of four tests; other lines as they are.
TEST(ChosenTests, CutsTestLinesOnly)
{
    const struct {
        const char* line;
        const char* expected;  // or the message raised
        bool cut;
    } rows[] = {
        {";TESTS\tab\ta.b-c", ";TESTS\tab\tbc", true},
        {"  ;TESTS\t\ta\tabcd \t", "  ;TESTS\t\ta\tbd \t", true},
        {"# ;TESTS\ta\tabcd", "# ;TESTS\ta\tabcd", false},
        {";TESTS", ";TESTS", false},
        {";TESTS\ta", "Wrong format in line:\n;TESTS\ta", false},
        {";TESTS\ta\tabcd\tx", "Wrong format in line:\n;TESTS\ta\tabcd\tx", false},
        {";TESTS\ta\ta.b.c", "Expected 4 test results but got 3. Test results:\nabc", false},
    };
    for (const auto& row : rows) {
        bool cut = false;
        std::string written;
        const Outcome outcome = test::Run([&] { written = CutLine(row.line, {1, 3}, 4, &cut); });
        EXPECT_EQ(outcome.raised ? outcome.message : written, row.expected) << row.line;
        EXPECT_EQ(cut, row.cut) << row.line;
    }
}

}  // namespace veltra::test
