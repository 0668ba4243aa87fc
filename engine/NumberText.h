// NumberText: numbers written into text exactly as the engine's output streams write them.
//
// Batch evaluation writes probabilities with a stream's default floating-point notation at
// precision 4 (the conversion "%.4g"), and counts and line numbers with the stream's integer
// output. When a stream has default flags and the classic locale, these functions append the
// same bytes to a string, so that a line can be assembled and written at once.
#ifndef VELTRA_ENGINE_NUMBERTEXT_H
#define VELTRA_ENGINE_NUMBERTEXT_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

namespace veltra {

// True when `stream` writes numbers as a fresh stream in the classic locale does: default flags,
// no field width pending. Text from the functions below is then what the stream would write.
bool WritesPlainNumbers(const std::ostream& stream);

// Appends `value` in decimal, as a plain stream writes an integer.
void AppendInteger(std::string& text, int64_t value);
// `value` in decimal, as a plain stream writes an integer, whatever the stream's locale.
inline std::string IntegerText(int64_t value)
{
    std::string text;
    AppendInteger(text, value);
    return text;
}

// The most bytes PutPrecision4 writes.
constexpr size_t kPrecision4Size = 8;
// Writes at `at` what a plain stream at precision 4 writes for `value` and returns where the text
// ends, for values from 0.001 to 1 (the probabilities of a result line); returns nullptr, writing
// nothing, for any other value. The digits are the value rounded to four significant digits,
// exactly, ties to even; trailing zeros and a trailing point are dropped. Up to kPrecision4Size
// bytes at `at` may be written, beyond the text's end too.
char* PutPrecision4(char* at, double value);

}  // namespace veltra

#endif  // VELTRA_ENGINE_NUMBERTEXT_H
