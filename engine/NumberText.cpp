#include "engine/NumberText.h"

#include <charconv>
#include <cmath>
#include <cstring>
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
    static constexpr uint64_t kPowersOfTen[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    // The decimal exponent, -3 to 0. The doubles nearest 0.1 and 0.01 lie just above them, with
    // no double between, so that comparing with them compares with the exact powers.
    int exponent = value >= 1.0 ? 0 : value >= 0.1 ? -1 : value >= 0.01 ? -2 : -3;
    // value = mantissa / 2^shift exactly, with a 53-bit mantissa and shift 52 to 62, so that
    // mantissa * 10^(3 - exponent) and what rounding drops fit in 128 bits.
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const uint64_t mantissa = (bits & ((uint64_t{1} << 52) - 1)) | (uint64_t{1} << 52);
    const auto shift = static_cast<unsigned>(1075 - static_cast<int>(bits >> 52));
    // Four significant digits: value * 10^(3 - exponent) rounded to the nearest, ties to even.
    const Wide scaled = static_cast<Wide>(mantissa) * kPowersOfTen[3 - exponent];
    uint64_t digits = static_cast<uint64_t>(scaled >> shift);
    const Wide dropped = scaled & ((Wide{1} << shift) - 1), half = Wide{1} << (shift - 1);
    if (dropped > half || (dropped == half && (digits & 1) != 0)) ++digits;
    if (digits == 10000) {  // rounded up to the next power of ten: one digit fewer after the point
        digits = 1000;
        ++exponent;
    }
    // "0.", the zeros after the point, the four digits; trailing zeros and a bare point dropped.
    char written[16];
    size_t length = 0;
    char four[4];
    for (int i = 3; i >= 0; --i, digits /= 10) four[i] = static_cast<char>('0' + digits % 10);
    if (exponent == 0) {
        written[length++] = four[0];
        written[length++] = '.';
        for (int i = 1; i < 4; ++i) written[length++] = four[i];
    } else {
        written[length++] = '0';
        written[length++] = '.';
        for (int i = 0; i < -exponent - 1; ++i) written[length++] = '0';
        for (int i = 0; i < 4; ++i) written[length++] = four[i];
    }
    while (written[length - 1] == '0') --length;
    if (written[length - 1] == '.') --length;
    text.append(written, length);
    return true;
}

}  // namespace veltra
