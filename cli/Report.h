// Report: the figures of an evaluation as text for people and as JSON for machines, and the
// per-test figures that training writes into a trained file (its CP and DP sections).
#ifndef VELTRA_CLI_REPORT_H
#define VELTRA_CLI_REPORT_H

#include <cstdio>
#include <string>
#include <vector>

#include "cli/Evaluation.h"
#include "cli/NetworkOutline.h"

namespace veltra::cli {

// A test of the network with the figures of the trained file's sections: CP, how far one
// observed value of the test can separate two states, and DP, how far changing the test's value
// can move the probability of one state, both in whole percentage points.
struct TestFigures {
    std::string tag;
    std::string description;
    double cp = 0.0;
    double dp = 0.0;
    bool hasCp = false;
    bool hasDp = false;
};

// The network's tests in results order, each with its figures from the last CP and DP sections
// of the file at `trained` (none when the file holds no such sections).
std::vector<TestFigures> ReadTestFigures(const std::string& trained, const NetworkOutline& outline);

// Where the figures came from, for the headings of the JSON and the page.
struct ReportSource {
    std::string network;
    std::string input;
};

void PrintReport(std::FILE* out, const EvaluationFigures& figures);

// The figures as one JSON object. Shares are fractions (the accuracy too); undefined figures are
// null.
std::string ReportJson(const ReportSource& source, const EvaluationFigures& figures,
                       const std::vector<TestFigures>& tests);

// Writes `text` to the file at `path`; false, having said so on standard error, when it cannot.
bool WriteFile(const std::string& path, const std::string& text, const char* command);

// What a command asks of a report on the labelled file INPUT.
struct ReportRequest {
    const char* command;
    ReportSource source;
    bool print = false;  // the text report on standard output
    std::string json;    // the JSON file to write, if any
    std::string html;    // the page to write, if any
};

// Judges INPUT with the network loaded in `engine` (the file source.network) and prints and
// writes what the request asks. Returns the command's exit status; on failure standard error
// says why.
int MakeReport(const Engine& engine, const ReportRequest& request);

// Text for JSON and for HTML, with the characters each gives meaning escaped.
std::string JsonString(const std::string& text);
std::string HtmlText(const std::string& text);
// A double as JSON writes it: enough digits to read back the same double.
std::string JsonNumber(double value);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_REPORT_H
