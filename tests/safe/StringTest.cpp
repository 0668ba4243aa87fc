#include <cstdint>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "safe/SmartString.h"
#include "safe/Vector.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

TEST(String, FailuresNameTheTextAndTheArgument)
{
    // clang-format off
    const test::Failure rows[] = {
        {[] { (void)String("abc")[4]; }, "String index out of bounds"},
        {[] { (void)String("abc").Left(4); }, "Insufficient string length for Left operation. String: abc requested count: 4"},
        {[] { (void)String("abc").Right(9); }, "Insufficient string length for Right operation. String: abc requested count: 9"},
        {[] { (void)String("abc").BeforeFirst("="); }, "String: abc does not contain: ="},
        {[] { (void)String("ab b").RemoveFromFront("b"); }, "Cannot remove: b from the front of: ab b"},
        {[] { (void)String("4x").ToInteger(); }, "Cannot convert string: >4x< to integer"},
        {[] { (void)String("a").GetTokens(",;", false); }, "Cannot return tokens that include empty for more than one delimiters"},
    };
    // clang-format on
    test::ExpectFailures(rows);
}

// Replace never rescans what it inserted; the index of the terminating zero is accepted.
TEST(String, ReplaceAndIndexEdges)
{
    EXPECT_EQ(String("aa").Replace("a", "aa").str(), "aaaa");
    EXPECT_EQ(String("aabb").Replace("ab", "b").str(), "abb");
    EXPECT_EQ(String("abc").Replace("", "x").str(), "abc");
    EXPECT_EQ(String("abc")[3], '\0');
}

// Canonical after trimming, an optional "+" and leading zeros; 32 bits only.
TEST(String, IntegersInCanonicalFormOnly)
{
    const std::pair<const char*, int32_t> accepted[] = {
        {" 42 ", 42}, {"+42", 42}, {"0042", 42}, {"-7", -7}, {"000", 0}, {"-2147483648", INT32_MIN}};
    for (const auto& [text, value] : accepted) EXPECT_EQ(String(text).ToInteger(), value) << text;
    for (const char* text : {"", "+", "4x", "-07", "1e3", "1 2", "2147483648"})
        EXPECT_FALSE(String(text).IsInteger()) << '>' << text << '<';
}

// Skipping empty tokens, every delimiter byte separates; keeping them, the one delimiter does.
TEST(String, GetTokensInBothModes)
{
    struct {
        const char* text;
        const char* delimiters;
        bool skipEmpty;
        const char* tokens;
    } rows[] = {{"  x \ty  ", " \t", true, "[x][y]"},
                {",,", ",", true, ""},
                {"a,,b,", ",", false, "[a][][b][]"},
                {"", ",", false, "[]"}};
    for (const auto& row : rows)
        EXPECT_EQ(
            test::Joined(*AutoPtr<Vector<String>>(String(row.text).GetTokens(row.delimiters, row.skipEmpty))),
            row.tokens)
            << row.text;
}

// Lines of up to 1023 bytes, ended by LF or CR LF; a longer line or a zero byte is refused.
TEST(String, ReadLineTakesLinesOfUpTo1023Bytes)
{
    const std::string longest(1023, 'x');
    std::istringstream lines(longest + "\r\n" + longest + "\n" + longest);
    for (String line; !lines.eof();) {
        String::ReadLine(lines, line);
        EXPECT_EQ(line.str(), longest);
    }
    const test::Failure rows[] = {
        {[] {
             std::istringstream in(std::string(1024, 'x'));
             String line;
             String::ReadLine(in, line);
         },
         "Line is longer than 1023 bytes"},
        {[] {
             std::istringstream in(std::string("a\0b", 3));
             String line;
             String::ReadLine(in, line);
         },
         "Line holds a zero byte"},
        {[] {
             std::istringstream in("ab\n" + std::string(1024, 'x'));
             String line;
             String::ReadLine(in, line, "f.txt", 1), String::ReadLine(in, line, "f.txt", 2);
         },
         "Line 2 of f.txt is longer than 1023 bytes"},
    };
    test::ExpectFailures(rows);
}

}  // namespace
}  // namespace veltra
