// Shared by the fuzz targets: standard error and output silenced while a target runs, since
// raised failures always write their message there and -1-like outcomes are normal.
#ifndef VELTRA_FUZZ_FUZZSUPPORT_H
#define VELTRA_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>

namespace veltra::fuzz {

// Inputs above this size are skipped: descriptions and result strings are short by nature.
constexpr size_t kMaxInput = 64 * 1024;

class Silence {
public:
    Silence() : m_err(std::cerr.rdbuf(m_sink.rdbuf())), m_out(std::cout.rdbuf(m_sink.rdbuf())) {}
    ~Silence()
    {
        std::cerr.rdbuf(m_err);
        std::cout.rdbuf(m_out);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    std::string Text() const { return m_sink.str(); }

private:
    std::ostringstream m_sink;
    std::streambuf* m_err;
    std::streambuf* m_out;
};

// A broken contract: reported and turned into a crash, so that the fuzzer keeps the input.
[[noreturn]] inline void Fail(const char* what)
{
    std::fputs(what, stderr);
    std::fputc('\n', stderr);
    std::abort();
}

}  // namespace veltra::fuzz

#endif  // VELTRA_FUZZ_FUZZSUPPORT_H
