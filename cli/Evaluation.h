// Evaluation: the figures of a labelled file judged by the network, from the full-precision
// probabilities of Analyze, for the report of veltra evaluate and veltra report.
//
// A test line is judged as the library judges it: right when its most probable state is one of
// its expected states. For the per-state figures each line counts once, as an example of one
// state: the most probable state when that is one of its expected states, else the first of its
// expected states. The diagonal of the confusion matrix is then the right lines and the accuracy
// the library's. Log loss and Brier score take the same state as the true one.
//
// Analyze is asked once per distinct results text: a file repeats the results of its fields, and
// the library's answer for a results text does not change. Not for use by two threads.
#ifndef VELTRA_CLI_EVALUATION_H
#define VELTRA_CLI_EVALUATION_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Engine.h"

namespace veltra::cli {

// A precision or recall with a denominator of 0 is undefined: `defined` is false, `value` 0.
struct Share {
    double value = 0.0;
    bool defined = false;
};

struct StateFigures {
    std::string name;
    int64_t support = 0;    // lines counted as examples of the state
    int64_t predicted = 0;  // lines whose most probable state it is
    Share precision;
    Share recall;
    double f1 = 0.0;  // 0 when precision and recall are both 0 or undefined
};

struct Averages {
    double precision = 0.0;
    double recall = 0.0;
    double f1 = 0.0;
};

// Lines whose most probable state has a probability in [index / 10, (index + 1) / 10); the last
// bin includes 1.
struct CalibrationBin {
    int64_t lines = 0;
    int64_t right = 0;
    double probabilitySum = 0.0;
};

constexpr int kCalibrationBins = 10;
// Log loss takes a probability of 0 (an underflowed product, an expected state the network does
// not know) as this, so that one line cannot make the figure infinite.
constexpr double kSmallestProbability = 1e-15;

struct EvaluationFigures {
    // The network's states in state order, then the expected states it does not know, in order of
    // first appearance. Rows of the confusion matrix are all of them, columns the network's.
    std::vector<StateFigures> states;
    size_t networkStates = 0;
    std::vector<std::vector<int64_t>> confusion;  // [expected state][most probable state]
    int64_t lines = 0;
    int64_t right = 0;
    // Averages over the states that are expected or most probable at least once; undefined
    // shares count as 0. Weighted by support.
    Averages macro;
    Averages weighted;
    double logLoss = 0.0;  // mean of -ln p(true state)
    double brier = 0.0;    // mean over lines of the sum over states of (p - 1 for the true state, else p)^2
    CalibrationBin calibration[kCalibrationBins];
};

class Evaluation {
public:
    // `states`: the network's states in state order, one character each, as loaded in `engine`.
    Evaluation(const Engine& engine, const std::vector<std::string>& states);
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;

    // Makes room for up to `fields` distinct results texts of `textBytes` bytes in all, so that a
    // file of mostly distinct fields is indexed without copying what is already indexed.
    void Reserve(size_t fields, size_t textBytes);
    // Judges one test line: its expected states and its test results. False when Analyze refused
    // the results (the library said why on standard error).
    bool Judge(std::string_view expected, std::string_view results);
    EvaluationFigures Figures() const;

private:
    // The figures of Figures(), in steps: names and counts per state; precision, recall, F1 and
    // their averages; log loss, Brier score and calibration.
    void CountStates(EvaluationFigures& figures) const;
    void RateStates(EvaluationFigures& figures) const;
    void ScoreProbabilities(EvaluationFigures& figures) const;

    int32_t Field(std::string_view results);
    int32_t FindField(std::string_view results, uint64_t hash) const;
    void IndexField(std::string_view results, uint64_t hash);
    size_t ExpectedRow(unsigned char state);

    const Engine& m_engine;
    std::vector<std::string> m_names;
    size_t m_states;
    std::vector<char> m_categories;
    std::vector<double> m_ranked;
    int32_t m_stateOf[256];
    std::vector<std::string> m_unknown;  // expected states the network does not know
    int32_t m_unknownOf[256];

    // Fields by results text, in an open-addressing index (slots hold a field or -1, at most half
    // full): the texts, probabilities in state order, the most probable state, and how many lines
    // counted each state as the true one (the last slot for states the network does not know).
    std::vector<int32_t> m_slots;
    std::vector<uint64_t> m_hashes;
    std::vector<size_t> m_textStarts;
    std::string m_texts;
    std::string m_key;
    std::vector<double> m_probabilities;
    std::vector<int32_t> m_winners;
    std::vector<int32_t> m_lineCounts;
    std::vector<std::vector<int64_t>> m_confusion;
};

// Judges every test line of the labelled file `input` (";TESTS<tab>states<tab>results") with the
// evaluation. Lines are read as the library reads them. On a line that cannot be judged it says
// why on standard error ("veltra COMMAND: INPUT, line N: ..."), after the library's own message
// when Analyze refused the line, and returns false.
// Hands every line of `file` (its newline dropped; `ended` false for a last line without one) to
// `each` until it answers false; a line still open after 1024 bytes is handed on at once, since it
// is too long whatever follows. False when `each` stopped the reading.
bool ForEachLine(std::FILE* file, const std::function<bool(std::string_view line, bool ended)>& each);
// What the library's line reader refuses in `line`, or null: the line longer than 1023 bytes or
// holding a zero byte. A CR before the newline (`ended`) is no part of the line and is cut off.
const char* RefusedLine(std::string_view& line, bool ended);

bool JudgeFile(Evaluation& evaluation, const std::string& input, const char* command,
               const std::string& network);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_EVALUATION_H
