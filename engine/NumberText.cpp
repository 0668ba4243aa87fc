#include "engine/NumberText.h"

#include <charconv>
#include <cmath>
#include <locale>

namespace veltra {

namespace {

__extension__ typedef unsigned __int128 Wide;

}  // namespace

bool WritesPlainNumbers(const std::ostream& stream)
{
    return stream.flags() == (std::ios_base::skipws | std::ios_base::dec) && stream.width() == 0 &&
           stream.getloc() == std::locale::classic();
}

void AppendInteger(std::string& text, int64_t value)
{
    char digits[24];
    const char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    text.append(digits, static_cast<size_t>(end - digits));
}

bool AppendPrecision4(std::string& text, double value)
{
    if (!(value >= 0.001 && value <= 1.0)) return false;
    // value = mantissa / 2^shift exactly, with a 53-bit mantissa.
    int exponent;
    const double fraction = std::frexp(value, &exponent);
    const Wide mantissa = static_cast<uint64_t>(std::ldexp(fraction, 53));
    const int shift = 53 - exponent;
    // The number of decimals that gives four significant digits: the least q with
    // value * 10^q >= 1000. Every double from 0.001 up is at least 10^-3, so q <= 6.
    int decimals = 3;
    Wide scaled = mantissa * 1000;
    while (scaled < (static_cast<Wide>(1000) << shift)) {
        scaled *= 10;
        ++decimals;
    }
    // digits = value * 10^decimals rounded to the nearest integer, ties to even.
    uint64_t digits = static_cast<uint64_t>(scaled >> shift);
    const Wide rest = scaled - (static_cast<Wide>(digits) << shift);
    const Wide half = static_cast<Wide>(1) << (shift - 1);
    if (rest > half || (rest == half && (digits & 1))) ++digits;
    if (digits == 10000) {  // rounded up to the next power of ten: one decimal fewer
        digits = 1000;
        --decimals;
    }
    uint64_t unit = 1;
    for (int i = 0; i < decimals; ++i) unit *= 10;
    AppendInteger(text, static_cast<int64_t>(digits / unit));
    uint64_t rest10 = digits % unit;
    if (rest10 == 0) return true;
    text += '.';
    for (unit /= 10; rest10 != 0; unit /= 10) {
        text += static_cast<char>('0' + rest10 / unit);
        rest10 %= unit;
    }
    return true;
}

}  // namespace veltra
