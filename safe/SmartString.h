// String: the managed byte string behind every name, key, state, tag and line of Veltra.
//
// Lengths and positions count bytes; comparisons are byte-wise. Every checked operation raises a
// TrapException (after writing its message to standard error) and leaves the String unchanged.
#ifndef VELTRA_SAFE_SMARTSTRING_H
#define VELTRA_SAFE_SMARTSTRING_H

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "safe/SmartPointers.h"

namespace veltra {

template <class T>
class Vector;

// White space as trimming means it: blank, tab, newline, vertical tab, form feed and carriage
// return, the "C" locale's isspace, whatever locale the host has set (under some locales isspace
// also takes bytes such as 0xA0).
inline bool IsWhiteSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

class String : public SmartObject {
public:
    String() = default;
    String(const char* text) : m_text(text ? text : "") {}  // NOLINT: implicit like a literal
    String(const std::string& text) : m_text(text) {}       // NOLINT
    String(const String& other) = default;
    // Moving takes the text and leaves the source empty; like a copy, the new String has its
    // own (no) proxy. Containers of Strings grow without copying every text.
    String(String&& other) noexcept : SmartObject(), m_text(std::move(other.m_text)) {}
    explicit String(int32_t value);  // "%d"
    explicit String(char c) : m_text(1, c) {}
    ~String() override = default;

    String& operator=(const char* text);
    String& operator=(char c);
    String& operator=(const String& other) = default;
    String& operator=(String&& other) noexcept
    {
        m_text = std::move(other.m_text);
        return *this;
    }

    const char* GetTypeName() const override { return "String"; }

    int32_t Length() const { return static_cast<int32_t>(m_text.size()); }
    const char* c_str() const { return m_text.c_str(); }
    const std::string& str() const { return m_text; }

    // Byte i; the index equal to the length is accepted and refers to the terminating zero.
    // Raises "String index out of bounds" for i < 0 or i > Length().
    char& operator[](int32_t i);
    char operator[](int32_t i) const;

    int32_t Find(const String& s) const;  // first position, or -1
    bool Contains(const String& s) const { return Find(s) >= 0; }
    // True when the first occurrence of s is at the front (the search runs over the whole text).
    bool StartsWith(const String& s) const { return Find(s) == 0; }

    String SubString(int32_t start, int32_t count) const;
    // Raise "Insufficient string length for Left|Right operation. String: <text> requested count: <n>"
    // when count > Length(). A negative count to Left yields the whole text.
    String Left(int32_t count) const;
    String Right(int32_t count) const;
    // Raise "String: <text> does not contain: <sep>" when sep is absent.
    String BeforeFirst(const String& sep) const;
    String AfterFirst(const String& sep) const;
    // Raises "Cannot remove: <prefix> from the front of: <text>" unless StartsWith(prefix).
    String RemoveFromFront(const String& prefix) const;
    // Replaces every occurrence left to right; replaced text is never scanned again.
    String Replace(const String& from, const String& to) const;
    String RemoveAll(char c) const { return Replace(String(c), String()); }
    String TrimLeft() const;
    String TrimRight() const;
    String Trim() const;  // TrimRight of TrimLeft, cut at once

    // True for a 32-bit integer in canonical form after trimming, an optional "+" and leading
    // zeros: " 42 ", "+42", "0042", "-7" and "0" are; "", "+", "4x", "-07", "1e3" are not.
    bool IsInteger() const;
    // Raises "Cannot convert string: ><text>< to integer" unless IsInteger().
    int32_t ToInteger() const;

    // vsnprintf, keeping at most 1023 bytes of the result.
    void Format(const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    // Reads one line (at most 1023 bytes, the newline dropped) into `line`. CR LF ends a line as LF
    // does, on every platform, as a text stream on Windows reads it. Raises, rather than cut a line
    // short or loop on it: "Line is longer than 1023 bytes", "Line holds a zero byte" and, when the
    // stream fails otherwise, "Cannot read from input stream". Given the file and the line's number,
    // the messages name them: "Line 3 of samples.txt holds a zero byte", "Cannot read file: <file>".
    // Line numbers, and every count of lines, stay within 32 bits: a line past that is refused,
    // unread, with "The line count would pass 2147483647 at line 2147483648 of <file>".
    static void ReadLine(std::istream& stream, String& line);
    static void ReadLine(std::istream& stream, String& line, const String& file, int64_t number);

    // A new heap vector of the tokens, owned by the caller (take it with an AutoPtr).
    // skipEmpty true: every byte of `delimiters` separates and no token is empty.
    // skipEmpty false: `delimiters` is one separator and empty tokens are kept; raises
    // "Cannot return tokens that include empty for more than one delimiters" otherwise.
    Ptr<Vector<String>> GetTokens(const String& delimiters, bool skipEmpty) const;
    // The same, appended to `target` without clearing it.
    void GetTokens(Vector<String>& target, const String& delimiters, bool skipEmpty) const;

    bool operator==(const String& o) const
    {
        return m_text == o.m_text;
    }
    bool operator!=(const String& o) const
    {
        return m_text != o.m_text;
    }
    bool operator<(const String& o) const
    {
        return m_text < o.m_text;
    }

    String operator+(const String& o) const
    {
        return String(m_text + o.m_text);
    }
    String operator+(const char* o) const
    {
        return String(m_text + (o ? o : ""));
    }
    String operator+(char c) const
    {
        return String(m_text + c);
    }
    String& operator+=(const String& o)
    {
        m_text += o.m_text;
        return *this;
    }

private:
    std::string m_text;
};

inline String operator+(const char* a, const String& b)
{
    return String(std::string(a ? a : "") + b.str());
}
inline std::ostream& operator<<(std::ostream& out, const String& s)
{
    return out << s.str();
}
inline std::string MessagePiece(const String& s)
{
    return s.str();
}

// The lines of a stream read in blocks, for the long runs over a file: each line as
// String::ReadLine reads it, with its checks and messages, and as many lines, but without a copy
// or an allocation per line. A line stays valid until the next call and ends with a zero byte; its
// bytes may be changed in place.
class LineReader {
public:
    LineReader(std::istream& in, const String& file) : m_in(in), m_file(file), m_buffer(kBlock + kRoom) {}
    // The next line and its length, numbered `number` in the messages; false after the last line
    // (the piece after the last newline, empty when the input ends with one).
    bool Next(char*& line, size_t& length, int64_t number);
    // Whether the last line has been read: as a stream read by ReadLine is at its end.
    bool AtEnd() const { return m_done; }

private:
    static constexpr size_t kBlock = 256 * 1024;
    static constexpr size_t kRoom = 1026;  // the longest line with a CR and a newline, and a zero
    std::istream& m_in;
    const String& m_file;
    std::vector<char> m_buffer;
    size_t m_begin = 0;  // the bytes not read yet: m_buffer[m_begin, m_end)
    size_t m_end = 0;
    bool m_eof = false;   // the stream has given all it holds
    bool m_done = false;  // the last line was read
};

// The number of newline characters in the rest of the stream, which is then rewound: the total
// shown by the progress counters. Raises, as reading the file would, "Line <n> of <file> is longer
// than 1023 bytes", at once for an input without end or newlines, and "Cannot read file: <file>";
// and "The line count would pass 2147483647 at line 2147483648 of <file>" for a file of more lines
// than a run counts (its progress shows one more line than the newlines); the number of the line
// refused goes to *refused, when given. `start` newlines are taken as counted already: a test
// starts near the limit.
int32_t CountNewlines(std::istream& in, const String& file, int32_t start = 0, int64_t* refused = nullptr);

}  // namespace veltra

#endif  // VELTRA_SAFE_SMARTSTRING_H
