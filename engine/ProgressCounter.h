// ProgressCounter: the line counter that training and batch evaluation keep on standard output.
// Each step writes a run of backspaces that erases the previous text, then "Line: <n> / <total>",
// without an end of line, so that the counter counts up in place.
#ifndef VELTRA_ENGINE_PROGRESSCOUNTER_H
#define VELTRA_ENGINE_PROGRESSCOUNTER_H

#include <cstdint>
#include <string>

namespace veltra {

class ProgressCounter {
public:
    // The length of the erasing run, fixed for each: logs that capture the counter hold exactly
    // these bytes.
    static constexpr int32_t kTrainingBackspaces = 23;
    static constexpr int32_t kEvaluationBackspaces = 22;

    ProgressCounter(int32_t backspaces, int32_t total);
    // Counts one more line and writes the counter, assembled and written at once, its numbers in
    // the "C" locale's form whatever locale or flags standard output has; returns the new count.
    // The count stays within the lines a run reads, which the reading keeps within 32 bits.
    int32_t Step();

private:
    const std::string m_erase;
    int32_t m_count = 0;
    std::string m_text;
    std::string m_suffix;  // " / <total>"
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_PROGRESSCOUNTER_H
