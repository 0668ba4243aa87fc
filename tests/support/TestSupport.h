// Shared helpers of the unit tests: capturing the standard streams, temporary files, and the
// "raised TrapException and printed exactly this, once" check. Header only, and it brings the
// standard headers the tests use with it.
#ifndef VELTRA_TESTS_SUPPORT_TESTSUPPORT_H
#define VELTRA_TESTS_SUPPORT_TESTSUPPORT_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

#include "safe/TrapException.h"

namespace veltra::test {

// What running `action` did: whether it raised a TrapException, its message, and what it wrote.
struct Outcome {
    bool raised = false;
    std::string message, err, out;
};

// Redirects a standard stream (std::cerr or std::cout) into `text` while alive.
struct Capture {
    std::ostream& stream;
    std::ostringstream text{};
    std::streambuf* old = stream.rdbuf(text.rdbuf());
    ~Capture() { stream.rdbuf(old); }
};

inline Outcome Run(const std::function<void()>& action)
{
    Capture err{std::cerr}, out{std::cout};
    try {
        action();
        return {false, "", err.text.str(), out.text.str()};
    } catch (TrapException& e) {
        return {true, e.GetMessage(), err.text.str(), out.text.str()};
    }
}

// Asserts that `action` raised a TrapException with message `message`, and wrote exactly
// `message` and a line end to standard error (once).
inline ::testing::AssertionResult RaisesExactly(const std::function<void()>& action,
                                                const std::string& message)
{
    const Outcome outcome = Run(action);
    if (outcome.raised && outcome.message == message && outcome.err == message + "\n")
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "raised " << outcome.raised << " [" << outcome.message
                                         << "], stderr [" << outcome.err << "], want [" << message << "]";
}

// A fresh temporary directory for one test, removed with everything in it when the object goes.
class TempDir {
public:
    TempDir() { EXPECT_NE(mkdtemp(m_path.data()), nullptr) << m_path; }
    ~TempDir() { std::filesystem::remove_all(m_path, m_removeError); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    // Path of `name` inside the directory.
    std::string File(const std::string& name) const { return m_path + "/" + name; }
    // Writes `content` byte for byte to `name` and returns its path.
    std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(File(name), std::ios::binary) << content;
        return File(name);
    }

private:
    std::string m_path = (std::filesystem::temp_directory_path() / "veltra-test-XXXXXX").string();
    std::error_code m_removeError;  // ignored: what cannot be removed stays behind
};

// The whole file, byte for byte; "" when it cannot be opened.
inline std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A double's exact value, readable ("%a"): equal texts are equal bits, -0 and NaN included.
inline std::string Bits(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%a", value);
    return text;
}

}  // namespace veltra::test

#endif  // VELTRA_TESTS_SUPPORT_TESTSUPPORT_H
