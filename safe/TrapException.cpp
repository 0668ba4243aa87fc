#include "safe/TrapException.h"

#include <cinttypes>
#include <cstdio>

namespace veltra {

TrapException::TrapException(const char* file, int32_t line)
{
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, "File: %s, Line: %d", file ? file : "", static_cast<int>(line));
    m_location = buffer;
}

std::string MessagePiece(int32_t value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%d", static_cast<int>(value));
    return buffer;
}

std::string MessagePiece(int64_t value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%" PRId64, value);
    return buffer;
}

std::string MessagePiece(double value)
{
    return FixedNumber(value, 6);
}

void ReportError(const std::string& text) noexcept
{
    try {
        WriteReport("ERROR: " + text);
    } catch (...) {
        // No memory for the text: there is nothing left to report with.
    }
}

}  // namespace veltra
