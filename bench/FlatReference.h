// The flat-array reference: the engine's jobs done in plain C++ over flat arrays, with the
// engine's arithmetic and output layouts, so that a benchmark can run both in one process, check
// that they agree to the bit and to the byte, and report the engine's figures as ratios.
//
// It covers what the benchmark's data needs, not the whole description format: state names and
// test values are single characters, there is one hypothesis line, and PARAMETER lines are
// skipped. Anything else it cannot read raises std::runtime_error.
#ifndef VELTRA_BENCH_FLATREFERENCE_H
#define VELTRA_BENCH_FLATREFERENCE_H

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace bench {

struct FlatNet {
    std::vector<char> states;
    std::vector<std::string> tags;
    std::vector<std::string> descriptions;
    std::vector<std::string> values;  // the value characters of each test, in value order
    std::vector<size_t> offsets;      // where each test's table starts in `conditional`
    std::vector<double> prior;        // [state]
    // Rows of `stride` probabilities, the states rounded up to a multiple of 4 so that Analyze
    // goes by whole vectors of states whatever their count; the lanes past the last state hold 1.
    size_t stride = 0;
    // [offsets[test] + value * stride + state], then one row of ones that stands for "-".
    std::vector<double> conditional;
    // [test * 256 + character]: where the row of that result starts in `conditional` (the row of
    // ones for "-"), -1 for a character that is no value of the test.
    std::vector<int32_t> rows;
    std::array<int16_t, 256> stateIndex{};             // -1: not a state
    std::vector<std::array<int16_t, 256>> valueIndex;  // per test; -1: not a value
    std::unordered_map<std::string, int> testIndex;

    size_t StateCount() const { return states.size(); }
    size_t TestCount() const { return tags.size(); }
};

// Reads a network description. Sums are checked (within 0.0001) when it has probability lines.
FlatNet ParseDescription(const std::string& text);

// Analyze's job: every state with its posterior, most probable first (equal ones in state order),
// into the caller's arrays; *count carries their capacity in and the number of states out.
// Dots in `results` are skipped. Returns -1 for results the network cannot classify.
int32_t FlatAnalyze(const FlatNet& net, const char* results, char* categories, double* probabilities,
                    int32_t* count);

// Train's job: counts the sample lines, estimates, writes the trained description with its count
// table, probabilities and DP/CP figures, and reloads it; progress and warnings on standard output.
void FlatTrain(const std::string& networkFile, const std::string& sampleFile, const std::string& outputFile);

// AnalyzeFile's job: copies the file with a result line after every test line and the accuracy at
// the end; progress and accuracy on standard output.
void FlatAnalyzeFile(const FlatNet& net, const std::string& inputFile, const std::string& outputFile);

std::string ReadWholeFile(const std::string& path);

}  // namespace bench

#endif  // VELTRA_BENCH_FLATREFERENCE_H
