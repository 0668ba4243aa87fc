// Shared by the export-level hosts: counted checks, a scratch directory, and a file descriptor (1
// or 2, which the library writes through) captured around a call.
#ifndef VELTRA_TESTS_API_HOSTSUPPORT_H
#define VELTRA_TESTS_API_HOSTSUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include "../support/Files.h"

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

// The run's scratch directory, removed at exit.
inline const veltra::test::TempDir& Scratch()
{
    static const veltra::test::TempDir directory;
    return directory;
}

// Text as the library means it on every platform: CR LF read as LF (the Windows library writes
// text mode), and the date line of a trained file emptied.
inline std::string Normalised(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    const size_t date = text.find("# Date of training: ");
    return date == std::string::npos ? text : text.erase(date, text.find('\n', date) - date);
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
