// TestEffect: what one observed test contributes to the classification of a field, the one
// figure that veltra explain shows per field and the report's page per test over a labelled file.
// The field is classified again with the test's result replaced by "-": the change of the most
// probable state's probability, and whether another state then becomes the most probable.
#ifndef VELTRA_CLI_TESTEFFECT_H
#define VELTRA_CLI_TESTEFFECT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/Engine.h"

namespace veltra::cli {

// The words both give the figure.
constexpr const char* kChangeMeaning =
    "how far the most probable state's probability moves, in percentage points, when the test's "
    "result is left out (replaced by \"-\")";

// The library's answer for one field: states and probabilities, most probable first.
struct Classification {
    std::vector<char> states;
    std::vector<double> probabilities;

    double Of(char state) const;
};

// Classifies `results` into arrays of `capacity` entries; false when the library refuses.
bool Classify(const Engine& engine, const std::string& results, size_t capacity, Classification& answer);

struct TestEffect {
    size_t test;     // position in the results
    double without;  // the probability of the most probable state without the test
    char winner;     // the most probable state without the test
    double change;   // (without - with) in percentage points
};

// The effect of leaving each observed test out of `results` (full stops removed), given its
// classification `all`, largest first (equal effects in results order). False when a
// classification fails.
bool LeaveEachOut(const Engine& engine, const std::string& results, size_t capacity,
                  const Classification& all, std::vector<TestEffect>& effects);

// One test's effects over the lines of a labelled file where it was observed.
struct TestContribution {
    int64_t observed = 0;       // lines where the test has a result
    double changeSum = 0.0;     // the sum over them of the size of the change
    int64_t winnerChanges = 0;  // lines whose most probable state is another without the test
};

// Adds the effects of each test on `lines` lines of the field `results` to `contributions` (one
// per test of the network). False when a classification fails.
bool AddContributions(const Engine& engine, const std::string& results, int64_t lines, size_t capacity,
                      std::vector<TestContribution>& contributions);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_TESTEFFECT_H
