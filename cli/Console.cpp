#include "cli/Console.h"

#include <VeltraHost.h>

#if defined(_WIN32)
#  include <io.h>
#  define VELTRA_ISATTY _isatty
#  define VELTRA_FILENO _fileno
#else
#  include <unistd.h>
#  define VELTRA_ISATTY isatty
#  define VELTRA_FILENO fileno
#endif

namespace veltra::cli {

namespace {

// The display's width: it is cleared by as many blanks.
constexpr int kWidth = 60;

std::string Duration(double seconds)
{
    const long long whole = static_cast<long long>(seconds + 0.5);
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
    return text;
}

}  // namespace

Console::Console(const char* command, bool quiet)
    : m_command(command), m_quiet(quiet), m_terminal(VELTRA_ISATTY(VELTRA_FILENO(stderr)) != 0)
{
}

void Console::OnMessage(void* context, int32_t kind, const char* text)
{
    Console& console = *static_cast<Console*>(context);
    // A failure's reason comes with the failed call's status; results are kept; the rest is
    // shown unless quiet.
    if (kind == VELTRA_MESSAGE_FAILURE || kind == VELTRA_MESSAGE_PROGRESS) return;
    std::FILE* stream = kind == VELTRA_MESSAGE_SUMMARY ? console.m_summaries : stderr;
    if (stream == stdout)
        console.m_results += std::string(text) + "\n";
    else if (stream && !console.m_quiet)
        console.Show(stream, text);
}

void Console::OnProgress(void* context, int64_t done, int64_t total)
{
    Console& console = *static_cast<Console*>(context);
    if (!console.m_terminal || console.m_quiet) return;
    const auto now = std::chrono::steady_clock::now();
    if (!console.m_started) {
        console.m_started = true;
        console.m_start = now;
    }
    if (console.m_drawn && now - console.m_lastDrawn < std::chrono::milliseconds(100) && done < total) return;
    console.m_lastDrawn = now;
    const double seconds = std::chrono::duration<double>(now - console.m_start).count();
    const double rate = seconds > 0.0 ? static_cast<double>(done) / seconds : 0.0;
    char line[128];
    const int percent = total > 0 ? static_cast<int>(done * 100 / total) : 100;
    std::snprintf(line, sizeof line, "%3d %%  %.0f lines/s  %s left", percent, rate,
                  rate > 0.0 ? Duration(static_cast<double>(total - done) / rate).c_str() : "?");
    std::fprintf(stderr, "\r%-*s", kWidth, line);
    std::fflush(stderr);
    console.m_drawn = true;
}

void Console::ShowResults()
{
    EndProgress();
    std::fputs(m_results.c_str(), stdout);
    m_results.clear();
}

void Console::EndProgress()
{
    if (!m_drawn) return;
    std::fprintf(stderr, "\r%*s\r", kWidth, "");
    std::fflush(stderr);
    m_drawn = false;
}

void Console::Show(std::FILE* stream, const std::string& text)
{
    EndProgress();
    if (stream == stderr) std::fflush(stdout);
    std::fprintf(stream, "%s\n", text.c_str());
    if (stream == stderr) std::fflush(stderr);
}

void Console::Error(const std::string& text)
{
    Show(stderr, std::string("veltra ") + m_command + ": " + text);
}

}  // namespace veltra::cli
