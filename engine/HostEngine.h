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
    const char* GetTypeName() const override { return "HostEngine"; }

    // Loads the description file at `path`, or the description `text`, as InitializeThruFile and
    // InitializeThruParam do, after clearing the caches. Raise as those do.
    void LoadFile(const String& path);
    void LoadText(const String& text);
    // A training run as the exports' Train, after clearing the caches.
    void TrainFresh(const String& networkFile, const String& sampleFile, const String& outputFile);
    // A training run from counts (TrainFromCounts), after clearing the caches.
    void TrainFreshFromCounts(const String& networkFile, const int64_t* counts, const String& outputFile);

    // The figures of the last load or training, and what they leave unknown (absent tags).
    const StatedFigures& GetStatedFigures() const { return m_figures; }

private:
    StatedFigures m_figures;
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_HOSTENGINE_H
