#include "tests/support/TestSupport.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>

namespace veltra::test {

Outcome Run(const std::function<void()>& action)
{
    Outcome outcome;
    StreamCapture err(std::cerr);
    StreamCapture out(std::cout);
    try {
        action();
    } catch (TrapException& e) {
        outcome.raised = true;
        outcome.message = e.GetMessage();
    }
    outcome.err = err.Text();
    outcome.out = out.Text();
    return outcome;
}

::testing::AssertionResult RaisesExactly(const std::function<void()>& action, const std::string& message)
{
    Outcome outcome = Run(action);
    if (!outcome.raised) return ::testing::AssertionFailure() << "nothing raised; stderr: " << outcome.err;
    if (outcome.message != message)
        return ::testing::AssertionFailure()
               << "message\n  got:  [" << outcome.message << "]\n  want: [" << message << "]";
    if (outcome.err != message + "\n")
        return ::testing::AssertionFailure()
               << "stderr\n  got:  [" << outcome.err << "]\n  want: [" << message << "\\n]";
    return ::testing::AssertionSuccess();
}

TempDir::TempDir()
{
    std::random_device random;
    std::filesystem::path base = std::filesystem::temp_directory_path();
    for (;;) {
        std::filesystem::path candidate = base / ("veltra-test-" + std::to_string(random()));
        if (std::filesystem::create_directory(candidate)) {
            m_path = candidate.string();
            return;
        }
    }
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::Write(const std::string& name, const std::string& content) const
{
    std::string path = File(name);
    std::ofstream out(path, std::ios::binary);
    out << content;
    return path;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string Bits(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%a", value);
    return text;
}

std::string DataDir()
{
    return VELTRA_TEST_DATA_DIR;
}

}  // namespace veltra::test
