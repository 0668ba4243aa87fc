#include "engine/HostEngine.h"

#include <fstream>
#include <utility>
#include <vector>

#include "engine/ChosenTests.h"
#include "engine/NumberText.h"
#include "engine/ProgressCounter.h"
#include "safe/FileChecks.h"
#include "safe/Numbers.h"
#include "safe/OutputFile.h"

namespace veltra {

StatedFigures ReadStatedFigures(const std::string& text)
{
    StatedFigures figures;
    std::map<std::string, double>* section = nullptr;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(at, end - at);
        at = end + 1;
        if (line.empty()) continue;
        if (line.back() == '\r') line.pop_back();
        if (line == "#\tCP values:" || line == "#\tDP values:") {
            section = line[2] == 'C' ? &figures.cp : &figures.dp;
            section->clear();
            continue;
        }
        if (!section || line == "#\t-----------") continue;
        // "#", the figure, the tag: the first three non-empty pieces between tabs.
        std::vector<std::string> pieces;
        for (size_t from = 0; from <= line.size() && pieces.size() < 3;) {
            size_t stop = line.find('\t', from);
            if (stop == std::string::npos) stop = line.size();
            if (stop > from) pieces.push_back(line.substr(from, stop - from));
            from = stop + 1;
        }
        size_t used = 0;
        const double figure =
            pieces.size() == 3 && pieces[0] == "#" ? ReadNumber(pieces[1].c_str(), &used) : 0.0;
        if (used == 0 || used != pieces[1].size()) {
            section = nullptr;
            continue;
        }
        (*section)[pieces[2]] = figure;
    }
    return figures;
}

int32_t UnderflowTests(double smallestPrior, double smallestConditional)
{
    if (smallestConditional >= 1.0) return 0;
    int32_t observed = 0;
    for (double product = smallestPrior; product > 0.0 && observed <= 100000; product *= smallestConditional)
        ++observed;
    return observed;
}

void HostEngine::LoadFile(const String& path, std::string* read)
{
    m_network.ClearCaches();
    m_figures = StatedFigures();
    std::string text;
    BayesianEngine::LoadFile(path.str(), path, &text);
    m_figures = ReadStatedFigures(text);
    if (read) *read = std::move(text);
}

void HostEngine::LoadText(const String& text)
{
    m_network.ClearCaches();
    m_figures = StatedFigures();
    try {
        m_network.Load(text);
    } catch (...) {
        m_place = {String(), m_network.GetLoadFacts().failedLine};
        throw;
    }
    m_figures = ReadStatedFigures(text.str());
}

void HostEngine::TrainFresh(const String& networkFile, const String& sampleFile, const String& outputFile)
{
    m_network.ClearCaches();
    m_figures = StatedFigures();
    Train(networkFile, sampleFile, outputFile, false);
    m_figures.cp = GetWrittenFigures(TestFigure::kCP);
    m_figures.dp = GetWrittenFigures(TestFigure::kDP);
}

void HostEngine::TrainFreshFromCounts(const String& networkFile, const int64_t* counts,
                                      const String& outputFile)
{
    m_network.ClearCaches();
    m_figures = StatedFigures();
    TrainFromCounts(networkFile, counts, outputFile);
    m_figures.cp = GetWrittenFigures(TestFigure::kCP);
    m_figures.dp = GetWrittenFigures(TestFigure::kDP);
}

namespace {

// Loads a description into a network of its own, which checks it as a load of the engine would;
// a failure names `file` and the line.
void CheckDescription(const std::string& text, const String& file, BayesianEngine::Place& place)
{
    NaiveBayesNet network;
    try {
        network.Load(String(text));
    } catch (...) {
        place = {file, network.GetLoadFacts().failedLine};
        throw;
    }
}

// The text of a description read back as its file holds it: without the line end that the
// reading adds after the file's last line.
std::string AsInFile(std::string text)
{
    if (!text.empty()) text.pop_back();
    return text;
}

}  // namespace

void HostEngine::WriteTests(const String& networkFile, const int32_t* tests, int32_t count,
                            const String& outputFile)
{
    const std::string text = ReadDescription(networkFile.str(), networkFile);
    CheckDescription(text, networkFile, m_place);
    const int32_t all = static_cast<int32_t>(TestsOf(text).size());
    m_place = {networkFile, 0};
    if (count == 0) VELTRA_RAISE("No test is chosen");
    std::vector<bool> kept(static_cast<size_t>(all), false);
    for (int32_t i = 0; i < count; ++i) {
        if (tests[i] < 0 || tests[i] >= all) VELTRA_RAISE("No test ", tests[i], ": there are ", all);
        if (kept[static_cast<size_t>(tests[i])]) VELTRA_RAISE("Test ", tests[i], " is chosen twice");
        kept[static_cast<size_t>(tests[i])] = true;
    }
    RefuseOverwrite(outputFile, networkFile);
    m_place = {outputFile, 0};
    OutputFile output(outputFile, OutputFile::Use::kWriteOnly);
    const std::string written = AsInFile(KeepTests(text, kept));
    output.Stream().write(written.data(), static_cast<std::streamsize>(written.size()));
    output.Commit();
    m_place = Place();
}

int64_t HostEngine::CutFile(const String& chosenFile, const String& inputFile, const String& outputFile)
{
    if (!m_network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    const std::string chosen = ReadDescription(chosenFile.str(), chosenFile);
    CheckDescription(chosen, chosenFile, m_place);
    // Where each chosen test's result stands in the full network's results.
    std::vector<int32_t> positions;
    const int32_t tests = m_network.GetTestCount();
    for (const ChosenTest& test : TestsOf(chosen)) {
        m_place = {chosenFile, test.line};
        int32_t position = 0;
        while (position < tests && m_network.GetTest(position).GetTag() != test.tag) ++position;
        if (position == tests) VELTRA_RAISE("Test ", test.tag, " is no test of the loaded network");
        if (!positions.empty() && position < positions.back())
            VELTRA_RAISE("Test ", test.tag, " comes before ", m_network.GetTest(positions.back()).GetTag(),
                         " in the loaded network, not after it");
        positions.push_back(position);
    }
    m_place = {chosenFile, 0};
    if (positions.empty()) VELTRA_RAISE(chosenFile, " holds no test");
    m_place = Place();

    // The input is read twice (its newlines are counted first for the progress) and replaced by
    // no output: both are checked before the output is opened.
    RequireRereadable(inputFile);
    std::ifstream in(inputFile.c_str());
    if (!in.is_open()) VELTRA_RAISE("Cannot open file: ", inputFile);
    RefuseOverwrite(outputFile, inputFile);
    RefuseOverwrite(outputFile, chosenFile);
    m_place = {outputFile, 0};
    OutputFile output(outputFile, OutputFile::Use::kWriteOnly);
    std::ostream& out = output.Stream();
    m_place = {inputFile, 0};
    const int32_t total = CountNewlines(in, inputFile, 0, &m_place.line);
    ProgressCounter progress(ProgressCounter::kEvaluationBackspaces, total);
    int64_t cut = 0, number = 1;
    String line;
    for (; !in.eof(); ++number) {
        m_place.line = number;
        String::ReadLine(in, line, inputFile, number);
        progress.Step(number);
        bool isTestLine = false;
        const std::string written = CutLine(line.str(), positions, tests, &isTestLine);
        cut += isTestLine ? 1 : 0;
        out.write(written.data(), static_cast<std::streamsize>(written.size()));
        // Each line as it ends in the file: the last one read ends without a line end.
        if (!in.eof()) out << '\n';
        if (out.fail()) {
            m_place = {outputFile, 0};
            output.CheckWritten();
        }
    }
    progress.Finish(number - 1, false);
    in.close();
    m_place = {outputFile, 0};
    output.Commit();
    m_place = Place();
    WriteMessage(MessageKind::kSummary, "Test lines cut: " + IntegerText(cut) + ", to " +
                                            IntegerText(static_cast<int64_t>(positions.size())) + " of " +
                                            IntegerText(tests) + " tests");
    return cut;
}

}  // namespace veltra
