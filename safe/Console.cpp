#include "safe/Console.h"

#include <iostream>

namespace veltra {

namespace {

thread_local ConsoleSink* t_sink = nullptr;

}  // namespace

ConsoleSink* CurrentConsoleSink() noexcept
{
    return t_sink;
}

ConsoleScope::ConsoleScope(ConsoleSink* sink) noexcept : m_previous(t_sink)
{
    t_sink = sink;
}

ConsoleScope::~ConsoleScope()
{
    t_sink = m_previous;
}

void WriteRaised(const std::string& text)
{
    if (t_sink) {
        t_sink->Raised(text);
        return;
    }
    std::cerr << text << std::endl;
}

void WriteReport(const std::string& text) noexcept
{
    if (t_sink) {
        t_sink->Message(MessageKind::kFailure, text);
        return;
    }
    try {
        std::cerr << text << std::endl;
    } catch (...) {
        // Standard error itself failed: there is nowhere left to report to.
    }
}

void WriteMessage(MessageKind kind, const std::string& text, const char* before, const char* after)
{
    if (t_sink) {
        if (t_sink->Wants(kind)) t_sink->Message(kind, text);
        return;
    }
    std::cout << before << text << after << std::flush;
}

}  // namespace veltra
