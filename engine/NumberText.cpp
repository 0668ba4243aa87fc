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

char* PutPrecision4(char* at, double value)
{
    if (!(value >= 0.001 && value <= 1.0)) return nullptr;
    // Four significant digits: value * 10^decimals rounded, 1000 to 10000. The doubles nearest
    // 0.1 and 0.01 lie just above them, with no double between: comparing with them compares with
    // the exact powers of ten.
    int decimals = value >= 1.0 ? 3 : value >= 0.1 ? 4 : value >= 0.01 ? 5 : 6;
    static constexpr uint32_t kScale[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    // value = mantissa * 2^-shift exactly (a 53-bit mantissa, shift 52 to 62), so that the scaled
    // value and the part rounding drops are exact in 128 bits.
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const Wide scaled =
        static_cast<Wide>((bits & 0xfffffffffffffULL) | 0x10000000000000ULL) * kScale[decimals];
    const unsigned shift = 1075u - static_cast<unsigned>(bits >> 52);
    uint64_t digits = static_cast<uint64_t>(scaled >> shift);
    // To the nearest, ties to even.
    const Wide rest = scaled - (static_cast<Wide>(digits) << shift), half = static_cast<Wide>(1)
                                                                            << (shift - 1);
    digits += rest > half || (rest == half && digits % 2 == 1);
    // Trailing zeros go first (10000, rounded up to the next power of ten, keeps a single digit).
    while (decimals > 0 && digits % 10 == 0) {
        digits /= 10;
        --decimals;
    }
    // The digits from the last, the point before the last `decimals` of them, a zero before it.
    char* const end = at + 1 + decimals + (decimals > 0);
    char* put = end;
    for (int place = 0; place <= decimals; ++place, digits /= 10) {
        if (place == decimals && decimals > 0) *--put = '.';
        *--put = static_cast<char>('0' + digits % 10);
    }
    return end;
}

}  // namespace veltra
