// TestSelection: which tests of a network to keep, chosen by cross-validated accuracy.
//
// Greedy backward elimination starts from every test and drops, step after step, the test whose
// leaving out gives the best accuracy; forward selection starts from no test and adds the test
// whose adding gives the best accuracy. Ties go to the lower log loss (the mean of -ln p of the
// true state: the most probable state when it is expected, else the first expected state; p taken
// as at least 1e-15), then to the earlier test.
//
// Leaving a test out of the product is exactly giving it no result ("-") in every field, and a
// network holding only some of the tests, trained on the samples cut to their columns, has the
// same probabilities for them (counts, the floor and the priors are per test and state). Every
// candidate set is therefore judged with the same fold models of one cross-validation
// (CrossValidation), its left-out tests' results replaced by "-", without counting again.
//
// Candidates are compared in the log domain: per line and state, the logarithm of the prior plus
// those of the kept tests' probabilities, as the fold's model holds them; leaving a test out
// subtracts its term. This ranks the states as the engine's products do, but for products that
// underflow and near ties. The set a step chooses is then judged exactly, through the engine's
// classification: every figure of a step, and every per-test figure, is what cross-validation of
// the network restricted to that set gives, to the bit.
//
// One engine, one thread at a time, as every engine.
#ifndef VELTRA_ENGINE_TESTSELECTION_H
#define VELTRA_ENGINE_TESTSELECTION_H

#include <cstdint>
#include <vector>

#include "engine/CrossValidation.h"

namespace veltra {

struct SelectionOptions {
    CrossValidation::Options folds;
    bool forward = false;
    // The number of tests to stop at. 0: backward elimination goes down to one test, forward
    // selection up to every test, and the best set on the way is kept (the highest accuracy,
    // then the lowest log loss, then the fewest tests).
    int32_t keep = 0;
};

// One step: the test dropped or added (in results order, from 0; -1 for the set the selection
// starts from), the tests then in the set, and that set's cross-validated figures.
struct SelectionStep {
    int32_t test = -1;
    int32_t tests = 0;
    int64_t right = 0;
    int64_t wrong = 0;
    double logLoss = 0.0;
};

// A test's own figures: its mutual information with the state, in bits, over the samples in which
// it was observed (all samples counted, as training counts them); the cross-validated figures of
// every test but this one, and how far the accuracy drops from every test's to theirs (a share).
struct TestScore {
    double mutualInformation = 0.0;
    double accuracyDrop = 0.0;
    int64_t rightWithout = 0;
    int64_t wrongWithout = 0;
    double logLossWithout = 0.0;
};

struct Selection {
    std::vector<SelectionStep> steps;
    int32_t chosen = 0;            // the step whose set is kept
    std::vector<int32_t> kept;     // its tests, in results order
    std::vector<TestScore> tests;  // in results order
};

// Selects tests of the network of `networkFile` by cross-validation on `sampleFile`; `progress`
// (may be null) is told of the run's passes. Afterwards the engine holds the network description
// as loaded from its file, after a failure too when it can. Raises what CrossValidation's Read
// and Run raise, and "Cannot keep <n> tests: the network has <m>".
Selection SelectTests(HostEngine& engine, const String& networkFile, const String& sampleFile,
                      const SelectionOptions& options, RunProgress* progress);

}  // namespace veltra

#endif  // VELTRA_ENGINE_TESTSELECTION_H
