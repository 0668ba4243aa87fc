#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/NumberText.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// PutPrecision4 writes what a stream at precision 4 writes, or nothing outside [0.001, 1]: on
// the values where rounding is hardest and their neighbours (exact ties such as 0.015625, every
// halfway point of four digits in each decade, the edges 0.001 and 1).
TEST(NumberText, NumbersAreWhatTheStreamWrites)
{
    int differing = 0;
    auto check = [&](double near) {
        for (double value : {std::nextafter(near, 0.0), near, std::nextafter(near, 2.0)}) {
            char put[kPrecision4Size];
            std::ostringstream streamed;
            streamed.precision(4);
            streamed << value;
            const char* end = PutPrecision4(put, value);
            const bool written = end != nullptr;
            const std::string text(static_cast<const char*>(put), written ? end : put);
            if ((written != (value >= 0.001 && value <= 1.0) || (written && text != streamed.str())) &&
                ++differing <= 10)
                ADD_FAILURE() << Bits(value) << ": wrote [" << text << "], stream " << streamed.str();
        }
    };
    for (double edge :
         {0.001, 0.00099995, 0.99995, 1e-05, 1.0, 0.5, std::numeric_limits<double>::quiet_NaN()})
        check(edge);
    for (int bits = 1; bits <= 20; ++bits)
        for (int64_t k = 1; k < (int64_t{1} << std::min(bits, 14)); k += 2)
            check(std::ldexp(static_cast<double>(k), -bits));
    for (int decimals = 3; decimals <= 6; ++decimals)
        for (int digits = 1000; digits < 10000; ++digits) check((digits + 0.5) / std::pow(10.0, decimals));
    EXPECT_EQ(differing, 0);
}

}  // namespace veltra::test
