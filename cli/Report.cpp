#include "cli/Report.h"

#include <algorithm>
#include <cinttypes>
#include <cstdlib>
#include <map>

#include "cli/FileOutput.h"
#include "cli/ReportPage.h"

namespace veltra::cli {

std::vector<TestFigures> TestFiguresOf(const NetworkView& view)
{
    std::vector<TestFigures> tests;
    for (const TestView& test : view.tests)
        tests.push_back({test.tag, test.description, test.cp, test.dp, test.hasCp, test.hasDp, {}});
    return tests;
}

namespace {

std::string Fixed(const Share& share)
{
    if (!share.defined) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", share.value);
    return text;
}

std::string Fixed(double value)
{
    return Fixed(Share{value, true});
}

// The misclassified lines, the first kPrintedMisclassified of them, in columns as wide as their
// texts.
void PrintMisclassified(std::FILE* out, const EvaluationFigures& figures)
{
    const std::vector<Misclassified>& misses = figures.misclassified;
    if (misses.empty()) return;
    const size_t shown = std::min(misses.size(), kPrintedMisclassified);
    struct Row {
        std::string line, expected, winner, runnerUp, results;
    };
    std::vector<Row> rows;
    size_t widths[5] = {4, 8, 13, 9, 7};  // the headings'
    for (size_t i = 0; i < shown; ++i) {
        const Misclassified& miss = misses[i];
        rows.push_back({std::to_string(miss.line), ExpectedLabels(figures, miss.expected),
                        LabelOf(figures, miss.winner), miss.runnerUp ? LabelOf(figures, miss.runnerUp) : "-",
                        miss.results});
        const Row& row = rows.back();
        const std::string* texts[] = {&row.line, &row.expected, &row.winner, &row.runnerUp, &row.results};
        for (size_t c = 0; c < 5; ++c) widths[c] = std::max(widths[c], texts[c]->size());
    }
    int w[5];
    for (size_t c = 0; c < 5; ++c) w[c] = static_cast<int>(widths[c]);
    std::fprintf(out, "\nMisclassified: %zu of %" PRId64 " test lines\n", misses.size(), figures.lines);
    std::fprintf(out, "%*s  %-*s  %-*s  %11s  %-*s  %11s  %s\n", w[0], "Line", w[1], "Expected", w[2],
                 "Most probable", "Probability", w[3], "Runner-up", "Probability", "Results");
    for (size_t i = 0; i < shown; ++i) {
        const Row& row = rows[i];
        const Misclassified& miss = misses[i];
        std::fprintf(out, "%*s  %-*s  %-*s  %11s  %-*s  %11s  %s\n", w[0], row.line.c_str(), w[1],
                     row.expected.c_str(), w[2], row.winner.c_str(), Fixed(miss.probability).c_str(), w[3],
                     row.runnerUp.c_str(), Fixed(Share{miss.runnerUpProbability, miss.runnerUp != 0}).c_str(),
                     row.results.c_str());
    }
    if (misses.size() > shown)
        std::fprintf(out, "... and %zu more (--json FILE lists them all)\n", misses.size() - shown);
}

}  // namespace

void PrintReport(std::FILE* out, const EvaluationFigures& figures)
{
    if (figures.lines == 0) {
        std::fprintf(out, "Report: no test lines, no figures.\n");
        return;
    }
    const size_t rows = figures.states.size(), columns = figures.networkStates;
    int64_t largest = 0;
    for (const std::vector<int64_t>& row : figures.confusion)
        for (int64_t count : row) largest = std::max(largest, count);
    size_t nameWidth = 8;  // "weighted"
    int width = std::max(5, static_cast<int>(std::to_string(largest).size()) + 1);
    for (const StateFigures& state : figures.states) {
        nameWidth = std::max(nameWidth, state.label.size());
        width = std::max(width, static_cast<int>(state.label.size()) + 2);
    }
    const int name = static_cast<int>(nameWidth);

    std::fprintf(out, "Report: %" PRId64 " test lines, %" PRId64 " right\n\n", figures.lines, figures.right);
    std::fprintf(out, "Confusion matrix: lines by expected state (rows) and most probable state (columns)\n");
    std::fprintf(out, "%-*s", name, "");
    for (size_t p = 0; p < columns; ++p) std::fprintf(out, "%*s", width, figures.states[p].label.c_str());
    std::fprintf(out, "\n");
    for (size_t s = 0; s < rows; ++s) {
        std::fprintf(out, "%-*s", name, figures.states[s].label.c_str());
        for (size_t p = 0; p < columns; ++p) std::fprintf(out, "%*" PRId64, width, figures.confusion[s][p]);
        std::fprintf(out, "\n");
    }

    std::fprintf(out, "\n%-*s  %9s  %9s  %9s  %9s\n", name, "State", "Precision", "Recall", "F1", "Support");
    for (const StateFigures& state : figures.states)
        std::fprintf(out, "%-*s  %9s  %9s  %9s  %9" PRId64 "\n", name, state.label.c_str(),
                     Fixed(state.precision).c_str(), Fixed(state.recall).c_str(), Fixed(state.f1).c_str(),
                     state.support);
    std::fprintf(out, "%-*s  %9s  %9s  %9s  %9" PRId64 "\n", name, "macro",
                 Fixed(figures.macro.precision).c_str(), Fixed(figures.macro.recall).c_str(),
                 Fixed(figures.macro.f1).c_str(), figures.lines);
    std::fprintf(out, "%-*s  %9s  %9s  %9s  %9" PRId64 "\n", name, "weighted",
                 Fixed(figures.weighted.precision).c_str(), Fixed(figures.weighted.recall).c_str(),
                 Fixed(figures.weighted.f1).c_str(), figures.lines);

    // The same computation and format as the library's accuracy line.
    std::fprintf(out, "\nAccuracy: %.2f %%\n",
                 static_cast<double>(figures.right) * 100.0 / static_cast<double>(figures.lines));
    std::fprintf(out, "Log loss: %.4f\n", figures.logLoss);
    std::fprintf(out, "Brier score: %.4f\n", figures.brier);

    std::fprintf(out, "\nCalibration: lines by probability of the most probable state\n");
    std::fprintf(out, "%-11s  %7s  %16s  %11s\n", "Probability", "Lines", "Mean probability", "Share right");
    for (int b = 0; b < kCalibrationBins; ++b) {
        const CalibrationBin& bin = figures.calibration[b];
        const double lines = static_cast<double>(bin.lines);
        const bool any = bin.lines > 0;
        std::fprintf(out, "%.1f to %.1f   %7" PRId64 "  %16s  %11s\n", b / 10.0, (b + 1) / 10.0, bin.lines,
                     Fixed(Share{any ? bin.probabilitySum / lines : 0.0, any}).c_str(),
                     Fixed(Share{any ? static_cast<double>(bin.right) / lines : 0.0, any}).c_str());
    }
    PrintMisclassified(out, figures);
}

std::string LabelOf(const EvaluationFigures& figures, char state)
{
    for (const StateFigures& row : figures.states)
        if (row.name.size() == 1 && row.name[0] == state) return row.label;
    return std::string(1, state);
}

std::string ExpectedLabels(const EvaluationFigures& figures, const std::string& expected)
{
    std::string labels;
    for (char state : expected) labels += (labels.empty() ? "" : "/") + LabelOf(figures, state);
    return labels;
}

std::string JsonString(const std::string& text)
{
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            quoted += escaped;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

std::string HtmlText(const std::string& text)
{
    std::string escaped;
    for (char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                // Control characters have no place in a page, not even escaped.
                escaped += static_cast<unsigned char>(c) < 0x20 && c != '\t' ? '?' : c;
        }
    }
    return escaped;
}

std::string JsonNumber(double value)
{
    // The shortest of 15, 16 or 17 significant digits that reads back as the same double.
    char text[32];
    for (int digits = 15; digits <= 17; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, value);
        if (std::strtod(text, nullptr) == value) break;
    }
    return text;
}

namespace {

std::string JsonShare(const Share& share)
{
    return share.defined ? JsonNumber(share.value) : "null";
}

std::string JsonAverages(const Averages& averages)
{
    return "{\"precision\": " + JsonNumber(averages.precision) +
           ", \"recall\": " + JsonNumber(averages.recall) + ", \"f1\": " + JsonNumber(averages.f1) + "}";
}

}  // namespace

std::string ReportJson(const ReportSource& source, const EvaluationFigures& figures,
                       const std::vector<TestFigures>& tests)
{
    const bool any = figures.lines > 0;
    const double lines = static_cast<double>(figures.lines);
    std::string json = "{\n";
    json += "  \"network\": " + JsonString(source.network) + ",\n";
    json += "  \"input\": " + JsonString(source.input) + ",\n";
    json += "  \"lines\": " + std::to_string(figures.lines) + ",\n";
    json += "  \"right\": " + std::to_string(figures.right) + ",\n";
    json +=
        "  \"accuracy\": " + (any ? JsonNumber(static_cast<double>(figures.right) / lines) : "null") + ",\n";
    json += "  \"log_loss\": " + (any ? JsonNumber(figures.logLoss) : "null") + ",\n";
    json += "  \"brier_score\": " + (any ? JsonNumber(figures.brier) : "null") + ",\n";
    json += "  \"states\": [";
    for (size_t s = 0; s < figures.states.size(); ++s)
        json += (s ? ", " : "") + JsonString(figures.states[s].name);
    json += "],\n";
    json += "  \"network_states\": " + std::to_string(figures.networkStates) + ",\n";
    json += "  \"confusion\": [";
    for (size_t s = 0; s < figures.confusion.size(); ++s) {
        json += s ? ",\n    [" : "\n    [";
        for (size_t p = 0; p < figures.confusion[s].size(); ++p)
            json += (p ? ", " : "") + std::to_string(figures.confusion[s][p]);
        json += "]";
    }
    json += "\n  ],\n";
    json += "  \"per_state\": [";
    for (size_t s = 0; s < figures.states.size(); ++s) {
        const StateFigures& state = figures.states[s];
        json += s ? ",\n    " : "\n    ";
        json += "{\"state\": " + JsonString(state.name) + ", \"name\": " + JsonString(state.label) +
                ", \"precision\": " + JsonShare(state.precision) +
                ", \"recall\": " + JsonShare(state.recall) + ", \"f1\": " + JsonNumber(state.f1) +
                ", \"support\": " + std::to_string(state.support) +
                ", \"predicted\": " + std::to_string(state.predicted) + "}";
    }
    json += "\n  ],\n";
    json += "  \"macro_average\": " + JsonAverages(figures.macro) + ",\n";
    json += "  \"weighted_average\": " + JsonAverages(figures.weighted) + ",\n";
    json += "  \"calibration\": [";
    for (int b = 0; b < kCalibrationBins; ++b) {
        const CalibrationBin& bin = figures.calibration[b];
        const double n = static_cast<double>(bin.lines);
        json += b ? ",\n    " : "\n    ";
        json +=
            "{\"from\": " + JsonNumber(b / 10.0) + ", \"to\": " + JsonNumber((b + 1) / 10.0) +
            ", \"lines\": " + std::to_string(bin.lines) + ", \"right\": " + std::to_string(bin.right) +
            ", \"mean_probability\": " + (bin.lines ? JsonNumber(bin.probabilitySum / n) : "null") +
            ", \"share_right\": " + (bin.lines ? JsonNumber(static_cast<double>(bin.right) / n) : "null") +
            "}";
    }
    json += "\n  ],\n";
    json += "  \"tests\": [";
    for (size_t t = 0; t < tests.size(); ++t) {
        const TestFigures& test = tests[t];
        const TestContribution& c = test.contribution;
        const double observed = static_cast<double>(c.observed);
        json += t ? ",\n    " : "\n    ";
        json += "{\"tag\": " + JsonString(test.tag) + ", \"description\": " + JsonString(test.description) +
                ", \"cp\": " + (test.hasCp ? JsonNumber(test.cp) : "null") +
                ", \"dp\": " + (test.hasDp ? JsonNumber(test.dp) : "null") +
                ", \"observed\": " + std::to_string(c.observed) +
                ", \"change\": " + (c.observed ? JsonNumber(c.changeSum / observed) : "null") +
                ", \"winner_changes\": " +
                (c.observed ? JsonNumber(static_cast<double>(c.winnerChanges) / observed) : "null") + "}";
    }
    json += tests.empty() ? "],\n" : "\n  ],\n";
    json += "  \"misclassified\": [";
    for (size_t i = 0; i < figures.misclassified.size(); ++i) {
        const Misclassified& miss = figures.misclassified[i];
        json += i ? ",\n    " : "\n    ";
        json += "{\"line\": " + std::to_string(miss.line) + ", \"expected\": " + JsonString(miss.expected) +
                ", \"results\": " + JsonString(miss.results) +
                ", \"most_probable\": " + JsonString(std::string(1, miss.winner)) +
                ", \"probability\": " + JsonNumber(miss.probability) +
                ", \"runner_up\": " + (miss.runnerUp ? JsonString(std::string(1, miss.runnerUp)) : "null") +
                ", \"runner_up_probability\": " +
                (miss.runnerUp ? JsonNumber(miss.runnerUpProbability) : "null") + "}";
    }
    json += figures.misclassified.empty() ? "]\n" : "\n  ]\n";
    return json + "}\n";
}

namespace {

// Tells the evaluation of every judged line.
void Judged(void* context, int64_t line, const char* expected, const char* results, int32_t count,
            const char* states, const double* probabilities)
{
    static_cast<Evaluation*>(context)->Judge(expected, results, count, states, probabilities, line);
}

// What each test contributed to the judged lines, once per distinct field.
bool AddTestContributions(const Engine& engine, const Evaluation& evaluation, const NetworkView& view,
                          std::vector<TestFigures>& tests)
{
    std::vector<TestContribution> contributions(tests.size());
    const size_t capacity = std::max<size_t>(view.states.size(), 1);
    bool failed = false;
    evaluation.ForEachField([&](const std::string& results, int64_t lines) {
        failed = failed || !AddContributions(engine, results, lines, capacity, contributions);
    });
    for (size_t t = 0; t < tests.size(); ++t) tests[t].contribution = contributions[t];
    return !failed;
}

}  // namespace

bool WriteReportFile(Console& console, const std::string& path, const std::string& text)
{
    if (WriteWhole(path, text)) return true;
    console.Error("cannot write " + path);
    return false;
}

int MakeReport(Engine& engine, const ReportRequest& request)
{
    Console& console = engine.console();
    const NetworkView view = engine.View();
    for (const std::string& state : view.states)
        if (state.size() != 1) {
            console.Error("the report tells states by one character; " + request.source.network +
                          " has state \"" + state + "\"");
            return 1;
        }
    // A name for a state the network lacks is a wrong command line, told before any judging.
    const std::string unknown = request.names.Unknown(view.states, request.source.network);
    if (!unknown.empty()) {
        console.Error("--names: " + unknown);
        return kUsageError;
    }
    const GivenInput input(request.source.input);
    if (!input.Ready()) {
        console.Error("cannot read standard input");
        return 1;
    }
    const GivenOutput output(request.output);
    Evaluation evaluation(view.states);
    if (veltra_engine_evaluate(engine.get(), input.Path().c_str(),
                               request.output.empty() ? nullptr : output.Path().c_str(), &Judged, &evaluation,
                               nullptr, nullptr) != VELTRA_OK)
        return engine.Failed({{input.Path(), input.Shown()}, {output.Path(), output.Shown()}}), 1;
    console.EndProgress();
    if (!output.Deliver()) {
        console.Error("cannot write standard output");
        return 1;
    }
    EvaluationFigures figures = evaluation.Figures();
    for (StateFigures& state : figures.states) state.label = request.names.Label(state.name);
    // An evaluation's accuracy, then a blank line before the report.
    console.ShowResults();
    if (request.print && !request.output.empty()) std::printf("\n");
    if (request.print) PrintReport(stdout, figures);
    if (request.json.empty() && request.html.empty()) return 0;
    std::vector<TestFigures> tests = TestFiguresOf(view);
    if (!AddTestContributions(engine, evaluation, view, tests)) return engine.Failed(), 1;
    if (!request.json.empty() &&
        !WriteReportFile(console, request.json, ReportJson(request.source, figures, tests)))
        return 1;
    if (!request.html.empty() &&
        !WriteReportFile(console, request.html, ReportPage(request.source, figures, tests)))
        return 1;
    return 0;
}

}  // namespace veltra::cli
