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

namespace {

// `digits` with a point before the last `decimals` of them and a zero before the point, trailing
// zeros and a trailing point dropped: how the value 1 and the values rounded up to a power of ten
// are written.
char* PutRounded(char* at, uint64_t digits, int decimals)
{
    while (decimals > 0 && digits % 10 == 0) {
        digits /= 10;
        --decimals;
    }
    char* const end = at + 1 + decimals + (decimals > 0);
    char* put = end;
    for (int place = 0; place <= decimals; ++place, digits /= 10) {
        if (place == decimals && decimals > 0) *--put = '.';
        *--put = static_cast<char>('0' + digits % 10);
    }
    return end;
}

}  // namespace

char* PutPrecision4(char* at, double value)
{
    if (!(value >= 0.001 && value <= 1.0)) return nullptr;
    // Four significant digits: value * 10^decimals rounded, 1000 to 10000. The doubles nearest
    // 0.1 and 0.01 lie just above them, with no double between: comparing with them compares with
    // the exact powers of ten. Counted without a branch: levels of every decade come mixed.
    const int decimals = 3 + (value < 1.0) + (value < 0.1) + (value < 0.01);
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
    if (decimals == 3 || digits == 10000) return PutRounded(at, digits, decimals);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // "0." and 4 - decimals zeros, then the four digits: eight bytes assembled in a word and
    // written at once, the text's length then cut by the trailing zeros.
    static constexpr char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    uint16_t high, low;
    std::memcpy(&high, kPairs + 2 * (digits / 100), 2);
    std::memcpy(&low, kPairs + 2 * (digits % 100), 2);
    const unsigned place = 8u * static_cast<unsigned>(decimals - 2);
    const uint64_t zeros = 0x3030303030302e30ULL;  // "0.000000"
    const uint64_t text = (zeros & ~(0xffffffffULL << place)) | (uint64_t{high} | uint64_t{low} << 16)
                                                                    << place;
    std::memcpy(at, &text, sizeof text);
    const int trailing = (digits % 10 == 0) + (digits % 100 == 0) + (digits % 1000 == 0);
    return at + decimals + 2 - trailing;
#else
    return PutRounded(at, digits, decimals);
#endif
}

}  // namespace veltra
