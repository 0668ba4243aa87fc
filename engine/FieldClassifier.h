// FieldClassifier: the engine a host creates. It reads test lines
// (";TESTS<tab>states<tab>results"), classifies the test results of one field, and evaluates a
// file of labelled fields.
#ifndef VELTRA_ENGINE_FIELDCLASSIFIER_H
#define VELTRA_ENGINE_FIELDCLASSIFIER_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "engine/BayesianEngine.h"

namespace veltra {

class TextBlock;

// Told of each test line a batch evaluation judges, as it judges it: the line's number in the
// input, its expected states, its results (full stops removed), and the ranking: the first
// character of every state and its probability, most probable first.
class JudgedLines {
public:
    virtual void Judged(int64_t line, std::string_view expected, std::string_view results, int32_t count,
                        const char* states, const double* probabilities) = 0;

protected:
    ~JudgedLines() = default;
};

// Told of each test line that a reading of samples counts, once its samples are counted: its line
// number in the file, its expected states and its results (full stops removed).
class SampleLines {
public:
    virtual void Counted(int64_t line, std::string_view expected, std::string_view results) = 0;

protected:
    ~SampleLines() = default;
};

class FieldClassifier : public BayesianEngine {
public:
    // The test lines of a batch evaluation judged right and wrong.
    struct Tally {
        int32_t correct = 0;
        int32_t wrong = 0;
    };

    FieldClassifier();
    const char* GetTypeName() const override { return "FieldClassifier"; }

    // A line beginning ";TESTS\t" adds one sample per expected state and sets *sampleListCount
    // to 1; other lines are ignored. Raises "Wrong format in line:\n<line>" unless the line has
    // exactly three tab-separated fields.
    void ProcessSampleLine(String line, int32_t* sampleListCount) override;
    // The same from the line's text, zero-terminated at line[length].
    void ReadSampleText(const char* line, size_t length, int32_t* sampleListCount);

    // Copies `inputFile` to `outputFile` with a result line after every test line and the
    // accuracy at the end; the copy replaces the output whole when the run ends (OutputFile).
    // Raises "Cannot open file: <name>", the refusals of FileChecks (before the output is
    // opened), those of OutputFile, the line reader's failures and any classification failure.
    virtual void AnalyzeFile(String inputFile, String outputFile);

    // Every state with its probability, most probable first (equal ones in state order), in a new
    // table that owns its entries; the caller takes it with an AutoPtr. Every "." of `results` is
    // removed first. Raises "Network has not been initialized yet" and inference's failures.
    virtual Ptr<DubiousDataList> Analyze(String results, bool verbose);

    // Field analysis into a host's arrays, as the exported Analyze gives it: the first character
    // of every state and its probability, most probable first, and their number in *count.
    // Returns -1, writing nothing, when *count (the arrays' capacity) is below the number of
    // states; raises as Analyze does.
    int32_t AnalyzeInto(const char* results, char* categories, double* probabilities, int32_t* count);

    // Field analysis from the network alone, as the host interface gives it: the levels computed
    // afresh where the compiled arrays answer (no cache read or written), the keyed way otherwise;
    // the same figures, to the bit, as Analyze gives on a freshly loaded engine. The first
    // character of every state and its probability, most probable first, go into arrays of
    // `capacity` entries. Returns the number of states, and writes nothing when it exceeds
    // `capacity`; raises as Analyze does.
    int32_t ClassifyFresh(const char* results, char* categories, double* probabilities, int32_t capacity);

    // One test line judged as a batch evaluation judges it, from the network alone as
    // ClassifyFresh classifies: true when the most probable state is one of `expected`. The
    // ranking goes into arrays of `capacity` entries as ClassifyFresh puts it (nothing when the
    // states exceed `capacity`). Raises as Analyze does, and "Cannot access element of empty
    // Vector" for a network without states.
    bool JudgeFresh(std::string_view results, std::string_view expected, char* categories,
                    double* probabilities, int32_t capacity);

    // Who is told of every judged line of the batch evaluations to come (null: nobody).
    void SetJudgedLines(JudgedLines* judged) { m_judgedLines = judged; }
    // Who is told of every test line the readings of samples to come count (null: nobody).
    void SetSampleLines(SampleLines* lines) { m_sampleLines = lines; }
    // The verdicts of the last batch evaluation, as far as it went.
    const Tally& GetTally() const { return m_tally; }

private:
    // Field analysis's one decision and its one ranking: the level of every state for `results`
    // (full stops removed first) into m_levels, in state order, from the fast way where it answers
    // the field and state by state from GetConfLevel otherwise; then the states ranked as
    // SortDubiousDataList ranks them into m_ranking. Raises "Network has not been initialized
    // yet" and inference's failures.
    void Rank(const char* results, size_t length, bool verbose, FastPath::Caches caches);
    // The ranking's first character of every state and its level, most probable first; the
    // number of states. Nothing is written when it exceeds `capacity`.
    int32_t CopyRanking(char* categories, double* probabilities, int32_t capacity) const;
    // One test line (its three fields) judged: its result line put in `block`, the tally and the
    // listener told.
    void Judge(int64_t number, const std::string_view* fields, TextBlock& block);
    // Whether the most probable state of the ranking is one of `expected`.
    bool WinnerExpected(std::string_view expected) const;

    // The field Rank ranked last, without its full stops: the caller's text, or m_cleaned
    // where full stops were removed.
    std::string_view m_field;
    std::string m_cleaned;
    // The states' names, in state order, as of the network's change m_namesChange.
    std::vector<std::string> m_names;
    uint64_t m_namesChange = UINT64_MAX;
    size_t m_resultLineSize = 0;  // the most bytes a result line of these states takes
    std::vector<double> m_levels;
    std::vector<int32_t> m_ranking;
    std::vector<double> m_rankedLevels;  // the levels m_ranking ranks: equal levels rank alike
    JudgedLines* m_judgedLines = nullptr;
    SampleLines* m_sampleLines = nullptr;
    std::vector<char> m_tellStates;
    std::vector<double> m_tellLevels;
    Tally m_tally;
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_FIELDCLASSIFIER_H
