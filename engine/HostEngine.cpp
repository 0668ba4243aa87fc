#include "engine/HostEngine.h"

#include <vector>

#include "safe/Numbers.h"

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

void HostEngine::LoadFile(const String& path)
{
    m_network.ClearCaches();
    m_figures = StatedFigures();
    std::string text;
    BayesianEngine::LoadFile(path.str(), path, &text);
    m_figures = ReadStatedFigures(text);
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

}  // namespace veltra
