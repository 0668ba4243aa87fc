// ResultTable: the console reporter of the benchmark binary. It shows Google Benchmark's own lines
// on a chosen stream, keeps the time per iteration of every benchmark (the median when repeated),
// and prints the team's table: per size and job, the engine's figure, the reference's, their
// ratio and whether the target is met.
#ifndef VELTRA_BENCH_RESULTTABLE_H
#define VELTRA_BENCH_RESULTTABLE_H

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace bench {

enum class Metric {
    kTimePerCall,  // ratio engine / reference time; met at most `target`
    kLinesPerSec,  // ratio engine / reference lines per second; met at least `target` (0: none)
    kTimePerByte,  // met when the engine's time per byte grows at most `target` times over the
                   // previous size's
};

struct Row {
    std::string size;
    std::string job;
    std::string engine;  // benchmark names
    std::string reference;
    Metric metric;
    double work;  // lines or bytes per iteration
    double target;
};

class ResultTable : public benchmark::ConsoleReporter {
public:
    explicit ResultTable(std::ostream& details);

    void AddRow(Row row) { m_rows.push_back(std::move(row)); }
    void ReportRuns(const std::vector<Run>& runs) override;
    void Print(std::ostream& out) const;

private:
    double Seconds(const std::string& name) const;

    std::vector<Row> m_rows;
    std::map<std::string, double> m_seconds;  // per iteration
    std::map<std::string, bool> m_isMedian;
    int64_t m_repetitions = 1;        // the most repetitions of any benchmark
    int64_t m_fewestRepetitions = 0;  // and the fewest
};

}  // namespace bench

#endif  // VELTRA_BENCH_RESULTTABLE_H
