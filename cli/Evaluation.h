// Evaluation: the figures of a labelled file judged by the network, from the full-precision
// probabilities the library tells for every judged line, for the report of veltra evaluate and
// veltra report.
//
// A test line is judged as the library judges it: right when its most probable state is one of
// its expected states. For the per-state figures each line counts once, as an example of one
// state: the most probable state when that is one of its expected states, else the first of its
// expected states. The diagonal of the confusion matrix is then the right lines and the accuracy
// the library's. Log loss and Brier score take the same state as the true one.
//
// The figures of a field are kept once per distinct results text: a file repeats the results of
// its fields, and the library's answer for a results text does not change while the model does
// not. Not for use by two threads.
#ifndef VELTRA_CLI_EVALUATION_H
#define VELTRA_CLI_EVALUATION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::cli {

// A precision or recall with a denominator of 0 is undefined: `defined` is false, `value` 0.
struct Share {
    double value = 0.0;
    bool defined = false;
};

struct StateFigures {
    std::string name;       // the state's character, or the expected state the network does not know
    std::string label;      // how reports show it: the name the user gave the state, else `name`
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

// A test line judged wrong: its line in the input, its expected states and results, the most
// probable state and the runner-up with their probabilities (no runner-up, '\0', for a network
// of one state).
struct Misclassified {
    int64_t line = 0;
    std::string expected;
    std::string results;
    char winner = '\0';
    double probability = 0.0;
    char runnerUp = '\0';
    double runnerUpProbability = 0.0;
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
    std::vector<Misclassified> misclassified;  // in input order
};

class Evaluation {
public:
    // `states`: the network's states in state order, one character each.
    explicit Evaluation(const std::vector<std::string>& states);
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;

    // Counts one judged test line: its expected states, its test results and the library's
    // ranking (`count` states' characters and probabilities, most probable first); `line` is its
    // number in the input, which the list of misclassified lines gives.
    void Judge(std::string_view expected, std::string_view results, int32_t count, const char* states,
               const double* probabilities, int64_t line = 0);
    // The lines judged from here on come from another model (the next fold of a cross-validation):
    // a results text judged before may get other answers, and is kept again.
    void StartModel();
    EvaluationFigures Figures() const;
    // Every distinct results text judged, with the number of lines that gave it, in order of
    // first appearance.
    void ForEachField(const std::function<void(const std::string& results, int64_t lines)>& each) const;

private:
    // The figures of Figures(), in steps: names and counts per state; precision, recall, F1 and
    // their averages; log loss, Brier score and calibration.
    void CountStates(EvaluationFigures& figures) const;
    void RateStates(EvaluationFigures& figures) const;
    void ScoreProbabilities(EvaluationFigures& figures) const;

    int32_t Field(std::string_view results, int32_t count, const char* states, const double* probabilities);
    int32_t FindField(std::string_view results, uint64_t hash) const;
    void IndexField(std::string_view results, uint64_t hash);
    size_t ExpectedRow(unsigned char state);

    std::vector<std::string> m_names;
    size_t m_states;
    int32_t m_stateOf[256];
    std::vector<std::string> m_unknown;  // expected states the network does not know
    int32_t m_unknownOf[256];

    // Fields by results text, in an open-addressing index (slots hold a field or -1, at most half
    // full): the texts, probabilities in state order, the most probable state, and how many lines
    // counted each state as the true one (the last slot for states the network does not know).
    std::vector<int32_t> m_slots;
    size_t m_modelStart = 0;  // the first field of the current model, the first one found again
    std::vector<uint64_t> m_hashes;
    std::vector<size_t> m_textStarts;
    std::string m_texts;
    std::vector<double> m_probabilities;
    std::vector<int32_t> m_winners;
    std::vector<int32_t> m_lineCounts;
    std::vector<std::vector<int64_t>> m_confusion;
    std::vector<Misclassified> m_misclassified;
};

}  // namespace veltra::cli

#endif  // VELTRA_CLI_EVALUATION_H
