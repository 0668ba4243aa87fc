// Numbers read and written as the "C" locale does: held to the C library's own strtod and printf,
// which this program runs in the "C" locale, on seeded random texts and values. The process's
// locale changed under the library is the locale host's job (tests/api/LocaleHost.cpp).
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

#include "safe/Numbers.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// Texts near the edges of every form atof takes: signs, points, exponents without digits,
// hexadecimal, the words, and numbers a double cannot hold.
// clang-format off
const char* const kTexts[] = {
    "", " ", "0.25", "  \t\n0.25x", "+.5", "-.5e1", "5.", ".", "-", "+-1", "--1", "1e", "1e+", "1e-2x",
    "0x", "0x.", "0xg", "0x1p", "0x1.8p1", "-0X.8", "0x-1", "0x1p-1074", "0x1p-1080", "0x1p1024", "inf",
    "-Infinity", "infin", "nan", "-NaN(12)", "nan(", "1e400", "-1e400", "1e-400", "2.4e-324",
    "2.5e-324", "4.9e-324", "1e308", "1.8e308", "0.000000000000000000001e-300",
    "123456789012345678901234567890", "1,5", "P(H=a)", "\2401"};
// clang-format on

bool SameBits(double a, double b)
{
    return Bits(a) == Bits(b) || (std::isnan(a) && std::isnan(b) && std::signbit(a) == std::signbit(b));
}

TEST(Numbers, ReadNumberIsStrtodOfTheCLocale)
{
    for (const char* text : kTexts)
        EXPECT_TRUE(SameBits(ReadNumber(text), std::strtod(text, nullptr))) << text;
    // Random texts over the characters that numbers are made of.
    const std::string alphabet = "0123456789..eE+-xXpPaAfFiInNtTyY( ) \t";
    std::mt19937 random(20261124);
    for (int i = 0; i < 200000; ++i) {
        std::string text(random() % 14, ' ');
        for (char& c : text) c = alphabet[random() % alphabet.size()];
        if (random() % 4 == 0) text.insert(random() % (text.size() + 1), random() % 2 ? "e40" : "e-40");
        ASSERT_TRUE(SameBits(ReadNumber(text.c_str()), std::strtod(text.c_str(), nullptr)))
            << "[" << text << "]";
    }
}

TEST(Numbers, FixedNumberIsPrintfOfTheCLocale)
{
    std::mt19937_64 random(20261124);
    const double edges[] = {0.0,    -0.0,  0.5,     0.0005,   0.9999995, 1.0 / 3,
                            2.5e-7, 1e308, -1e-308, HUGE_VAL, -HUGE_VAL, std::nan("")};
    auto check = [](double value) {
        for (int decimals : {2, 6}) {
            char expected[400];
            std::snprintf(expected, sizeof expected, "%.*f", decimals, value);
            ASSERT_EQ(FixedNumber(value, decimals), expected) << Bits(value);
        }
    };
    for (double value : edges) check(value);
    for (int i = 0; i < 100000; ++i) {
        const uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        check(i % 2 ? value : std::ldexp(static_cast<double>(bits >> 11), -53 - static_cast<int>(i % 30)));
    }
}

}  // namespace
}  // namespace veltra::test
