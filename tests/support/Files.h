// Shared by every test program (the unit tests, the fuzz targets and the export-level hosts, which
// the Windows build runs too): scratch directories, whole files, a trained file's text without its
// date, a standard stream captured, and a double's exact value. Header only, without a test
// framework.
#ifndef VELTRA_TESTS_SUPPORT_FILES_H
#define VELTRA_TESTS_SUPPORT_FILES_H

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <system_error>

namespace veltra::test {

// The whole file, byte for byte; "" when it cannot be opened.
inline std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A fresh directory of its own in the temporary directory (programs may run side by side),
// removed with everything in it when the object goes.
class TempDir {
public:
    TempDir() { std::filesystem::create_directories(m_path); }
    ~TempDir() { std::filesystem::remove_all(m_path, m_removeError); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    // Path of `name` inside the directory.
    std::string File(const std::string& name) const { return (m_path / name).string(); }
    // Writes `content` byte for byte as the whole of `name` and returns its path.
    std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(File(name), std::ios::binary) << content;
        return File(name);
    }

private:
    std::filesystem::path m_path =
        std::filesystem::temp_directory_path() / ("veltra-" + std::to_string(std::random_device()()));
    std::error_code m_removeError;  // ignored: what cannot be removed stays behind
};

// The process's scratch directory, removed at exit.
inline const TempDir& Scratch()
{
    static const TempDir directory;
    return directory;
}

// The text with its date line emptied: the date of training differs from run to run.
inline std::string Undated(std::string text)
{
    const size_t date = text.find("# Date of training: ");
    return date == std::string::npos ? text : text.erase(date, text.find('\n', date) - date);
}

// Redirects a standard stream (std::cerr or std::cout) into `text` while alive.
struct StreamCapture {
    std::ostream& stream;
    std::ostringstream text{};
    std::streambuf* old = stream.rdbuf(text.rdbuf());
    ~StreamCapture() { stream.rdbuf(old); }
};

// A double's exact value, readable ("%a"): equal texts are equal bits, -0 and NaN included.
inline std::string Bits(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%a", value);
    return text;
}

}  // namespace veltra::test

#endif  // VELTRA_TESTS_SUPPORT_FILES_H
