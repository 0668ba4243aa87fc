#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

#include "safe/SmartString.h"
#include "safe/Vector.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

using test::Joined;
using test::Outcome;
using test::RaisesExactly;

struct Cut {
    const char* name;
    String (*make)();
    const char* expected;
};

const Cut kCuts[] = {
    {"Left of the whole length", [] { return String("abc").Left(3); }, "abc"},
    {"Left of 0", [] { return String("abc").Left(0); }, ""},
    {"Left of a negative count keeps everything", [] { return String("abc").Left(-1); }, "abc"},
    {"Right of 0", [] { return String("abc").Right(0); }, ""},
    {"BeforeFirst stops at the first separator", [] { return String("a=b=c").BeforeFirst("="); }, "a"},
    {"AfterFirst keeps later separators", [] { return String("a=b=c").AfterFirst("="); }, "b=c"},
    {"AfterFirst of a trailing separator", [] { return String("H=").AfterFirst("="); }, ""},
    {"Replace does not rescan what it inserts", [] { return String("aa").Replace("a", "aa"); }, "aaaa"},
    {"Replace resumes behind the insertion", [] { return String("aabb").Replace("ab", "b"); }, "abb"},
    {"Replace of an empty text changes nothing", [] { return String("abc").Replace("", "x"); }, "abc"},
    {"RemoveAll", [] { return String(".a.b-.c.").RemoveAll('.'); }, "ab-c"},
    {"Trim", [] { return String(" \t x y\r\n").Trim(); }, "x y"},
};

TEST(String, CuttingAndReplacing)
{
    for (const auto& row : kCuts) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(test::Run([&] { EXPECT_EQ(row.make().str(), row.expected); }).err, "");
    }
}

struct Failure {
    const char* name;
    void (*action)();
    const char* message;
};

const Failure kFailures[] = {
    {"index beyond the terminating zero", [] { (void)String("abc")[4]; }, "String index out of bounds"},
    {"negative index", [] { (void)String("abc")[-1]; }, "String index out of bounds"},
    {"Left beyond the length", [] { (void)String("abc").Left(4); },
     "Insufficient string length for Left operation. String: abc requested count: 4"},
    {"Right beyond the length", [] { (void)String("abc").Right(10); },
     "Insufficient string length for Right operation. String: abc requested count: 10"},
    {"BeforeFirst without separator", [] { (void)String("abc").BeforeFirst("="); },
     "String: abc does not contain: ="},
    {"RemoveFromFront of a text found later", [] { (void)String("abc b").RemoveFromFront("b"); },
     "Cannot remove: b from the front of: abc b"},
    {"empty tokens with two delimiters", [] { (void)String("a,b").GetTokens(",;", false); },
     "Cannot return tokens that include empty for more than one delimiters"},
};

TEST(String, FailuresNameTheOffendingText)
{
    for (const auto& row : kFailures) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(RaisesExactly(row.action, row.message));
    }
    EXPECT_EQ(String("abc")[3], '\0');
}

// Canonical after trimming, an optional "+" and leading zeros; 32 bits only.
const std::pair<const char*, int32_t> kIntegers[] = {
    {" 42 ", 42},
    {"+42", 42},
    {"0042", 42},
    {"-7", -7},
    {"000", 0},
    {"12 ", 12},
    {"2147483647", INT32_MAX},
    {"-2147483648", INT32_MIN},
};
const char* const kNotIntegers[] = {
    "", "  ", "+", "4x", "-07", "1e3", "3.0", "1 2", "2147483648", "-2147483649", "99999999999999999999"};

TEST(String, IntegersInCanonicalFormOnly)
{
    for (const auto& row : kIntegers) {
        SCOPED_TRACE(std::string(">") + row.first + "<");
        EXPECT_TRUE(String(row.first).IsInteger());
        EXPECT_EQ(String(row.first).ToInteger(), row.second);
    }
    for (const char* text : kNotIntegers) {
        SCOPED_TRACE(std::string(">") + text + "<");
        EXPECT_FALSE(String(text).IsInteger());
        EXPECT_TRUE(RaisesExactly([&] { (void)String(text).ToInteger(); },
                                  std::string("Cannot convert string: >") + text + "< to integer"));
    }
}

struct TokenCase {
    const char* name;
    const char* text;
    const char* delimiters;
    bool skipEmpty;
    const char* tokens;
};

const TokenCase kTokens[] = {
    {"runs of blanks and tabs separate once", "  x \ty  ", " \t", true, "[x][y]"},
    {"every delimiter byte separates", "a,b;;c", ",;", true, "[a][b][c]"},
    {"only delimiters give no token", ",,", ",", true, ""},
    {"empty tokens kept around a tab", "\tx\t", "\t", false, "[][x][]"},
    {"empty tokens kept between commas", "a,,b,", ",", false, "[a][][b][]"},
    {"empty text gives one empty token", "", ",", false, "[]"},
};

TEST(String, GetTokensInBothModes)
{
    for (const auto& row : kTokens) {
        SCOPED_TRACE(row.name);
        std::string got;
        Outcome out = test::Run([&] {
            AutoPtr<Vector<String>> tokens(String(row.text).GetTokens(row.delimiters, row.skipEmpty));
            got = Joined(*tokens);
        });
        EXPECT_EQ(got, row.tokens);
        EXPECT_EQ(out.err, "");  // the caller's AutoPtr owns the vector: no leak report
    }
    Vector<String> target;
    target.Add("old");
    String("a b").GetTokens(target, " ", true);
    EXPECT_EQ(Joined(target), "[old][a][b]");
}

struct ReadCase {
    const char* name;
    std::string input;
    std::string lines;
    const char* message;
};

const std::string kLongest(1023, 'x');

const ReadCase kReads[] = {
    {"line end at the end gives one further empty line", "a\r\nb\n", "[a\r][b][]", ""},
    {"empty input is one empty line", "", "[]", ""},
    {"1023 bytes fit, with or without line end", kLongest + "\n" + kLongest,
     "[" + kLongest + "][" + kLongest + "]", ""},
    {"1024 bytes do not fit", "a\n" + kLongest + "x\nb", "[a]", "Line is longer than 1023 bytes"},
};

// The readers' loop: test for the end before every read.
TEST(String, ReadLineThroughTheLineBuffer)
{
    for (const auto& row : kReads) {
        SCOPED_TRACE(row.name);
        std::istringstream in(row.input);
        std::string got;
        Outcome out = test::Run([&] {
            String line;
            while (!in.eof()) {
                String::ReadLine(in, line);
                got += "[" + line.str() + "]";
            }
        });
        EXPECT_EQ(got, row.lines);
        EXPECT_EQ(out.message, row.message);
        EXPECT_EQ(out.err, out.raised ? std::string(row.message) + "\n" : "");
    }
}

}  // namespace
}  // namespace veltra
