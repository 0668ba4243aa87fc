// Numbers: decimal numbers read and written as the "C" locale reads and writes them, whatever
// locale the host process has set.
//
// A host that calls setlocale(LC_ALL, "") under a locale with a decimal comma would otherwise
// have every probability of a description read as 0 ("0.25" stops at the point) and a trained
// file written as "P(H=a) = 0,250000", which nothing reads back. These functions never consult
// the process's locale; they are safe to call from any thread.
#ifndef VELTRA_SAFE_NUMBERS_H
#define VELTRA_SAFE_NUMBERS_H

#include <cstddef>
#include <string>

namespace veltra {

// What atof gives in the "C" locale: leading white space skipped, then the longest prefix that
// is a number (decimal with an optional exponent, hexadecimal after "0x", "inf", "infinity",
// "nan", any case, each with an optional sign); 0 when there is none. A number too large for a
// double gives an infinity, one too small 0, as strtod gives them. The number of bytes read goes
// to *used, when given (0 when there is no number).
double ReadNumber(const char* text, size_t* used = nullptr);

// printf's "%.<decimals>f" in the "C" locale: "%lf" is FixedNumber(value, 6).
std::string FixedNumber(double value, int decimals);
// printf's "%.<precision>g" in the "C" locale: what a stream with default flags writes at that
// precision (6 by default).
std::string GeneralNumber(double value, int precision);

}  // namespace veltra

#endif  // VELTRA_SAFE_NUMBERS_H
