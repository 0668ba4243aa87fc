#include "safe/SmartString.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "safe/Vector.h"

namespace veltra {

String::String(int32_t value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%d", static_cast<int>(value));
    m_text = buffer;
}

String& String::operator=(const char* text)
{
    m_text = text ? text : "";
    return *this;
}

String& String::operator=(char c)
{
    m_text.assign(1, c);
    return *this;
}

char& String::operator[](int32_t i)
{
    if (i < 0 || i > Length()) VELTRA_RAISE("String index out of bounds");
    return m_text[static_cast<size_t>(i)];
}

char String::operator[](int32_t i) const
{
    if (i < 0 || i > Length()) VELTRA_RAISE("String index out of bounds");
    return m_text[static_cast<size_t>(i)];
}

int32_t String::Find(const String& s) const
{
    size_t pos = m_text.find(s.m_text);
    return pos == std::string::npos ? -1 : static_cast<int32_t>(pos);
}

String String::SubString(int32_t start, int32_t count) const
{
    return String(m_text.substr(static_cast<size_t>(start), static_cast<size_t>(count)));
}

String String::Left(int32_t count) const
{
    if (count > Length())
        VELTRA_RAISE("Insufficient string length for Left operation. String: ", m_text,
                     " requested count: ", count);
    // A negative count, taken as an unsigned length, keeps the whole text.
    return String(m_text.substr(0, static_cast<size_t>(count)));
}

String String::Right(int32_t count) const
{
    if (count > Length())
        VELTRA_RAISE("Insufficient string length for Right operation. String: ", m_text,
                     " requested count: ", count);
    if (count < 0) return String();
    return String(m_text.substr(m_text.size() - static_cast<size_t>(count)));
}

String String::BeforeFirst(const String& sep) const
{
    int32_t pos = Find(sep);
    if (pos < 0) VELTRA_RAISE("String: ", m_text, " does not contain: ", sep);
    return Left(pos);
}

String String::AfterFirst(const String& sep) const
{
    int32_t pos = Find(sep);
    if (pos < 0) VELTRA_RAISE("String: ", m_text, " does not contain: ", sep);
    return Right(Length() - pos - sep.Length());
}

String String::RemoveFromFront(const String& prefix) const
{
    if (!StartsWith(prefix)) VELTRA_RAISE("Cannot remove: ", prefix, " from the front of: ", m_text);
    return String(m_text.substr(prefix.m_text.size()));
}

String String::Replace(const String& from, const String& to) const
{
    if (from.m_text.empty()) return *this;
    std::string result;
    size_t start = 0;
    for (size_t pos = m_text.find(from.m_text); pos != std::string::npos;
         pos = m_text.find(from.m_text, start)) {
        result.append(m_text, start, pos - start);
        result += to.m_text;
        start = pos + from.m_text.size();
    }
    result.append(m_text, start, std::string::npos);
    return String(result);
}

String String::TrimLeft() const
{
    size_t i = 0;
    while (i < m_text.size() && IsWhiteSpace(m_text[i])) ++i;
    return String(m_text.substr(i));
}

String String::TrimRight() const
{
    size_t n = m_text.size();
    while (n > 0 && IsWhiteSpace(m_text[n - 1])) --n;
    return String(m_text.substr(0, n));
}

String String::Trim() const
{
    size_t first = 0, end = m_text.size();
    while (first < end && IsWhiteSpace(m_text[first])) ++first;
    while (end > first && IsWhiteSpace(m_text[end - 1])) --end;
    return String(m_text.substr(first, end - first));
}

bool String::IsInteger() const
{
    String t = Trim();
    if (t.m_text.empty()) return false;
    if (t.StartsWith("+")) t = t.RemoveFromFront("+");
    while (t.Length() >= 2 && t.StartsWith("0")) t = t.RemoveFromFront("0");
    // The canonical form of the converted value must give the text back. Values outside 32 bits
    // never do; they are refused before the conversion to int.
    long long value = std::strtoll(t.c_str(), nullptr, 10);
    if (value < INT32_MIN || value > INT32_MAX) return false;
    return String(static_cast<int32_t>(value)) == t;
}

int32_t String::ToInteger() const
{
    if (!IsInteger()) VELTRA_RAISE("Cannot convert string: >", m_text, "< to integer");
    return static_cast<int32_t>(std::strtol(m_text.c_str(), nullptr, 10));
}

void String::Format(const char* format, ...)
{
    std::vector<char> buffer(1024);
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    va_end(args);
    m_text = buffer.data();
}

void String::ReadLine(std::istream& stream, String& line)
{
    ReadLine(stream, line, String(), 0);
}

void String::ReadLine(std::istream& stream, String& line, const String& file, int64_t number)
{
    if (number > INT32_MAX)
        VELTRA_RAISE("The line count would pass 2147483647 at line ", number, " of ", file);
    // Room for 1023 bytes, a CR before the newline and the terminating zero: one buffer per thread,
    // off the stack, that the reading fills without clearing it first.
    thread_local char buffer[1025];
    std::string& text = line.m_text;
    stream.getline(buffer, sizeof buffer);
    const bool found = !stream.fail() && !stream.eof();  // the newline was read and dropped
    size_t length = static_cast<size_t>(stream.gcount()) - (found ? 1 : 0);
    if (stream.bad() || (stream.fail() && !stream.eof() && length != 1024)) {
        text.clear();
        if (file.Length() == 0) VELTRA_RAISE("Cannot read from input stream");
        VELTRA_RAISE("Cannot read file: ", file);
    }
    if (found && length > 0 && buffer[length - 1] == '\r') --length;
    const bool tooLong = length > 1023;
    text.assign(buffer, std::min<size_t>(length, 1023));
    if (tooLong) {
        if (file.Length() == 0) VELTRA_RAISE("Line is longer than 1023 bytes");
        VELTRA_RAISE("Line ", number, " of ", file, " is longer than 1023 bytes");
    }
    if (std::memchr(buffer, '\0', text.size())) {
        if (file.Length() == 0) VELTRA_RAISE("Line holds a zero byte");
        VELTRA_RAISE("Line ", number, " of ", file, " holds a zero byte");
    }
}

bool LineReader::Next(char*& line, size_t& length, int64_t number)
{
    if (m_done) return false;
    if (number > INT32_MAX)
        VELTRA_RAISE("The line count would pass 2147483647 at line ", number, " of ", m_file);
    char* newline = nullptr;
    for (;;) {
        char* const begin = m_buffer.data() + m_begin;
        newline = static_cast<char*>(std::memchr(begin, '\n', m_end - m_begin));
        // More bytes without a newline than the longest line and its CR: refused below.
        if (newline || m_eof || m_end - m_begin > kRoom - 2) break;
        // The bytes not read yet to the front, the next block after them.
        std::memmove(m_buffer.data(), begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
        m_in.read(m_buffer.data() + m_end, static_cast<std::streamsize>(m_buffer.size() - 1 - m_end));
        if (m_in.bad()) {
            if (m_file.Length() == 0) VELTRA_RAISE("Cannot read from input stream");
            VELTRA_RAISE("Cannot read file: ", m_file);
        }
        m_end += static_cast<size_t>(m_in.gcount());
        m_eof = m_in.eof();
    }
    line = m_buffer.data() + m_begin;
    if (newline) {
        // A CR before the newline is no part of the line.
        length = static_cast<size_t>(newline - line);
        m_begin += length + 1;
        if (length > 0 && line[length - 1] == '\r') --length;
    } else {
        // The last line, which keeps a CR at its end, or a line too long.
        length = m_end - m_begin;
        m_begin = m_end;
        m_done = true;
    }
    if (length > 1023) {
        if (m_file.Length() == 0) VELTRA_RAISE("Line is longer than 1023 bytes");
        VELTRA_RAISE("Line ", number, " of ", m_file, " is longer than 1023 bytes");
    }
    if (std::memchr(line, '\0', length)) {
        if (m_file.Length() == 0) VELTRA_RAISE("Line holds a zero byte");
        VELTRA_RAISE("Line ", number, " of ", m_file, " holds a zero byte");
    }
    line[length] = '\0';
    return true;
}

Ptr<Vector<String>> String::GetTokens(const String& delimiters, bool skipEmpty) const
{
    return FillOrDelete(NewObject<Vector<String>>(),
                        [&](Vector<String>& tokens) { GetTokens(tokens, delimiters, skipEmpty); });
}

void String::GetTokens(Vector<String>& target, const String& delimiters, bool skipEmpty) const
{
    if (skipEmpty) {
        std::unique_ptr<char[]> buffer(new (std::nothrow) char[m_text.size() + 1]);
        if (!buffer) VELTRA_RAISE("Failed to allocate memory in String::GetTokens()");
        std::memcpy(buffer.get(), m_text.c_str(), m_text.size() + 1);
        // Cut where any delimiter byte stands; runs of delimiters give no empty tokens. strtok is
        // not used because it keeps state between calls.
        const char* delims = delimiters.c_str();
        char* p = buffer.get();
        while (*p) {
            p += std::strspn(p, delims);
            if (!*p) break;
            size_t n = std::strcspn(p, delims);
            target.Add(String(std::string(p, n)));
            p += n;
        }
        return;
    }
    if (delimiters.Length() != 1)
        VELTRA_RAISE("Cannot return tokens that include empty for more than one delimiters");
    String rest = *this;
    while (rest.Contains(delimiters)) {
        target.Add(rest.BeforeFirst(delimiters));
        rest = rest.AfterFirst(delimiters);
    }
    target.Add(rest);
}

int32_t CountNewlines(std::istream& in, const String& file, int32_t start, int64_t* refused)
{
    // A line that the reading would refuse stops the count where the reading would stop, so that
    // an endless input without newlines ends here at once. A CR before the newline is no part of
    // the line, as for the reading.
    const size_t kLongest = 1023;
    std::vector<char> buffer(65536);
    int32_t total = start;
    size_t length = 0;  // of the line so far
    bool cr = false;    // the line so far ends with CR
    auto tooLong = [&] {
        if (refused) *refused = int64_t{total} + 1;
        VELTRA_RAISE("Line ", total + 1, " of ", file, " is longer than 1023 bytes");
    };
    while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || in.gcount() > 0) {
        const char* at = buffer.data();
        const char* const end = at + in.gcount();
        while (at < end) {
            const char* newline =
                static_cast<const char*>(std::memchr(at, '\n', static_cast<size_t>(end - at)));
            const char* stop = newline ? newline : end;
            if (stop > at) {
                length += static_cast<size_t>(stop - at);
                cr = stop[-1] == '\r';
            }
            if (!newline) {
                if (length > kLongest + 1) tooLong();
                break;
            }
            if (length - (cr ? 1 : 0) > kLongest) tooLong();
            // Another line follows every newline: the last one read, and every count of lines
            // read, must stay within 32 bits.
            if (total == INT32_MAX - 1) {
                if (refused) *refused = int64_t{INT32_MAX} + 1;
                VELTRA_RAISE("The line count would pass 2147483647 at line ", int64_t{INT32_MAX} + 1, " of ",
                             file);
            }
            ++total;
            length = 0;
            cr = false;
            at = newline + 1;
        }
    }
    if (length > kLongest) tooLong();
    if (in.bad()) VELTRA_RAISE("Cannot read file: ", file);
    in.clear();
    in.seekg(0);
    return total;
}

}  // namespace veltra
