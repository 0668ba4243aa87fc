#include "safe/Numbers.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace veltra {

namespace {

bool IsDigit(char c, bool hex)
{
    return (c >= '0' && c <= '9') || (hex && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')));
}

// For a number that a double cannot hold: whether it is too large rather than too small. The
// text runs from its first digit or point to its end; the exponent counts bits after "0x".
bool TooLarge(const char* at, const char* end, bool hex)
{
    // The power of the base (16 or 10) of the first digit that is not 0: the number of digits
    // before the point from that one on, less one, or minus the place after the point.
    int64_t integerDigits = 0, fractionZeros = 0;
    bool fraction = false, nonZero = false;
    for (; at < end; ++at) {
        if (*at == '.' && !fraction) {
            fraction = true;
        } else if (!IsDigit(*at, hex)) {
            break;
        } else if (!fraction) {
            nonZero = nonZero || *at != '0';
            if (nonZero) ++integerDigits;
        } else if (!nonZero) {
            nonZero = *at != '0';
            if (!nonZero) ++fractionZeros;
        }
    }
    const int64_t order = integerDigits > 0 ? integerDigits - 1 : -(fractionZeros + 1);
    int64_t exponent = 0;
    if (at < end && (*at == (hex ? 'p' : 'e') || *at == (hex ? 'P' : 'E'))) {
        ++at;
        const bool negative = at < end && *at == '-';
        if (at < end && (*at == '-' || *at == '+')) ++at;
        for (; at < end && *at >= '0' && *at <= '9'; ++at)
            if (exponent < 1000000000) exponent = exponent * 10 + (*at - '0');
        if (negative) exponent = -exponent;
    }
    return (hex ? order * 4 : order) + exponent >= 0;
}

}  // namespace

double ReadNumber(const char* text, size_t* used)
{
    if (used) *used = 0;
    const char* at = text;
    // White space of the "C" locale: blank, tab, newline, vertical tab, form feed, return.
    while (*at == ' ' || (*at >= '\t' && *at <= '\r')) ++at;
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') ++at;
    // A second sign is no number; from_chars would take a minus.
    if (*at == '-' || *at == '+') return 0.0;
    const char* const end = at + std::strlen(at);
    // "0x" begins a hexadecimal number only when a hexadecimal digit follows, after a point or not.
    const bool hex = at[0] == '0' && (at[1] == 'x' || at[1] == 'X') &&
                     (IsDigit(at[2], true) || (at[2] == '.' && IsDigit(at[3], true)));
    const char* const digits = hex ? at + 2 : at;
    double value = 0.0;
    const std::from_chars_result read =
        std::from_chars(digits, end, value, hex ? std::chars_format::hex : std::chars_format::general);
    // No number at all: 0, without the sign.
    if (read.ec == std::errc::invalid_argument) return 0.0;
    if (read.ec == std::errc::result_out_of_range) value = TooLarge(digits, read.ptr, hex) ? HUGE_VAL : 0.0;
    if (used) *used = static_cast<size_t>(read.ptr - text);
    return negative ? -value : value;
}

namespace {

std::string Printed(double value, std::chars_format format, int precision)
{
#if defined(_WIN32)
    // The Windows runtime's printf writes every not-a-number without a sign.
    if (std::isnan(value)) return "nan";
#endif
    // The largest double takes 309 digits before the point.
    char text[320 + 64];
    if (precision < 0 || precision > 64) precision = 6;
    const std::to_chars_result written = std::to_chars(text, text + sizeof text, value, format, precision);
    return std::string(text, written.ptr);
}

}  // namespace

std::string FixedNumber(double value, int decimals)
{
    return Printed(value, std::chars_format::fixed, decimals);
}

std::string GeneralNumber(double value, int precision)
{
    return Printed(value, std::chars_format::general, precision);
}

}  // namespace veltra
