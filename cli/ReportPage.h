// ReportPage: the figures of an evaluation as one self-contained page: the confusion matrix as a
// heat map, the per-state table, the calibration diagram, per test what it contributed to the
// judged lines and the trained file's CP and DP figures, and the misclassified lines. Inline CSS
// and SVG only: no script, no outside file, so the page opens from disk in any browser, on a
// screen 360 px wide too. The page is well-formed XML as well as HTML.
//
// Every figure on the page carries the path of the same figure in the JSON of ReportJson in a
// data-json attribute ("per_state.0.recall"), shown rounded: shares with four decimals, the
// accuracy in per cent with two, counts whole; an undefined figure as an en dash.
#ifndef VELTRA_CLI_REPORTPAGE_H
#define VELTRA_CLI_REPORTPAGE_H

#include <cstdint>
#include <string>
#include <vector>

#include "api/VeltraHost.h"
#include "cli/Evaluation.h"
#include "cli/Report.h"

namespace veltra::cli {

// The page lists this many misclassified lines at most, so that it stays light for a large file;
// the JSON lists them all.
constexpr size_t kPageMisclassified = 200;

// The folds of a cross-validation, for its page: each fold's test lines and right ones, and the
// mean accuracy and its standard deviation over the folds with lines (`measured` false without).
struct FoldFigures {
    int32_t folds = 0;
    uint64_t seed = 0;
    bool stratified = false;
    std::vector<int64_t> lines;
    std::vector<int64_t> right;
    bool measured = false;
    double mean = 0.0;
    double deviation = 0.0;
};

// With `folds`, the page of a cross-validation: the folds' accuracies take the place of the tests'
// contributions, which belong to one trained network.
std::string ReportPage(const ReportSource& source, const EvaluationFigures& figures,
                       const std::vector<TestFigures>& tests, const FoldFigures* folds = nullptr);

// A test selection as the command prints it, for its page.
struct SelectionFigures {
    bool forward = false;
    int32_t folds = 0;
    uint64_t seed = 0;
    bool stratified = false;
    int32_t keep = 0;               // 0: the best set of the whole way kept
    std::vector<std::string> tags;  // the network's tests, in results order
    std::vector<veltra_selection_step> steps;
    size_t chosen = 0;  // the step whose set is kept
    std::vector<int32_t> kept;
    std::vector<veltra_test_score> scores;
};

// The page of a test selection: the steps as a chart of accuracy and as a table, the tests kept,
// and each test's mutual information and accuracy without it. Its data-json paths are those of
// the selection's JSON.
std::string SelectionPage(const ReportSource& source, const SelectionFigures& selection);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_REPORTPAGE_H
