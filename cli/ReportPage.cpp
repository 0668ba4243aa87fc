#include "cli/ReportPage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace veltra::cli {

namespace {

const char* const kUndefined = "\xe2\x80\x93";  // en dash

// The page reads on a phone's screen (360 px and up) as on a desktop's: the text wraps, and what
// cannot (the heat map, the diagrams, the tables) scrolls sideways inside its own box, never the
// page itself.
const char* const kStyle =
    "body{font:14px/1.45 system-ui,-apple-system,'Segoe UI',Roboto,Arial,sans-serif;color:#1f2328;"
    "margin:24px auto;max-width:1040px;padding:0 16px}"
    "h1{font-size:21px;margin:0 0 4px}h2{font-size:16px;margin:26px 0 8px}"
    "p{margin:4px 0}code{font-size:13px;background:#f2f3f5;padding:1px 4px;border-radius:3px;"
    "overflow-wrap:anywhere}"
    ".note{color:#57606a;font-size:12.5px;max-width:980px}"
    ".row{display:flex;flex-wrap:wrap;gap:12px "
    "36px;align-items:flex-start}.row>div{min-width:0;max-width:100%}"
    ".scroll{overflow-x:auto;max-width:100%}svg{display:block}"
    "table{border-collapse:collapse}th,td{padding:3px 10px;text-align:right;white-space:nowrap}"
    "th{border-bottom:1px solid #8c959f;font-weight:600}td:first-child,th:first-child{text-align:left}"
    "td.words{white-space:normal;min-width:14em;text-align:left;color:#57606a}th.left,td.left{text-align:"
    "left}"
    "tr.average td{border-top:1px solid #d0d7de;color:#424a53}"
    ".summary{display:flex;flex-wrap:wrap;gap:10px 34px;margin:10px 0 0}.summary div{color:#57606a}"
    ".summary b{display:block;font-size:19px;color:#1f2328}"
    ".compact td{padding:1px 10px}"
    ".bar{display:inline-block;width:60px;height:9px;background:#f0f2f4;margin-right:6px}"
    ".bar span{display:block;height:9px}"
    "svg text{font-family:inherit;font-size:12px;fill:#1f2328}"
    "svg .light{fill:#fff}svg .muted{fill:#57606a;font-size:11px}"
    "@media (max-width:480px){body{margin:12px auto;padding:0 10px}.summary{gap:8px 22px}"
    "th,td{padding:3px 6px}}";

// Keeps well-formed UTF-8 and escapes the characters that markup gives meaning; any other byte
// becomes "?", so that a description in another encoding cannot make the page unreadable.
std::string Text(const std::string& text)
{
    std::string clean;
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        bool valid = length > 0 && i + length <= text.size();
        for (size_t k = 1; valid && k < length; ++k)
            valid = (static_cast<unsigned char>(text[i + k]) >> 6) == 2;
        if (valid) {
            clean.append(text, i, length);
            i += length;
        } else {
            clean += '?';
            ++i;
        }
    }
    return HtmlText(clean);
}

std::string Format(const char* format, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string ShareText(const Share& share)
{
    return share.defined ? Format("%.4f", share.value) : kUndefined;
}
std::string ShareText(double value)
{
    return Format("%.4f", value);
}

// A cell of a table that shows one figure of the JSON.
std::string Cell(const std::string& path, const std::string& text)
{
    return "<td data-json=\"" + Text(path) + "\">" + text + "</td>";
}

std::string Path(const char* list, size_t index, const char* name)
{
    return std::string(list) + "." + std::to_string(index) + "." + name;
}

// A colour between white and `full` (red, green, blue), `share` of the way.
std::string Shade(double share, const int full[3])
{
    char text[8];
    int mixed[3];
    for (int i = 0; i < 3; ++i) mixed[i] = static_cast<int>(std::lround(255.0 + (full[i] - 255.0) * share));
    std::snprintf(text, sizeof text, "#%02x%02x%02x", mixed[0], mixed[1], mixed[2]);
    return text;
}

std::string Number(double value)
{
    return Format("%g", value);
}

// A rough width of a label in the heat map's bold 12 px type, to make room for it.
double LabelWidth(const std::string& label)
{
    return 7.5 * static_cast<double>(label.size());
}

std::string HeatMap(const EvaluationFigures& figures)
{
    static const int kRight[3] = {31, 111, 178}, kWrong[3] = {196, 48, 43};
    const size_t rows = figures.states.size(), columns = figures.networkStates;
    double rowLabels = 0, columnLabels = 0;
    for (size_t s = 0; s < rows; ++s) rowLabels = std::max(rowLabels, LabelWidth(figures.states[s].label));
    for (size_t p = 0; p < columns; ++p)
        columnLabels = std::max(columnLabels, LabelWidth(figures.states[p].label));
    // Column labels wider than a cell are slanted, and the map makes room above and beside it.
    const double cell = 46, left = std::max(86.0, 42 + rowLabels), slant = columnLabels > cell - 8 ? 0.72 : 0;
    const double top = std::max(56.0, 34 + slant * columnLabels);
    const double width = left + cell * static_cast<double>(columns) + 10 + slant * columnLabels;
    const double height = top + cell * static_cast<double>(rows) + 10;
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(width) + "\" height=\"" +
                      Number(height) + "\" role=\"img\" aria-label=\"Confusion matrix\">";
    svg += "<text x=\"" + Number(left + cell * static_cast<double>(columns) / 2) +
           "\" y=\"14\" text-anchor=\"middle\" class=\"muted\">most probable state</text>";
    svg += "<text x=\"12\" y=\"" + Number(top + cell * static_cast<double>(rows) / 2) +
           "\" transform=\"rotate(-90 12 " + Number(top + cell * static_cast<double>(rows) / 2) +
           ")\" text-anchor=\"middle\" class=\"muted\">expected state</text>";
    for (size_t p = 0; p < columns; ++p) {
        const std::string x = Number(left + cell * (static_cast<double>(p) + 0.5)), y = Number(top - 10);
        svg += "<text x=\"" + x + "\" y=\"" + y + "\" font-weight=\"600\"" +
               (slant > 0 ? " transform=\"rotate(-45 " + x + " " + y + ")\"" : " text-anchor=\"middle\"") +
               ">" + Text(figures.states[p].label) + "</text>";
    }
    for (size_t s = 0; s < rows; ++s) {
        const double y = top + cell * static_cast<double>(s);
        svg += "<text x=\"" + Number(left - 12) + "\" y=\"" + Number(y + cell / 2 + 4) +
               "\" text-anchor=\"end\" font-weight=\"600\">" + Text(figures.states[s].label) + "</text>";
        const int64_t support = figures.states[s].support;
        for (size_t p = 0; p < columns; ++p) {
            const int64_t count = figures.confusion[s][p];
            // The shade grows with the cell's share of its row (how the expected state's lines were
            // answered) as its square root, so that a few wrong answers still show.
            const double share =
                support > 0 ? std::sqrt(static_cast<double>(count) / static_cast<double>(support)) : 0.0;
            const double x = left + cell * static_cast<double>(p);
            svg += "<rect x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" width=\"" + Number(cell - 2) +
                   "\" height=\"" + Number(cell - 2) + "\" rx=\"3\" fill=\"" +
                   Shade(share, s == p ? kRight : kWrong) +
                   "\" stroke=\"#d0d7de\" stroke-width=\"0.5\"><title>expected " +
                   Text(figures.states[s].label) + ", most probable " + Text(figures.states[p].label) + ": " +
                   std::to_string(count) + " lines</title></rect>";
            svg += "<text x=\"" + Number(x + cell / 2 - 1) + "\" y=\"" + Number(y + cell / 2 + 3) +
                   "\" text-anchor=\"middle\"" + (share > 0.7 ? " class=\"light\"" : "") +
                   " data-json=\"confusion." + std::to_string(s) + "." + std::to_string(p) + "\">" +
                   std::to_string(count) + "</text>";
        }
    }
    return svg + "</svg>";
}

std::string StateTable(const EvaluationFigures& figures)
{
    std::string table =
        "<table><tr><th>State</th><th>Precision</th><th>Recall</th><th>F1</th><th>Support</th><th>Most "
        "probable</th></tr>";
    for (size_t s = 0; s < figures.states.size(); ++s) {
        const StateFigures& state = figures.states[s];
        table += "<tr><td>" + Text(state.label) + "</td>" +
                 Cell(Path("per_state", s, "precision"), ShareText(state.precision)) +
                 Cell(Path("per_state", s, "recall"), ShareText(state.recall)) +
                 Cell(Path("per_state", s, "f1"), ShareText(state.f1)) +
                 Cell(Path("per_state", s, "support"), std::to_string(state.support)) +
                 Cell(Path("per_state", s, "predicted"), std::to_string(state.predicted)) + "</tr>";
    }
    const std::pair<const char*, const Averages*> averages[] = {{"macro_average", &figures.macro},
                                                                {"weighted_average", &figures.weighted}};
    for (const auto& [name, average] : averages) {
        const std::string path = name;
        table += "<tr class=\"average\"><td>" + path.substr(0, path.find('_')) + " average</td>" +
                 Cell(path + ".precision", ShareText(average->precision)) +
                 Cell(path + ".recall", ShareText(average->recall)) +
                 Cell(path + ".f1", ShareText(average->f1)) + "<td></td><td></td></tr>";
    }
    return table + "</table>";
}

std::string CalibrationDiagram(const EvaluationFigures& figures)
{
    const double size = 230, left = 44, top = 12;
    auto x = [&](double p) { return Number(left + size * p); };
    auto y = [&](double p) { return Number(top + size * (1 - p)); };
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(left + size + 16) +
                      "\" height=\"" + Number(top + size + 46) +
                      "\" role=\"img\" aria-label=\"Calibration diagram\">";
    svg += "<rect x=\"" + x(0) + "\" y=\"" + y(1) + "\" width=\"" + Number(size) + "\" height=\"" +
           Number(size) + "\" fill=\"#f6f8fa\" stroke=\"#d0d7de\"/>";
    for (int t = 0; t <= 10; t += 2) {
        const double p = t / 10.0;
        svg += "<text x=\"" + x(p) + "\" y=\"" + Number(top + size + 16) +
               "\" text-anchor=\"middle\" class=\"muted\">" + Format("%.1f", p) + "</text>";
        svg += "<text x=\"" + Number(left - 6) + "\" y=\"" + Number(top + size * (1 - p) + 4) +
               "\" text-anchor=\"end\" class=\"muted\">" + Format("%.1f", p) + "</text>";
    }
    svg += "<text x=\"" + x(0.5) + "\" y=\"" + Number(top + size + 36) +
           "\" text-anchor=\"middle\" class=\"muted\">probability of the most probable state</text>";
    svg += "<line x1=\"" + x(0) + "\" y1=\"" + y(0) + "\" x2=\"" + x(1) + "\" y2=\"" + y(1) +
           "\" stroke=\"#8c959f\" stroke-dasharray=\"4 3\"/>";
    int64_t most = 1;
    for (const CalibrationBin& bin : figures.calibration) most = std::max(most, bin.lines);
    for (int b = 0; b < kCalibrationBins; ++b) {
        const CalibrationBin& bin = figures.calibration[b];
        if (bin.lines == 0) continue;
        const double lines = static_cast<double>(bin.lines);
        const double right = static_cast<double>(bin.right) / lines, mean = bin.probabilitySum / lines;
        svg += "<rect x=\"" + x(b / 10.0 + 0.005) + "\" y=\"" + y(right) + "\" width=\"" +
               Number(size / 10 - 2.6) + "\" height=\"" + Number(size * right) +
               "\" fill=\"#9ec5e8\"><title>" + Format("%.1f", b / 10.0) + " to " +
               Format("%.1f", (b + 1) / 10.0) + ": " + std::to_string(bin.lines) + " lines, " +
               Format("%.4f", right) + " right</title></rect>";
        // The dot stands at the bin's mean probability; its area grows with the bin's lines.
        svg += "<circle cx=\"" + x(mean) + "\" cy=\"" + y(right) + "\" r=\"" +
               Number(std::round(10 * (2.5 + 5.5 * std::sqrt(lines / static_cast<double>(most)))) / 10) +
               "\" fill=\"#1f6fb2\" fill-opacity=\"0.85\"/>";
    }
    svg += "</svg>";

    std::string table =
        "<table class=\"compact\"><tr><th>Probability</th><th>Lines</th><th>Mean probability</th><th>Share "
        "right</th></tr>";
    for (int b = 0; b < kCalibrationBins; ++b) {
        const CalibrationBin& bin = figures.calibration[b];
        const double lines = static_cast<double>(bin.lines);
        const size_t i = static_cast<size_t>(b);
        table += "<tr><td>" + Format("%.1f", b / 10.0) + " to " + Format("%.1f", (b + 1) / 10.0) + "</td>" +
                 Cell(Path("calibration", i, "lines"), std::to_string(bin.lines)) +
                 Cell(Path("calibration", i, "mean_probability"),
                      bin.lines ? ShareText(bin.probabilitySum / lines) : kUndefined) +
                 Cell(Path("calibration", i, "share_right"),
                      bin.lines ? ShareText(static_cast<double>(bin.right) / lines) : kUndefined) +
                 "</tr>";
    }
    return "<div class=\"row\"><div class=\"scroll\">" + svg + "</div><div class=\"scroll\">" + table +
           "</table></div></div>";
}

// A figure of 0 to 100 as a bar of that share of its width, then the figure as text.
std::string Bar(double value, bool has, const char* colour, const std::string& path, const std::string& text)
{
    const double width = has ? std::clamp(value, 0.0, 100.0) : 0.0;
    return "<td><span class=\"bar\"><span style=\"width:" + Format("%.1f", width) + "%;background:" + colour +
           "\"></span></span><span data-json=\"" + path + "\">" + (has ? text : kUndefined) + "</span></td>";
}

std::string TestTable(const std::vector<TestFigures>& tests)
{
    // The tests that moved the answers most come first, then those that separate the states best.
    std::vector<size_t> order;
    for (size_t t = 0; t < tests.size(); ++t) order.push_back(t);
    const auto change = [&](size_t t) {
        const TestContribution& c = tests[t].contribution;
        return c.observed ? c.changeSum / static_cast<double>(c.observed) : -1.0;
    };
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        if (change(a) != change(b)) return change(a) > change(b);
        return tests[a].cp + tests[a].dp > tests[b].cp + tests[b].dp;
    });
    std::string table =
        "<div class=\"scroll\"><table><tr><th>Test</th><th>Change</th><th>Winner changes</th><th>Lines "
        "observed</th><th>CP</th><th>DP</th><th class=\"left\">Description</th></tr>";
    for (size_t t : order) {
        const TestFigures& test = tests[t];
        const TestContribution& c = test.contribution;
        const double observed = static_cast<double>(c.observed);
        const double winners = c.observed ? static_cast<double>(c.winnerChanges) / observed : 0.0;
        table +=
            "<tr><td>" + Text(test.tag) + "</td>" +
            Bar(change(t), c.observed > 0, "#2da44e", Path("tests", t, "change"), Format("%.2f", change(t))) +
            Bar(100 * winners, c.observed > 0, "#8250df", Path("tests", t, "winner_changes"),
                ShareText(winners)) +
            Cell(Path("tests", t, "observed"), std::to_string(c.observed)) +
            Bar(test.cp, test.hasCp, "#1f6fb2", Path("tests", t, "cp"), Number(test.cp)) +
            Bar(test.dp, test.hasDp, "#e08a1e", Path("tests", t, "dp"), Number(test.dp)) +
            "<td class=\"words\">" + Text(test.description) + "</td></tr>";
    }
    return table + "</table></div>";
}

// The misclassified lines, as many as a page holds with ease.
std::string MisclassifiedTable(const EvaluationFigures& figures)
{
    const std::vector<Misclassified>& misses = figures.misclassified;
    if (misses.empty()) return "<p>No test line was misclassified.</p>\n";
    const size_t shown = std::min(misses.size(), kPageMisclassified);
    std::string page =
        "<p>" + std::to_string(misses.size()) + " of " + std::to_string(figures.lines) +
        " test lines, in the order of the input" +
        (shown < misses.size() ? ", the first " + std::to_string(shown) : std::string()) +
        ".</p>\n<div class=\"scroll\"><table><tr><th>Line</th><th class=\"left\">Expected</th><th "
        "class=\"left\">Most probable</th><th>Probability</th><th class=\"left\">Runner-up</th><th>"
        "Probability</th><th class=\"left\">Results</th></tr>";
    for (size_t i = 0; i < shown; ++i) {
        const Misclassified& miss = misses[i];
        page += "<tr>" + Cell(Path("misclassified", i, "line"), std::to_string(miss.line)) +
                "<td class=\"left\">" + Text(ExpectedLabels(figures, miss.expected)) +
                "</td><td class=\"left\">" + Text(LabelOf(figures, miss.winner)) + "</td>" +
                Cell(Path("misclassified", i, "probability"), ShareText(miss.probability)) +
                "<td class=\"left\">" + (miss.runnerUp ? Text(LabelOf(figures, miss.runnerUp)) : kUndefined) +
                "</td>" +
                Cell(Path("misclassified", i, "runner_up_probability"),
                     miss.runnerUp ? ShareText(miss.runnerUpProbability) : kUndefined) +
                "<td class=\"left\"><code>" + Text(miss.results) + "</code></td></tr>";
    }
    page += "</table></div>\n";
    if (shown < misses.size())
        page += "<p class=\"note\">\xe2\x80\xa6 and " + std::to_string(misses.size() - shown) +
                " more; the JSON of the report (--json FILE) lists them all.</p>\n";
    return page;
}

// The page's head, its heading and the files its figures come from.
std::string PageStart(const std::string& heading, const ReportSource& source, const char* inputKind)
{
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/>";
    page += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>";
    page += "<title>" + heading + ": " + Text(source.input) + "</title><style>" + kStyle +
            "</style></head>\n<body>\n";
    return page + "<h1>" + heading + "</h1><p>Network <code>" + Text(source.network) + "</code>, " +
           inputKind + " <code>" + Text(source.input) + "</code></p>\n";
}

// A headline figure: <b> holds the figure, the text before it names it.
std::string Headline(const char* name, const std::string& path, const std::string& text)
{
    return std::string("<div>") + name + "<b data-json=\"" + Text(path) + "\">" + text + "</b></div>";
}

std::string Percent(int64_t right, int64_t lines)
{
    return lines > 0 ? Format("%.2f %%", static_cast<double>(right) * 100.0 / static_cast<double>(lines))
                     : kUndefined;
}

// A point of an accuracy chart: its label under the axis, and its accuracy (a share) if any.
struct ChartPoint {
    std::string label;
    int64_t right = 0;
    int64_t lines = 0;
};

// Accuracies as a chart, as bars or as a line through the points, the axis from a tenth below
// the lowest up to 1 so that differences of a point show; the point `mark` (if any) stands out
// and `level` (if any) is a dashed line across. Labels longer than a slot are slanted.
std::string AccuracyChart(const std::vector<ChartPoint>& points, bool bars, size_t mark, const double* level,
                          const char* name)
{
    double lowest = 1.0, labels = 0;
    for (const ChartPoint& point : points) {
        if (point.lines > 0)
            lowest = std::min(lowest, static_cast<double>(point.right) / static_cast<double>(point.lines));
        labels = std::max(labels, 6.5 * static_cast<double>(point.label.size()));
    }
    if (level) lowest = std::min(lowest, *level);
    const double floor = std::max(0.0, std::floor(lowest * 10 - 0.2) / 10);
    const double slot = bars ? 30 : 40, left = 50, top = 10, size = 180;
    const double slant = labels > slot - 4 ? 0.72 : 0, bottom = 24 + slant * labels;
    const double width = left + slot * static_cast<double>(points.size()) + 14 + slant * labels;
    const auto x = [&](size_t i) { return left + slot * (static_cast<double>(i) + 0.5); };
    const auto y = [&](double share) { return top + size * (1 - (share - floor) / (1 - floor)); };
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(width) + "\" height=\"" +
                      Number(top + size + bottom) + "\" role=\"img\" aria-label=\"" + name + "\">";
    for (int t = static_cast<int>(std::lround(floor * 10)); t <= 10; ++t)
        svg += "<line x1=\"" + Number(left) + "\" y1=\"" + Number(y(t / 10.0)) + "\" x2=\"" +
               Number(left + slot * static_cast<double>(points.size())) + "\" y2=\"" + Number(y(t / 10.0)) +
               "\" stroke=\"#eaeef2\"/><text x=\"" + Number(left - 6) + "\" y=\"" + Number(y(t / 10.0) + 4) +
               "\" text-anchor=\"end\" class=\"muted\">" + Format("%.0f %%", t * 10.0) + "</text>";
    std::string line;
    for (size_t i = 0; i < points.size(); ++i) {
        const ChartPoint& point = points[i];
        const std::string lx = Number(x(i)), ly = Number(top + size + 14);
        svg += "<text x=\"" + lx + "\" y=\"" + ly + "\"" +
               (slant > 0 ? " text-anchor=\"end\" transform=\"rotate(-45 " + lx + " " + ly + ")\""
                          : " text-anchor=\"middle\"") +
               ">" + Text(point.label) + "</text>";
        if (point.lines <= 0) continue;
        const double share = static_cast<double>(point.right) / static_cast<double>(point.lines);
        const std::string title =
            "<title>" + Text(point.label) + ": " + Percent(point.right, point.lines) + "</title>";
        const char* colour = i == mark ? "#c4302b" : "#1f6fb2";
        if (bars) {
            svg += "<rect x=\"" + Number(x(i) - slot / 2 + 3) + "\" y=\"" + Number(y(share)) + "\" width=\"" +
                   Number(slot - 6) + "\" height=\"" + Number(top + size - y(share)) + "\" fill=\"" +
                   (i == mark ? colour : "#9ec5e8") + "\">" + title + "</rect>";
        } else {
            line += (line.empty() ? "" : " ") + Number(x(i)) + "," + Number(y(share));
            svg += "<circle cx=\"" + Number(x(i)) + "\" cy=\"" + Number(y(share)) + "\" r=\"" +
                   (i == mark ? "6" : "4") + "\" fill=\"" + colour + "\">" + title + "</circle>";
        }
    }
    if (!line.empty())
        svg += "<polyline points=\"" + line + "\" fill=\"none\" stroke=\"#1f6fb2\" stroke-width=\"1.5\"/>";
    if (level)
        svg += "<line x1=\"" + Number(left) + "\" y1=\"" + Number(y(*level)) + "\" x2=\"" +
               Number(left + slot * static_cast<double>(points.size())) + "\" y2=\"" + Number(y(*level)) +
               "\" stroke=\"#c4302b\" stroke-dasharray=\"5 3\"/>";
    return "<div class=\"scroll\">" + svg + "</svg></div>";
}

std::string FoldSection(const FoldFigures& folds)
{
    std::vector<ChartPoint> points;
    std::string table =
        "<table class=\"compact\"><tr><th>Fold</th><th>Lines</th><th>Right</th><th>"
        "Accuracy</th></tr>";
    for (size_t f = 0; f < folds.lines.size(); ++f) {
        points.push_back({std::to_string(f + 1), folds.right[f], folds.lines[f]});
        const std::string path = "cross_validation.per_fold." + std::to_string(f) + ".";
        table += "<tr>" + Cell(path + "fold", std::to_string(f + 1)) +
                 Cell(path + "lines", std::to_string(folds.lines[f])) +
                 Cell(path + "right", std::to_string(folds.right[f])) +
                 Cell(path + "accuracy", Percent(folds.right[f], folds.lines[f])) + "</tr>";
    }
    std::string section = "<div class=\"summary\">";
    section += Headline("Folds", "cross_validation.folds", std::to_string(folds.folds));
    section += Headline("Seed", "cross_validation.seed", std::to_string(folds.seed));
    section += Headline("Mean accuracy", "cross_validation.mean_accuracy",
                        folds.measured ? Format("%.2f %%", folds.mean * 100) : kUndefined);
    section += Headline("Standard deviation", "cross_validation.accuracy_deviation",
                        folds.measured ? Format("%.2f %%", folds.deviation * 100) : kUndefined);
    section += "</div>\n<div class=\"row\"><div>" +
               AccuracyChart(points, true, SIZE_MAX, folds.measured ? &folds.mean : nullptr, "Folds") +
               "</div><div class=\"scroll\">" + table + "</table></div></div>\n";
    return section + "<p class=\"note\">Each fold's lines judged by the network trained on the other folds" +
           (folds.stratified ? ", the folds drawn within each expected-states text" : std::string()) +
           "; the dashed line is the mean over the folds with lines, the standard deviation in "
           "percentage points. The figures above the folds are those of every out-of-fold verdict "
           "together.</p>\n";
}

}  // namespace

std::string SelectionPage(const ReportSource& source, const SelectionFigures& selection)
{
    const auto tag = [&](int32_t test) {
        return test < 0 ? std::string(kUndefined) : selection.tags[static_cast<size_t>(test)];
    };
    const veltra_selection_step& first = selection.steps.front();
    const veltra_selection_step& chosen = selection.steps[selection.chosen];
    std::string page = PageStart("Veltra test selection", source, "labelled samples");
    page += "<div class=\"summary\">";
    page += Headline("Folds", "folds", std::to_string(selection.folds));
    page += Headline("Seed", "seed", std::to_string(selection.seed));
    page += Headline("Test lines", "lines", std::to_string(first.right + first.wrong));
    page += Headline("Step kept", "chosen_step", std::to_string(selection.chosen));
    page += Headline("Its accuracy", "steps." + std::to_string(selection.chosen) + ".accuracy",
                     Percent(chosen.right, chosen.right + chosen.wrong));
    page += "</div>\n";

    std::vector<ChartPoint> points;
    std::string table =
        "<table class=\"compact\"><tr><th>Step</th><th class=\"left\">" +
        std::string(selection.forward ? "Added" : "Dropped") +
        "</th><th>Tests</th><th>Right</th><th>Wrong</th><th>Accuracy</th><th>Log loss</th></tr>";
    for (size_t s = 0; s < selection.steps.size(); ++s) {
        const veltra_selection_step& step = selection.steps[s];
        points.push_back({step.test < 0 ? (selection.forward ? "none" : "all") : tag(step.test), step.right,
                          step.right + step.wrong});
        const std::string path = "steps." + std::to_string(s) + ".";
        table += std::string(s == selection.chosen ? "<tr style=\"font-weight:600\">" : "<tr>") +
                 Cell(path + "step", std::to_string(s)) + "<td class=\"left\">" + Text(tag(step.test)) +
                 "</td>" + Cell(path + "tests", std::to_string(step.tests)) +
                 Cell(path + "right", std::to_string(step.right)) +
                 Cell(path + "wrong", std::to_string(step.wrong)) +
                 Cell(path + "accuracy", Percent(step.right, step.right + step.wrong)) +
                 Cell(path + "log_loss", ShareText(step.log_loss)) + "</tr>";
    }
    page += "<h2>Steps</h2><div class=\"row\"><div>" +
            AccuracyChart(points, false, selection.chosen, nullptr, "Selection steps") +
            "</div><div class=\"scroll\">" + table + "</table></div></div>\n";
    page += std::string("<p class=\"note\">") +
            (selection.forward ? "Forward selection: each step adds the test whose adding gives"
                               : "Backward elimination: each step drops the test whose leaving out gives") +
            " the best cross-validated accuracy, ties going to the lower log loss. The figures of a step "
            "are those of cross-validating the network restricted to its tests. The step kept is in red and "
            "bold.</p>\n";

    page += "<h2>Tests kept</h2><p>";
    for (size_t k = 0; k < selection.kept.size(); ++k)
        page += (k ? " " : "") + std::string("<code data-json=\"kept.") + std::to_string(k) + "\">" +
                std::to_string(selection.kept[k]) + "</code>&#160;" + Text(tag(selection.kept[k]));
    page += "</p>\n";

    double most = 0;
    for (const veltra_test_score& score : selection.scores) most = std::max(most, score.mutual_information);
    std::string tests =
        "<div class=\"scroll\"><table><tr><th>#</th><th class=\"left\">Test</th><th>"
        "Information (bits)</th><th>Right without</th><th>Accuracy without</th><th>Drop</th>"
        "<th>Log loss without</th></tr>";
    for (size_t t = 0; t < selection.scores.size(); ++t) {
        const veltra_test_score& score = selection.scores[t];
        const std::string path = "tests." + std::to_string(t) + ".";
        tests += "<tr>" + Cell(path + "test", std::to_string(t)) + "<td class=\"left\">" +
                 Text(selection.tags[t]) + "</td>" +
                 Bar(most > 0 ? 100 * score.mutual_information / most : 0, true, "#2da44e",
                     path + "mutual_information", ShareText(score.mutual_information)) +
                 Cell(path + "right_without", std::to_string(score.right_without)) +
                 Cell(path + "accuracy_without",
                      Percent(score.right_without, score.right_without + score.wrong_without)) +
                 Cell(path + "accuracy_drop", Format("%.2f %%", score.accuracy_drop * 100)) +
                 Cell(path + "log_loss_without", ShareText(score.log_loss_without)) + "</tr>";
    }
    page += "<h2>Each test</h2>" + tests + "</table></div>\n";
    page +=
        "<p class=\"note\">Information: the test's mutual information with the state, from the counts of "
        "all samples; the bar is its share of the highest. Without: cross-validating every test but this "
        "one. Drop: how far the accuracy falls without the test, in percentage points (below zero, the "
        "network does better without it).</p>\n";
    return page + "</body></html>\n";
}

std::string ReportPage(const ReportSource& source, const EvaluationFigures& figures,
                       const std::vector<TestFigures>& tests, const FoldFigures* folds)
{
    const double lines = static_cast<double>(figures.lines);
    const bool any = figures.lines > 0;
    std::string page = PageStart(folds ? "Veltra cross-validation" : "Veltra report", source,
                                 folds ? "labelled samples" : "labelled fields");
    page += "<div class=\"summary\">";
    page += Headline("Test lines", "lines", std::to_string(figures.lines));
    page += Headline("Right", "right", std::to_string(figures.right));
    page +=
        Headline("Accuracy", "accuracy",
                 any ? Format("%.2f %%", static_cast<double>(figures.right) * 100.0 / lines) : kUndefined);
    page += Headline("Log loss", "log_loss", any ? ShareText(figures.logLoss) : kUndefined);
    page += Headline("Brier score", "brier_score", any ? ShareText(figures.brier) : kUndefined);
    page += "</div>\n";
    if (folds) page += "<h2>Folds</h2>" + FoldSection(*folds);

    page += "<div class=\"row\"><div><h2>Confusion matrix</h2><div class=\"scroll\">" + HeatMap(figures) +
            "</div></div>";
    page += "<div><h2>Per state</h2><div class=\"scroll\">" + StateTable(figures) + "</div></div></div>\n";
    page +=
        "<p class=\"note\">Lines by expected state (rows) and most probable state (columns); the shade is "
        "the "
        "cell's share of its row, blue for right answers, red for wrong ones. A line with several expected "
        "states "
        "counts under the most probable state when that is one of them, else under its first expected state. "
        "Precision and recall without any line to count are shown as " +
        std::string(kUndefined) + " and count as 0 in the averages.</p>\n";

    page += "<h2>Calibration</h2>" + CalibrationDiagram(figures);
    page +=
        "<p class=\"note\">Bars: the share of right answers among the lines whose most probable state has a "
        "probability in the bin; dots at the bin's mean probability, larger for more lines. A calibrated "
        "network "
        "keeps the dots on the dashed diagonal.</p>\n";

    if (folds) {
        page += "<h2>Misclassified lines</h2>" + MisclassifiedTable(figures);
        return page + "</body></html>\n";
    }
    page += "<h2>Tests</h2>" + TestTable(tests);
    page += std::string("<p class=\"note\">Change: ") + kChangeMeaning +
            "; veltra explain shows it for one field, here it is its mean size over the lines where the "
            "test was observed. Winner changes: the share of those lines whose most probable state is "
            "another without the test. CP and DP, from the trained file, in percentage points: CP, how far "
            "one observed value of the test, alone, separates two states; DP, how far changing the test's "
            "value moves the probability of one state. Tests with low figures throughout decide little.";
    const bool sections =
        std::any_of(tests.begin(), tests.end(), [](const TestFigures& t) { return t.hasCp || t.hasDp; });
    if (!sections) page += " " + Text(source.network) + " holds no CP and DP figures; training writes them.";
    page += "</p>\n";

    page += "<h2>Misclassified lines</h2>" + MisclassifiedTable(figures);
    return page + "</body></html>\n";
}

}  // namespace veltra::cli
