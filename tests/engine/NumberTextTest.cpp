#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <string>

#include "engine/NumberText.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// What a stream at precision 4 writes for `value`.
std::string Streamed(double value)
{
    std::ostringstream out;
    out.precision(4);
    out << value;
    return out.str();
}

// AppendPrecision4 writes what the stream writes, or nothing outside [0.001, 1]: on the values
// where rounding is hardest (exact ties such as 0.015625, the neighbours of every halfway point
// of four digits in each decade, the edges 0.001 and 1) and on a million random ones.
TEST(NumberText, Precision4IsWhatTheStreamWrites)
{
    int checked = 0, differing = 0;
    auto check = [&](double value) {
        std::string text;
        const bool written = AppendPrecision4(text, value);
        if (written != (value >= 0.001 && value <= 1.0) || (written && text != Streamed(value))) {
            if (++differing <= 10)
                ADD_FAILURE() << Bits(value) << ": wrote [" << text << "], stream " << Streamed(value);
        }
        ++checked;
    };
    for (double edge : {0.001, 0.00099995, 0.99995, 1e-05, 1.0, 0.5, 0.015625, 0.0015625, 0.03125}) {
        check(edge);
        check(std::nextafter(edge, 0.0));
        check(std::nextafter(edge, 2.0));
    }
    for (int bits = 1; bits <= 20; ++bits)
        for (int64_t k = 1; k < (int64_t{1} << std::min(bits, 14)); k += 2)
            check(std::ldexp(static_cast<double>(k), -bits));
    for (int decimals = 3; decimals <= 6; ++decimals)
        for (int digits = 1000; digits < 10000; ++digits) {
            const double halfway = (digits + 0.5) / std::pow(10.0, decimals);
            check(halfway);
            check(std::nextafter(halfway, 0.0));
            check(std::nextafter(halfway, 2.0));
        }
    std::mt19937_64 random(3);
    for (int i = 0; i < 1000000; ++i)
        check(std::pow(10.0, -3.5 * std::ldexp(static_cast<double>(random() >> 11), -53)));
    check(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(differing, 0) << "of " << checked;
}

TEST(NumberText, IntegersAsTheStreamWritesThem)
{
    std::string text;
    for (int64_t value : {int64_t{0}, int64_t{-7}, int64_t{2147483647}, int64_t{-2147483648}})
        AppendInteger(text, value);
    EXPECT_EQ(text, "0-72147483647-2147483648");
}

}  // namespace
}  // namespace veltra::test
