// Shared by the export-level hosts: counted checks, and standard error (file descriptor 2, which
// the library writes through) captured around one call.
#ifndef VELTRA_TESTS_API_HOSTSUPPORT_H
#define VELTRA_TESTS_API_HOSTSUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>

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

inline std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Runs `action` with file descriptor `fd` (1 or 2, which the library writes through) redirected
// into a temporary file; returns what was written.
inline std::string CaptureDescriptor(int fd, const std::function<void()>& action)
{
    // A file of its own for every capture, so that captures may nest.
    static const std::string base = (std::filesystem::temp_directory_path() /
                                     ("veltra-capture-" + std::to_string(std::random_device()())))
                                        .string();
    static int captures = 0;
    const std::string path = base + "-" + std::to_string(++captures) + ".txt";
    std::fflush(stdout);
    std::fflush(stderr);
    const int saved = VELTRA_POSIX(dup)(fd);
    std::FILE* sink = std::fopen(path.c_str(), "wb");
    if (saved < 0 || !sink) {
        Check(false, "redirecting a standard stream");
        action();
        return "";
    }
    VELTRA_POSIX(dup2)(VELTRA_POSIX(fileno)(sink), fd);
    action();
    std::fflush(stdout);
    std::fflush(stderr);
    VELTRA_POSIX(dup2)(saved, fd);
    VELTRA_POSIX(close)(saved);
    std::fclose(sink);
    std::string text = ReadFile(path);
    std::remove(path.c_str());
    return text;
}

inline std::string CaptureStderr(const std::function<void()>& action)
{
    return CaptureDescriptor(2, action);
}

// Runs an export call, which must return `status` and write exactly `err` to standard error (CR LF
// read as LF: the Windows library writes text mode).
inline void Expect(const std::string& what, int32_t status, const std::string& err,
                   const std::function<int32_t()>& call)
{
    int32_t got = -2;
    std::string written = CaptureStderr([&] { got = call(); });
    written.erase(std::remove(written.begin(), written.end(), '\r'), written.end());
    Check(got == status && written == err, what + ": " + std::to_string(got) + " [" + written + "]");
}

}  // namespace host

#endif  // VELTRA_TESTS_API_HOSTSUPPORT_H
