#include <cstdint>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "safe/HashTable.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

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
    // clang-format off
    const std::tuple<const char*, const char*, bool, const char*> rows[] = {
        {"  x \ty  ", " \t", true, "[x][y]"}, {",,", ",", true, ""},
        {"a,,b,", ",", false, "[a][][b][]"},  {"", ",", false, "[]"}};
    // clang-format on
    for (const auto& [text, delims, skip, want] : rows)
        EXPECT_EQ(test::Joined(*AutoPtr<Vector<String>>(String(text).GetTokens(delims, skip))), want) << text;
}

TEST(String, ReadLineTakesLinesOfUpTo1023Bytes)
{
    const std::string longest(1023, 'x');
    std::istringstream in(longest + "\n" + longest);
    for (String line; !in.eof();) {
        String::ReadLine(in, line);
        EXPECT_EQ(line.str(), longest);
    }
}

TEST(HashTable, KeysKeepTheOrderOfInsertion)
{
    HashTable<Long> t;
    for (const char* key : {"b", "a", "c", "ab", "A"}) t.Add(key, Long(t.Size()));
    EXPECT_TRUE(test::RaisesExactly([&] { t.Add("a", Long()); }, "HashTable cannot add duplicate key: a"));
    EXPECT_EQ(test::Joined(*t.GetKeys()), "[b][a][c][ab][A]");
    EXPECT_EQ(t.Get("a").m_value, 1);
}

}  // namespace
}  // namespace veltra
