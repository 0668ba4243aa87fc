// Model: a seeded random naive Bayes model of a given size, and the texts the benchmarks feed to
// the engine and to the flat-array reference: network descriptions, results strings, and sample
// or test lines (";TESTS\t<state>\t<results>") drawn from the model.
//
// States are named A, B, ..., values a, b, ..., tests T0, T1, ... (a tag must not begin with P, H
// or #). About 5 % of results are "-". A few values are rare (probability 1e-6 in one state), so
// that training meets zero counts, their warnings and the probability floor, as real data does.
#ifndef VELTRA_BENCH_MODEL_H
#define VELTRA_BENCH_MODEL_H

#include <cstdint>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

namespace bench {

struct Size {
    const char* name;
    int states;
    int tests;
    int values;
};

class Model {
public:
    Model(const Size& size, uint32_t seed);

    // The hypothesis and test lines; with `probabilities`, the priors and the conditional
    // probabilities too ("%f", as trained files write them).
    std::string Description(bool probabilities) const;
    // One results string of a state drawn from the priors; the state goes to *state.
    std::string Draw(std::mt19937& random, char* state) const;
    // `count` distinct results strings, none of them in `seen`, which receives them.
    std::vector<std::string> DistinctResults(uint32_t seed, size_t count,
                                             std::unordered_set<std::string>& seen) const;
    // `count` lines ";TESTS\t<state>\t<results>\n".
    std::string TestLines(uint32_t seed, int count) const;

    const Size& GetSize() const { return m_size; }

private:
    double Conditional(int test, int value, int state) const;
    int Pick(std::mt19937& random, const double* weights, int n, int stride) const;

    Size m_size;
    std::vector<double> m_prior;        // [state]
    std::vector<double> m_conditional;  // [(test * values + value) * states + state]
};

}  // namespace bench

#endif  // VELTRA_BENCH_MODEL_H
