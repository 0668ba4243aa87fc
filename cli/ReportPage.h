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

#include <string>
#include <vector>

#include "cli/Evaluation.h"
#include "cli/Report.h"

namespace veltra::cli {

// The page lists this many misclassified lines at most, so that it stays light for a large file;
// the JSON lists them all.
constexpr size_t kPageMisclassified = 200;

std::string ReportPage(const ReportSource& source, const EvaluationFigures& figures,
                       const std::vector<TestFigures>& tests);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_REPORTPAGE_H
