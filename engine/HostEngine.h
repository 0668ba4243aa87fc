// HostEngine: the engine behind a handle of the host interface. It is the engine the seven
// exports drive, with what hosts beside them need:
// - loads and training answer from the network just loaded: the caches, which the exports keep
//   across loads, are cleared first;
// - what a network holds, as a host asks for it: states, tests, the probability lines read, the
//   smallest probabilities and after how many observed tests their product underflows, and the
//   per-test CP and DP figures a trained description states (or the run just wrote).
// One engine, one thread at a time, as every engine.
#ifndef VELTRA_ENGINE_HOSTENGINE_H
#define VELTRA_ENGINE_HOSTENGINE_H

#include <cstdint>
#include <map>
#include <string>

#include "engine/FieldClassifier.h"

namespace veltra {

// The CP and DP figures that the comment sections of a trained description state, by tag:
// "#\t" figure "\t" tag "\t" description under "#\tCP values:" or "#\tDP values:" and its rule.
// A later section replaces an earlier one: a network trained again holds the sections of each
// run, the last one's in force.
struct StatedFigures {
    std::map<std::string, double> cp, dp;
};
StatedFigures ReadStatedFigures(const std::string& text);

// After how many observed tests a product of the smallest prior and conditional probabilities
// is 0 (counting up to 100001); 0 when no test probability is below 1.
int32_t UnderflowTests(double smallestPrior, double smallestConditional);

class HostEngine : public FieldClassifier {
public:
    // Its sample lines are read as FieldClassifier reads them.
    HostEngine() { m_sampleTextType = &typeid(HostEngine); }
    const char* GetTypeName() const override { return "HostEngine"; }

    // Loads the description file at `path`, or the description `text`, as InitializeThruFile and
    // InitializeThruParam do, after clearing the caches. Raise as those do. The text read from
    // the file, each line followed by "\n", goes to *read when given.
    void LoadFile(const String& path, std::string* read = nullptr);
    void LoadText(const String& text);
    // A training run as the exports' Train, after clearing the caches.
    void TrainFresh(const String& networkFile, const String& sampleFile, const String& outputFile);
    // A training run from counts (TrainFromCounts), after clearing the caches.
    void TrainFreshFromCounts(const String& networkFile, const int64_t* counts, const String& outputFile);

    // Writes to `outputFile` the description file `networkFile` with only the tests at the
    // `count` positions `tests` (in results order, from 0, each once), as KeepTests keeps them;
    // the output replaces the file whole at the end (OutputFile). The engine's network stays as it
    // is. Raises what loading the file raises, "No test <i>: there are <n>", "Test <i> is chosen
    // twice", "No test is chosen", and the refusals of FileChecks and OutputFile.
    void WriteTests(const String& networkFile, const int32_t* tests, int32_t count, const String& outputFile);
    // Cuts the labelled file `inputFile` to the tests of the description file `chosenFile` (CutLine)
    // and writes it to `outputFile`, replaced whole at the end. The loaded network is the full one:
    // each test of the chosen description must be one of its tests, by tag, in the same order.
    // Returns the number of test lines cut. Raises "Network has not been initialized yet", what
    // loading the chosen file raises, "Test <tag> is no test of the loaded network", "Test <tag>
    // comes before <tag> in the loaded network, not after it", "<file> holds no test", CutLine's failures
    // naming the input's line, and the refusals of FileChecks and OutputFile.
    int64_t CutFile(const String& chosenFile, const String& inputFile, const String& outputFile);

    // The figures of the last load or training, and what they leave unknown (absent tags).
    const StatedFigures& GetStatedFigures() const { return m_figures; }

private:
    StatedFigures m_figures;
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_HOSTENGINE_H
