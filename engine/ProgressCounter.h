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

    // With `assemble`, each step's
    // text is assembled and written at once when standard output writes numbers plainly; the
    // bytes are those of the step written piece by piece.
    ProgressCounter(int32_t backspaces, int32_t total, bool assemble);
    // Counts one more line and writes the counter; returns the new count.
    int32_t Step();

private:
    const std::string m_erase;
    const int32_t m_total;
    int32_t m_count = 0;
    bool m_assemble;
    std::string m_text;
    std::string m_suffix;  // " / <total>"
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_PROGRESSCOUNTER_H
