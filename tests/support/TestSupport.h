// Shared helpers of the unit tests: a run with its standard streams captured, and the "raised
// TrapException and printed exactly this, once" check. Header only; with Files.h it brings the
// standard headers the tests use.
#ifndef VELTRA_TESTS_SUPPORT_TESTSUPPORT_H
#define VELTRA_TESTS_SUPPORT_TESTSUPPORT_H

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "safe/TrapException.h"
#include "tests/support/Files.h"

namespace veltra::test {

// What running `action` did: whether it raised a TrapException, its message, and what it wrote.
struct Outcome {
    bool raised = false;
    std::string message, err, out;
};

inline Outcome Run(const std::function<void()>& action)
{
    StreamCapture err{std::cerr}, out{std::cout};
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

}  // namespace veltra::test

#endif  // VELTRA_TESTS_SUPPORT_TESTSUPPORT_H
