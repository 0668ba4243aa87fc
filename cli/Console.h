// Console: what the command shows a person besides its results. Results go to standard output;
// progress, warnings and diagnostics to standard error. Warnings and the library's summaries are
// shown unless --quiet; errors always. The progress display (percentage, lines a second, time
// left) appears only when standard error is a terminal, is redrawn at most ten times a second and
// is cleared when the run ends; redirected, nothing of it is written.
#ifndef VELTRA_CLI_CONSOLE_H
#define VELTRA_CLI_CONSOLE_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace veltra::cli {

// The exit status of a wrong command line.
constexpr int kUsageError = 2;

class Console {
public:
    Console(const char* command, bool quiet);
    ~Console() { EndProgress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    const char* Command() const { return m_command; }
    // Summaries (the accuracy of an evaluation, say) are the command's result instead: kept,
    // and printed on standard output by ShowResults once the run has succeeded.
    void SummariesAreResults() { m_summaries = stdout; }
    void ShowResults();
    // Summaries are not shown at all (a report holds them).
    void DropSummaries() { m_summaries = nullptr; }

    // The host interface's callbacks, with a Console as their context.
    static void OnMessage(void* context, int32_t kind, const char* text);
    static void OnProgress(void* context, int64_t done, int64_t total);

    // "veltra COMMAND: " and `text` on standard error, the progress display cleared first.
    void Error(const std::string& text);
    // Clears the progress display, if it is shown.
    void EndProgress();

private:
    void Show(std::FILE* stream, const std::string& text);

    const char* const m_command;
    const bool m_quiet;
    const bool m_terminal;  // standard error is a terminal: the progress display is drawn
    std::FILE* m_summaries = stderr;
    std::string m_results;
    bool m_drawn = false;
    std::chrono::steady_clock::time_point m_start, m_lastDrawn;
    bool m_started = false;
};

}  // namespace veltra::cli

#endif  // VELTRA_CLI_CONSOLE_H
