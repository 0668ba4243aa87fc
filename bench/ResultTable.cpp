#include "bench/ResultTable.h"

#include <cmath>
#include <cstdio>

namespace bench {

namespace {

std::string Format(const char* format, double value, const char* unit)
{
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return std::string(text) + unit;
}

std::string Time(double seconds)
{
    if (seconds < 1e-6) return Format("%.1f", seconds * 1e9, " ns");
    if (seconds < 1e-3) return Format("%.2f", seconds * 1e6, " us");
    if (seconds < 1.0) return Format("%.2f", seconds * 1e3, " ms");
    return Format("%.2f", seconds, " s");
}

std::string Figure(Metric metric, double seconds, double work)
{
    if (!(seconds > 0.0)) return "-";
    switch (metric) {
        case Metric::kTimePerCall:
            return Time(seconds) + "/call";
        case Metric::kLinesPerSec:
            return work / seconds >= 1e6 ? Format("%.2f", work / seconds / 1e6, "M lines/s")
                                         : Format("%.1f", work / seconds / 1e3, "k lines/s");
        case Metric::kTimePerByte:
            return Format("%.2f", seconds / work * 1e9, " ns/byte");
    }
    return "-";
}

std::string Ratio(double ratio)
{
    if (!(ratio > 0.0) || !std::isfinite(ratio)) return "-";
    return Format(ratio >= 10.0 ? "%.0f" : ratio >= 0.1 ? "%.2f" : "%.3f", ratio, "x");
}

std::string Target(const char* relation, double target)
{
    return relation + Format("%g", target, "x");
}

}  // namespace

ResultTable::ResultTable(std::ostream& details) : ConsoleReporter(OO_Tabular)
{
    SetOutputStream(&details);
    SetErrorStream(&details);
}

void ResultTable::ReportRuns(const std::vector<Run>& runs)
{
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.error_occurred) continue;
        const std::string name = run.run_name.function_name;
        const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
        if (run.run_type == Run::RT_Aggregate && !median) continue;
        if (m_isMedian[name] && !median) continue;
        m_seconds[name] = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        m_isMedian[name] = median;
        if (run.repetitions > m_repetitions) m_repetitions = run.repetitions;
        if (m_fewestRepetitions == 0 || run.repetitions < m_fewestRepetitions)
            m_fewestRepetitions = run.repetitions;
    }
}

double ResultTable::Seconds(const std::string& name) const
{
    auto it = m_seconds.find(name);
    return it == m_seconds.end() ? 0.0 : it->second;
}

void ResultTable::Print(std::ostream& out) const
{
    char line[256];
    std::string repetitions = "one repetition";
    if (m_repetitions > 1) {
        repetitions = "median of " + std::to_string(m_fewestRepetitions) + " repetitions";
        if (m_fewestRepetitions != m_repetitions)
            repetitions += " (" + std::to_string(m_repetitions) + " for loading)";
    }
    out << "Figures: CPU time per iteration, " << repetitions << ".\n\n";
    const char* layout = "%-9s %-27s %-19s %-19s %-8s %-9s %s\n";
    std::snprintf(line, sizeof line, layout, "size", "job", "engine", "reference", "ratio", "target", "");
    out << line;
    double firstPerByte = 0.0, loadTarget = 0.0;
    std::string firstSize;
    for (const Row& row : m_rows) {
        const double engine = Seconds(row.engine), reference = Seconds(row.reference);
        if (engine == 0.0 && reference == 0.0) continue;
        double ratio = engine / reference;
        std::string target, verdict;
        switch (row.metric) {
            case Metric::kTimePerCall:
                target = Target("<= ", row.target);
                verdict = ratio <= row.target ? "met" : "not met";
                break;
            case Metric::kLinesPerSec:
                ratio = reference / engine;
                target = row.target > 0.0 ? Target(">= ", row.target) : "none";
                verdict = row.target <= 0.0 ? "-" : ratio >= row.target ? "met" : "not met";
                break;
            case Metric::kTimePerByte: {
                // The engine's time per byte, in units of the reference's (linear by construction)
                // measured in the same run, so that a busier machine at one size does not count.
                const double perByte = reference > 0.0 ? ratio : engine / row.work;
                target = "flat";
                loadTarget = row.target;
                if (firstPerByte > 0.0 && perByte > 0.0) {
                    const double growth = perByte / firstPerByte;
                    verdict = std::string(growth <= row.target ? "met" : "not met") + " (" + Ratio(growth) +
                              " " + firstSize + ")";
                } else {
                    verdict = "baseline";
                }
                if (firstPerByte == 0.0 && perByte > 0.0) {
                    firstPerByte = perByte;
                    firstSize = row.size;
                }
                break;
            }
        }
        if (engine == 0.0 || (reference == 0.0 && row.metric != Metric::kTimePerByte)) verdict = "-";
        std::snprintf(line, sizeof line, layout, row.size.c_str(), row.job.c_str(),
                      Figure(row.metric, engine, row.work).c_str(),
                      Figure(row.metric, reference, row.work).c_str(), Ratio(ratio).c_str(), target.c_str(),
                      verdict.c_str());
        out << line;
    }
    out << "\nRatio: engine / reference, of the time per call or per byte, or of the lines per second.\n";
    if (loadTarget > 0.0)
        out << "Load is flat when the engine's time per byte, as a ratio to the reference's, is at most "
            << loadTarget << " times that of the smallest size (in brackets), over sizes 280 times apart.\n";
}

}  // namespace bench
