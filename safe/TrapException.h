// TrapException: the one exception type of Veltra, and the single way to raise it.
//
// Every failure is first written to standard error (the message and an end of line, flushed),
// then thrown by value as a TrapException carrying the same message and a "File: %s, Line: %d"
// location. Hosts that see only a -1 status therefore always find the reason on standard error.
// Numbers inside a message: integers read the same on the stream and in the message; a double
// is written to standard error in the stream's default format and into the message with "%lf".
#ifndef VELTRA_SAFE_TRAPEXCEPTION_H
#define VELTRA_SAFE_TRAPEXCEPTION_H

#include <cstdint>
#include <iostream>
#include <string>
#include <type_traits>

#include "safe/Console.h"
#include "safe/Numbers.h"

namespace veltra {

class TrapException {
public:
    TrapException(const char* file, int32_t line);
    TrapException(const TrapException& other) = default;
    ~TrapException() = default;

    std::string GetMessage() const { return m_message; }
    void Append(const std::string& piece) { m_message += piece; }

private:
    std::string m_message;
    std::string m_location;
};

// Pieces of a message: the text a piece contributes to the exception's message.
inline std::string MessagePiece(const char* text)
{
    return text ? std::string(text) : std::string();
}
inline std::string MessagePiece(const std::string& text)
{
    return text;
}
inline std::string MessagePiece(char c)
{
    return std::string(1, c);
}
std::string MessagePiece(int32_t value);  // "%d"
std::string MessagePiece(int64_t value);  // "%ld" of a value that fits 64 bits
std::string MessagePiece(double value);   // "%lf"

// Pieces as standard error shows them: as in the message, but doubles in a stream's default
// format ("%g") there. Numbers are in the "C" locale's form whatever locale the host has set.
template <class P>
std::string ShownPiece(const P& piece)
{
    return MessagePiece(piece);
}
inline std::string ShownPiece(double value)
{
    return GeneralNumber(value, 6);
}

// Writes the pieces and an end of line to standard error (or to the calling thread's console
// sink), then throws a TrapException whose message is the same pieces. Use through VELTRA_RAISE
// so that the location is filled in.
template <class... Pieces>
[[noreturn]] void Raise(const char* file, int32_t line, const Pieces&... pieces)
{
    std::string shown;
    ((shown += ShownPiece(pieces)), ...);
    WriteRaised(shown);
    TrapException e(file, line);
    (e.Append(MessagePiece(pieces)), ...);
    throw e;
}

// Clean-up reports: "ERROR: " and a text on standard error. Used by destructors, which never let
// an exception out.
void ReportError(const std::string& text) noexcept;

// A destructor's clean-up: any failure is reported as "ERROR: " and the destructor's own `text`,
// and goes no further.
template <class CleanUp>
void CleanUpOrReport(const char* text, CleanUp&& cleanUp) noexcept
{
    try {
        cleanUp();
    } catch (...) {
        ReportError(text);
    }
}

// The same, reporting the message of a TrapException (already written once by its raise) and
// `text` for any other failure.
template <class CleanUp>
void CleanUpOrReportTrap(const char* text, CleanUp&& cleanUp) noexcept
{
    try {
        cleanUp();
    } catch (TrapException& e) {
        ReportError(e.GetMessage());
    } catch (...) {
        ReportError(text);
    }
}

}  // namespace veltra

#define VELTRA_RAISE(...) ::veltra::Raise(__FILE__, __LINE__, __VA_ARGS__)

#endif  // VELTRA_SAFE_TRAPEXCEPTION_H
