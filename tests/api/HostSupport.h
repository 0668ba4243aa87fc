// Shared by the export-level hosts: counted checks, a scratch directory, a file descriptor (1 or 2,
// which the library writes through) captured around a call, and an Analyze answer as text.
#ifndef VELTRA_TESTS_API_HOSTSUPPORT_H
#define VELTRA_TESTS_API_HOSTSUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <utility>

#include "../support/Files.h"
#include "Veltra.h"

#if defined(_WIN32)
#  include <io.h>
#  define VELTRA_POSIX(name) _##name
#else
#  include <unistd.h>
#  define VELTRA_POSIX(name) name
#endif

namespace host {

inline int g_failures = 0;

// Prints "FAILED: <what>" and counts a failure unless `ok`.
inline void Check(bool ok, const std::string& what)
{
    if (ok) return;
    std::printf("FAILED: %s\n", what.c_str());
    ++g_failures;
}

using veltra::test::ReadFile;
using veltra::test::Scratch;

// Text as the library means it on every platform: CR LF read as LF (the Windows library writes
// text mode), and the date line of a trained file emptied.
inline std::string Normalised(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return veltra::test::Undated(text);
}

// Whether the file `written` holds the text of the file `expected`, as Normalised reads them.
inline bool SameText(const std::string& written, const std::string& expected)
{
    return Normalised(ReadFile(written)) == Normalised(ReadFile(expected));
}

// Runs `action` with file descriptor `fd` redirected into a scratch file; returns what was written.
inline std::string Capture(int fd, const std::function<void()>& action)
{
    const std::string path = Scratch().File("capture-" + std::to_string(fd));
    std::fflush(nullptr);
    const int saved = VELTRA_POSIX(dup)(fd);
    std::FILE* sink = std::fopen(path.c_str(), "wb");
    VELTRA_POSIX(dup2)(VELTRA_POSIX(fileno)(sink), fd);
    action();
    std::fflush(nullptr);
    VELTRA_POSIX(dup2)(saved, fd);
    VELTRA_POSIX(close)(saved);
    std::fclose(sink);
    const std::string text = ReadFile(path);
    std::remove(path.c_str());
    return text;
}

// What `action` wrote to standard output and to standard error.
inline std::pair<std::string, std::string> Printed(const std::function<void()>& action)
{
    std::string err;
    std::string out = Capture(1, [&] { err = Capture(2, action); });
    return {out, err};
}

// A double's 64 bits as a decimal number: the same text under any locale a host sets.
inline std::string Bits(double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return std::to_string(bits);
}

// Analyze of `field` into eight entries: its status, the count and every entry, written or not,
// each probability to the bit.
inline std::string Analyzed(BayesianEngineHandle engine, const char* field)
{
    int32_t count = 8;
    char categories[8] = {};
    double probabilities[8] = {};
    std::string text = std::to_string(Analyze(engine, field, categories, probabilities, &count)) + " " +
                       std::to_string(count);
    for (int i = 0; i < 8; ++i) text += std::string(" ") + categories[i] + Bits(probabilities[i]);
    return text + "\n";
}

// Runs an export call, which must return `status` and write exactly `err` to standard error.
inline void Expect(const std::string& what, int32_t status, const std::string& err,
                   const std::function<int32_t()>& call)
{
    int32_t got = -2;
    const std::string written = Normalised(Capture(2, [&] { got = call(); }));
    Check(got == status && written == err, what + ": " + std::to_string(got) + " [" + written + "]");
}

}  // namespace host

#endif  // VELTRA_TESTS_API_HOSTSUPPORT_H
