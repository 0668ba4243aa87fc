// Shared helpers of the unit tests: capturing the standard streams, temporary files, and the
// "raised TrapException and printed exactly this, once" check.
#ifndef VELTRA_TESTS_SUPPORT_TESTSUPPORT_H
#define VELTRA_TESTS_SUPPORT_TESTSUPPORT_H

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>
#include <string>

#include "safe/TrapException.h"

namespace veltra::test {

// Redirects a standard stream (std::cerr or std::cout) into a buffer while alive.
class StreamCapture {
public:
    explicit StreamCapture(std::ostream& stream) : m_stream(stream), m_old(stream.rdbuf(m_buffer.rdbuf())) {}
    ~StreamCapture() { m_stream.rdbuf(m_old); }
    StreamCapture(const StreamCapture&) = delete;
    StreamCapture& operator=(const StreamCapture&) = delete;
    std::string Text() const { return m_buffer.str(); }

private:
    std::ostream& m_stream;
    std::ostringstream m_buffer;
    std::streambuf* m_old;
};

// What running `action` did: whether it raised a TrapException, its message, and what it wrote.
struct Outcome {
    bool raised = false;
    std::string message;
    std::string err;
    std::string out;
};
Outcome Run(const std::function<void()>& action);

// Asserts that `action` raised a TrapException with message `message`, and wrote exactly
// `message` and a line end to standard error (once).
::testing::AssertionResult RaisesExactly(const std::function<void()>& action, const std::string& message);

// A row of a unit's failure table: a call and the exact message it must raise.
struct Failure {
    void (*call)();
    const char* message;
};
// Checks every row with RaisesExactly; a failing row is named by its message.
template <size_t N>
void ExpectFailures(const Failure (&rows)[N])
{
    for (const Failure& row : rows) EXPECT_TRUE(RaisesExactly(row.call, row.message)) << row.message;
}
// Checks the raised message of every row only: for messages holding a double, which standard
// error shows in the stream's format and the message with "%lf".
template <size_t N>
void ExpectFailureMessages(const Failure (&rows)[N])
{
    for (const Failure& row : rows) EXPECT_EQ(Run(row.call).message, row.message);
}

// A fresh temporary directory for one test, removed with everything in it when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return m_path; }
    // Path of `name` inside the directory.
    std::string File(const std::string& name) const { return m_path + "/" + name; }
    // Writes `content` byte for byte to `name` and returns its path.
    std::string Write(const std::string& name, const std::string& content) const;

private:
    std::string m_path;
};

// The items of a Vector<String> (or anything with Size() and [i].str()), each in brackets: "[a][][b]".
template <class Items>
std::string Joined(const Items& items)
{
    std::string text;
    for (int i = 0; i < items.Size(); ++i) text += "[" + items[i].str() + "]";
    return text;
}

// The entries of a result list (a table of Ptrs to value-and-figure pairs) in index order:
// "[x 0.75][z 0.2]".
template <class List>
std::string Entries(List& list)
{
    std::ostringstream out;
    auto keys = list.GetKeys();
    for (int i = 0; i < keys->Size(); ++i)
        out << "[" << (*keys)[i].str() << " " << list.Get((*keys)[i])->m_figure << "]";
    return out.str();
}

std::string ReadFile(const std::string& path);
// A double's exact value, readable ("%a"): equal texts are equal bits, -0 and NaN included.
std::string Bits(double value);
// The directory of checked-in test data (tests/data).
std::string DataDir();

}  // namespace veltra::test

#endif  // VELTRA_TESTS_SUPPORT_TESTSUPPORT_H
