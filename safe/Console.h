// Console: where the library's texts for people go.
//
// Failures and clean-up reports go to standard error; progress, warnings and summaries to
// standard output, byte for byte as the seven exports have always written them. A host interface
// call hands the same texts to its host instead: it installs a ConsoleSink on the calling thread
// for the duration of the call (ConsoleScope), and nothing then reaches the process's streams.
// The engine runs on the caller's thread, so every text of a call reaches that call's sink.
#ifndef VELTRA_SAFE_CONSOLE_H
#define VELTRA_SAFE_CONSOLE_H

#include <cstdint>
#include <string>

namespace veltra {

// The kinds of text, as bits, so that a host can ask for some of them.
enum class MessageKind : int32_t { kFailure = 1, kWarning = 2, kProgress = 4, kSummary = 8 };

// A sink hands texts to a host's callbacks, which may end their thread (a thread that exits or
// is cancelled inside one unwinds through the engine): Raised, Message and Progress throw nothing
// else, but are not noexcept, so that such an unwinding passes and releases what the call holds.
class ConsoleSink {
public:
    // A raised failure's text as standard error shows it, without the end of line: the reason of
    // the call that fails (a later raise replaces it).
    virtual void Raised(const std::string& text) = 0;
    // Any other text of `kind`, without the blank lines and line ends the console gives it.
    virtual void Message(MessageKind kind, const std::string& text) = 0;
    // Whether Message wants texts of `kind`; texts it does not want are not even made.
    virtual bool Wants(MessageKind kind) const noexcept = 0;
    // Lines done of the lines in all, as a run's progress counter counts them.
    virtual void Progress(int64_t done, int64_t total) = 0;

protected:
    ~ConsoleSink() = default;
};

// The sink of the calling thread; null when texts go to the standard streams.
ConsoleSink* CurrentConsoleSink() noexcept;

// Installs `sink` on the calling thread for the life of the scope (null: the standard streams).
class ConsoleScope {
public:
    explicit ConsoleScope(ConsoleSink* sink) noexcept;
    ~ConsoleScope();
    ConsoleScope(const ConsoleScope&) = delete;
    ConsoleScope& operator=(const ConsoleScope&) = delete;

private:
    ConsoleSink* m_previous;
};

// A raised failure: to the sink, or to standard error with an end of line, flushed.
void WriteRaised(const std::string& text);
// A clean-up report ("ERROR: ..."): to the sink as a failure, or to standard error likewise.
void WriteReport(const std::string& text) noexcept;
// A text of `kind`: to the sink, or to standard output as `before` + text + `after`, flushed.
void WriteMessage(MessageKind kind, const std::string& text, const char* before = "",
                  const char* after = "\n");

}  // namespace veltra

#endif  // VELTRA_SAFE_CONSOLE_H
