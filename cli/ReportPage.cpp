#include "cli/ReportPage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace veltra::cli {

namespace {

const char* const kUndefined = "\xe2\x80\x93";  // en dash

const char* const kStyle =
    "body{font:14px/1.45 system-ui,-apple-system,'Segoe UI',Roboto,Arial,sans-serif;color:#1f2328;"
    "margin:24px auto;max-width:1040px;padding:0 16px}"
    "h1{font-size:21px;margin:0 0 4px}h2{font-size:16px;margin:26px 0 8px}"
    "p{margin:4px 0}code{font-size:13px;background:#f2f3f5;padding:1px 4px;border-radius:3px}"
    ".note{color:#57606a;font-size:12.5px;max-width:980px}"
    ".row{display:flex;flex-wrap:wrap;gap:36px;align-items:flex-start}"
    "table{border-collapse:collapse}th,td{padding:3px 10px;text-align:right}"
    "th{border-bottom:1px solid #8c959f;font-weight:600}td:first-child,th:first-child{text-align:left}"
    "tr.average td{border-top:1px solid #d0d7de;color:#424a53}"
    ".summary{display:flex;flex-wrap:wrap;gap:10px 34px;margin:10px 0 0}.summary div{color:#57606a}"
    ".summary b{display:block;font-size:19px;color:#1f2328}"
    ".compact td{padding:1px 10px}"
    "svg text{font-family:inherit;font-size:12px;fill:#1f2328}"
    "svg .light{fill:#fff}svg .muted{fill:#57606a;font-size:11px}";

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

std::string HeatMap(const EvaluationFigures& figures)
{
    static const int kRight[3] = {31, 111, 178}, kWrong[3] = {196, 48, 43};
    const size_t rows = figures.states.size(), columns = figures.networkStates;
    const double cell = 46, left = 86, top = 56;
    const double width = left + cell * static_cast<double>(columns) + 10;
    const double height = top + cell * static_cast<double>(rows) + 10;
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(width) + "\" height=\"" +
                      Number(height) + "\" role=\"img\" aria-label=\"Confusion matrix\">";
    svg += "<text x=\"" + Number(left + cell * static_cast<double>(columns) / 2) +
           "\" y=\"14\" text-anchor=\"middle\" class=\"muted\">most probable state</text>";
    svg += "<text x=\"12\" y=\"" + Number(top + cell * static_cast<double>(rows) / 2) +
           "\" transform=\"rotate(-90 12 " + Number(top + cell * static_cast<double>(rows) / 2) +
           ")\" text-anchor=\"middle\" class=\"muted\">expected state</text>";
    for (size_t p = 0; p < columns; ++p)
        svg += "<text x=\"" + Number(left + cell * (static_cast<double>(p) + 0.5)) + "\" y=\"" +
               Number(top - 10) + "\" text-anchor=\"middle\" font-weight=\"600\">" +
               Text(figures.states[p].name) + "</text>";
    for (size_t s = 0; s < rows; ++s) {
        const double y = top + cell * static_cast<double>(s);
        svg += "<text x=\"" + Number(left - 12) + "\" y=\"" + Number(y + cell / 2 + 4) +
               "\" text-anchor=\"end\" font-weight=\"600\">" + Text(figures.states[s].name) + "</text>";
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
                   Text(figures.states[s].name) + ", most probable " + Text(figures.states[p].name) + ": " +
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
        table += "<tr><td>" + Text(state.name) + "</td>" +
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
    return "<div class=\"row\"><div>" + svg + "</div>" + table + "</table></div>";
}

std::string TestBars(const std::vector<TestFigures>& tests)
{
    // The tests that separate the states best come first.
    std::vector<size_t> order;
    for (size_t t = 0; t < tests.size(); ++t) order.push_back(t);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return tests[a].cp + tests[a].dp > tests[b].cp + tests[b].dp;
    });
    const double rowHeight = 34, label = 130, scale = 3.0, top = 24;
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1000\" height=\"" +
                      Number(top + rowHeight * static_cast<double>(tests.size()) + 4) +
                      "\" role=\"img\" aria-label=\"CP and DP per test\">";
    svg += "<rect x=\"" + Number(label) +
           "\" y=\"2\" width=\"12\" height=\"10\" fill=\"#1f6fb2\"/><text x=\"" + Number(label + 18) +
           "\" y=\"11\" class=\"muted\">CP</text>";
    svg += "<rect x=\"" + Number(label + 56) +
           "\" y=\"2\" width=\"12\" height=\"10\" fill=\"#e08a1e\"/><text x=\"" + Number(label + 74) +
           "\" y=\"11\" class=\"muted\">DP</text>";
    for (size_t row = 0; row < order.size(); ++row) {
        const size_t t = order[row];
        const TestFigures& test = tests[t];
        const double y = top + rowHeight * static_cast<double>(row);
        svg += "<text x=\"0\" y=\"" + Number(y + 15) + "\" font-weight=\"600\">" + Text(test.tag) + "</text>";
        const std::pair<const char*, std::pair<double, bool>> bars[] = {{"cp", {test.cp, test.hasCp}},
                                                                        {"dp", {test.dp, test.hasDp}}};
        for (size_t k = 0; k < 2; ++k) {
            const double barY = y + 2 + 14 * static_cast<double>(k), value = bars[k].second.first;
            const bool has = bars[k].second.second;
            const double length = has ? scale * std::clamp(value, 0.0, 100.0) : 0.0;
            svg += "<rect x=\"" + Number(label) + "\" y=\"" + Number(barY) + "\" width=\"" +
                   Number(scale * 100) + "\" height=\"11\" fill=\"#f0f2f4\"/>";
            svg += "<rect x=\"" + Number(label) + "\" y=\"" + Number(barY) + "\" width=\"" + Number(length) +
                   "\" height=\"11\" fill=\"" + (k == 0 ? "#1f6fb2" : "#e08a1e") + "\"/>";
            svg += "<text x=\"" + Number(label + scale * 100 + 6) + "\" y=\"" + Number(barY + 10) +
                   "\" data-json=\"" + Path("tests", t, bars[k].first) + "\">" +
                   (has ? Number(value) : kUndefined) + "</text>";
        }
        svg += "<text x=\"" + Number(label + scale * 100 + 40) + "\" y=\"" + Number(y + 15) +
               "\" class=\"muted\">" + Text(test.description) + "</text>";
    }
    return svg + "</svg>";
}

}  // namespace

std::string ReportPage(const ReportSource& source, const EvaluationFigures& figures,
                       const std::vector<TestFigures>& tests)
{
    const double lines = static_cast<double>(figures.lines);
    const bool any = figures.lines > 0;
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/>";
    page += "<meta name=\"viewport\" content=\"width=device-width\"/>";
    page += "<title>Veltra report: " + Text(source.input) + "</title><style>" + kStyle +
            "</style></head>\n<body>\n";
    page += "<h1>Veltra report</h1><p>Network <code>" + Text(source.network) +
            "</code>, labelled fields <code>" + Text(source.input) + "</code></p>\n";

    // The headline figures: <b> holds the figure, the text before it names it.
    auto headline = [](const char* name, const char* path, const std::string& text) {
        return std::string("<div>") + name + "<b data-json=\"" + path + "\">" + text + "</b></div>";
    };
    page += "<div class=\"summary\">";
    page += headline("Test lines", "lines", std::to_string(figures.lines));
    page += headline("Right", "right", std::to_string(figures.right));
    page +=
        headline("Accuracy", "accuracy",
                 any ? Format("%.2f %%", static_cast<double>(figures.right) * 100.0 / lines) : kUndefined);
    page += headline("Log loss", "log_loss", any ? ShareText(figures.logLoss) : kUndefined);
    page += headline("Brier score", "brier_score", any ? ShareText(figures.brier) : kUndefined);
    page += "</div>\n";

    page += "<div class=\"row\"><div><h2>Confusion matrix</h2>" + HeatMap(figures) + "</div>";
    page += "<div><h2>Per state</h2>" + StateTable(figures) + "</div></div>\n";
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

    page += "<h2>Tests: CP and DP</h2>";
    const bool sections =
        std::any_of(tests.begin(), tests.end(), [](const TestFigures& t) { return t.hasCp || t.hasDp; });
    if (sections) {
        page += TestBars(tests);
        page +=
            "<p class=\"note\">From the trained file's CP and DP sections, in percentage points. CP: how far "
            "one "
            "observed value of the test, alone, separates two states. DP: how far changing the test's value "
            "moves the probability of one state. Tests with low figures on both decide little.</p>\n";
    } else {
        page += "<p>" + Text(source.network) + " holds no CP and DP sections; training writes them.</p>\n";
    }
    return page + "</body></html>\n";
}

}  // namespace veltra::cli
