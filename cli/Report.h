// Report: the figures of an evaluation as text for people and as JSON for machines, with the
// per-test figures that training writes into a trained file (its CP and DP sections).
#ifndef VELTRA_CLI_REPORT_H
#define VELTRA_CLI_REPORT_H

#include <cstdio>
#include <string>
#include <vector>

#include "cli/Engine.h"
#include "cli/Evaluation.h"
#include "cli/StateNames.h"
#include "cli/TestEffect.h"

namespace veltra::cli {

// A test of the network with the figures of the trained file's sections: CP, how far one
// observed value of the test can separate two states, and DP, how far changing the test's value
// can move the probability of one state, both in whole percentage points; and what it
// contributed to the judged lines (see TestEffect), where the report computes it.
struct TestFigures {
    std::string tag;
    std::string description;
    double cp = 0.0;
    double dp = 0.0;
    bool hasCp = false;
    bool hasDp = false;
    TestContribution contribution;
};

// The network's tests in results order, each with the figures of the last CP and DP sections of
// its description (none when it holds no such sections).
std::vector<TestFigures> TestFiguresOf(const NetworkView& view);

// Where the figures came from, for the headings of the JSON and the page.
struct ReportSource {
    std::string network;
    std::string input;
};

// The text report. Its list of misclassified lines stops after kPrintedMisclassified of them.
constexpr size_t kPrintedMisclassified = 20;
void PrintReport(std::FILE* out, const EvaluationFigures& figures);

// How reports show a state's character: the label of its row, else the character itself.
std::string LabelOf(const EvaluationFigures& figures, char state);
// Expected states as reports show them: their labels joined by "/".
std::string ExpectedLabels(const EvaluationFigures& figures, const std::string& expected);

// The figures as one JSON object. Shares are fractions (the accuracy too); undefined figures are
// null.
std::string ReportJson(const ReportSource& source, const EvaluationFigures& figures,
                       const std::vector<TestFigures>& tests);

// What a command asks of a report on the labelled file INPUT.
struct ReportRequest {
    ReportSource source;
    std::string output;  // the judged copy to write ("-": standard output), if any
    bool print = false;  // the text report on standard output
    std::string json;    // the JSON file to write ("-": standard output), if any
    std::string html;    // the page to write ("-": standard output), if any
    StateNames names;    // the states' names, checked against the network's states
};

// Judges INPUT ("-": standard input) with the network loaded in `engine` (the file
// source.network), writes the judged copy if asked, then prints and writes what the request asks
// of the report; the JSON and the page carry what each test contributed to the judged lines.
// Returns the command's exit status; on failure standard error says why.
int MakeReport(Engine& engine, const ReportRequest& request);

// Writes a report's file whole (see WriteWhole); false, standard error saying so, when it cannot.
bool WriteReportFile(Console& console, const std::string& path, const std::string& text);

// Text for JSON and for HTML, with the characters each gives meaning escaped.
std::string JsonString(const std::string& text);
std::string HtmlText(const std::string& text);
// A double as JSON writes it: enough digits to read back the same double.
std::string JsonNumber(double value);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_REPORT_H
