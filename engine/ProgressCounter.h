// ProgressCounter: the line counter that training and batch evaluation keep. On the console each
// step writes a run of backspaces that erases the previous text, then "Line: <n> / <total>",
// without an end of line, so that the counter counts up in place: n counts the steps (training
// steps at sample lines only) and the total is the file's newlines. A host that installed a
// console sink is told instead, at every step, the line reached out of the lines in all (the
// newlines plus the line after the last one), a figure that reaches its total when the file has
// been read; and, when it asks for progress texts, the counter's text without the erasing run.
#ifndef VELTRA_ENGINE_PROGRESSCOUNTER_H
#define VELTRA_ENGINE_PROGRESSCOUNTER_H

#include <cstdint>
#include <string>

#include "safe/Console.h"

namespace veltra {

class ProgressCounter {
public:
    // The length of the erasing run, fixed for each: logs that capture the counter hold exactly
    // these bytes.
    static constexpr int32_t kTrainingBackspaces = 23;
    static constexpr int32_t kEvaluationBackspaces = 22;

    ProgressCounter(int32_t backspaces, int32_t total);
    // Sends what the console has not been sent yet.
    ~ProgressCounter();
    ProgressCounter(const ProgressCounter&) = delete;
    ProgressCounter& operator=(const ProgressCounter&) = delete;
    // Counts one more step, at line `line` of the file, and shows the counter, assembled and
    // written at once, its numbers in the "C" locale's form whatever locale or flags standard
    // output has; returns the new count. The count stays within the lines a run reads, which the
    // reading keeps within 32 bits.
    int32_t Step(int64_t line);
    // The file has been read, `lines` lines in all. With `endLine`, the console's display ends
    // with a line end (training's does; evaluation's accuracy follows its display directly).
    void Finish(int64_t lines, bool endLine);

private:
    const std::string m_erase;
    const int32_t m_total;
    int32_t m_count = 0;
    int64_t m_reported = 0;  // the line last reported to the sink
    ConsoleSink* const m_sink;
    const bool m_texts;  // the sink wants the counter's texts
    // Sends the console's texts held in m_block.
    void Flush();
    // Puts the console's text of the count in m_block: "<erasing run>Line: ", the count, " / <total>".
    void Show();
    static constexpr size_t kBlock = 4096;
    static constexpr size_t kPiece = 32;  // room for each of the three parts, copied whole
    std::string m_text;
    std::string m_suffix;  // " / <total>"
    // The console's parts, each copied whole into the block's spare room and the block's end
    // moved by its length: the erasing run and "Line: ", the count's digits (counted up in place,
    // as the count is), the suffix.
    char m_prefix[kPiece] = {};
    size_t m_prefixSize = 0;
    char m_digits[kPiece] = {'0'};
    size_t m_digitCount = 1;
    char m_ofTotal[kPiece] = {};
    size_t m_ofTotalSize = 0;
    std::string m_block;  // the console's texts not sent yet: its first m_used bytes
    size_t m_used = 0;
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_PROGRESSCOUNTER_H
