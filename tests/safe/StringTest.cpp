// The rules of String that the readers rely on: canonical integers, and both ways of cutting
// tokens. (Its failures: the table in TrapExceptionTest; reading lines: FileSafety, whose runs read
// the longest lines and refuse longer ones.)
#include <cstdint>
#include <utility>

#include "safe/SmartString.h"
#include "safe/Vector.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// Canonical after trimming, an optional "+" and leading zeros; 32 bits only.
TEST(String, IntegersInCanonicalFormOnly)
{
    const std::pair<const char*, int32_t> accepted[] = {
        {" 42 ", 42}, {"+42", 42}, {"0042", 42}, {"-7", -7}, {"000", 0}, {"-2147483648", INT32_MIN}};
    for (const auto& [text, value] : accepted) EXPECT_EQ(String(text).ToInteger(), value) << text;
    for (const char* text : {"", "+", "4x", "-07", "2147483648"})
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
    for (const auto& row : rows) {
        AutoPtr<Vector<String>> tokens(String(row.text).GetTokens(row.delimiters, row.skipEmpty));
        std::string joined;  // each token in brackets: "[a][][b]"
        for (int i = 0; i < tokens->Size(); ++i) joined += "[" + (*tokens)[i].str() + "]";
        EXPECT_EQ(joined, row.tokens) << row.text;
    }
}

}  // namespace veltra::test
