// CompiledNetwork: the probabilities that inference reads, laid out as arrays.
//
// It mirrors what Product looks up by key text: the prior of every state of the network's
// hypothesis under "H=" + state, and for every test and every result character c the
// probabilities tag + "=" + c + "|H=" + state of all states, as the test's table holds them
// (values the test does not declare included). A character whose probability is missing for
// some state has no row: inference with it must take the keyed way, which reports the missing
// key. The view is rebuilt from the tables after every change of the network; the tables stay
// the source of truth.
#ifndef VELTRA_NET_COMPILEDNETWORK_H
#define VELTRA_NET_COMPILEDNETWORK_H

#include <cstdint>
#include <string>
#include <vector>

namespace veltra {

class BayesTest;
class Hypothesis;

class CompiledNetwork {
public:
    // Rows are reached through pointers into the network's own storage: moved, never copied.
    CompiledNetwork() = default;
    CompiledNetwork(const CompiledNetwork&) = delete;
    CompiledNetwork& operator=(const CompiledNetwork&) = delete;
    CompiledNetwork(CompiledNetwork&&) = default;
    CompiledNetwork& operator=(CompiledNetwork&&) = default;

    // Builds the view of a network: its hypothesis (null: none) and its tests, in test order.
    // Networks that the arrays cannot mirror exactly (no hypothesis, no state, a state without a
    // prior, a state key holding "|", which the network would take for a test's key) leave the
    // view unusable.
    void Build(const Hypothesis* hypothesis, const std::vector<const BayesTest*>& tests);

    bool IsUsable() const { return m_usable; }
    int32_t StateCount() const { return m_states; }
    int32_t TestCount() const { return m_tests; }
    const std::string& StateKey(int32_t state) const { return m_stateKeys[static_cast<size_t>(state)]; }
    // The state's name: its key after "H=".
    std::string StateName(int32_t state) const { return m_stateKeys[static_cast<size_t>(state)].substr(2); }
    uint64_t StateKeyHash(int32_t state) const { return m_stateKeyHashes[static_cast<size_t>(state)]; }
    const std::vector<std::string>& StateKeys() const { return m_stateKeys; }
    const std::vector<uint64_t>& StateKeyHashes() const { return m_stateKeyHashes; }
    double Prior(int32_t state) const { return m_priors[static_cast<size_t>(state)]; }
    // Every state's prior, in state order, padded with 1 to Stride().
    const double* Priors() const { return m_priors.data(); }
    // The probabilities of result character c of test t for every state, in state order, or null.
    // Rows are Stride() wide: the state count rounded up to even, padded with 1.
    const double* Row(int32_t test, unsigned char c) const
    {
        return m_rowOf[static_cast<size_t>(test) * kRowOfStride + c];
    }
    size_t Stride() const { return m_stride; }
    // Power of the key hash over a results text of TestCount() characters.
    uint64_t ResultsPower() const { return m_resultsPower; }

private:
    bool BuildStates(const Hypothesis& hypothesis);
    void BuildRows(const std::vector<const BayesTest*>& tests);

    bool m_usable = false;
    int32_t m_states = 0;
    int32_t m_tests = 0;
    std::vector<std::string> m_stateKeys;
    std::vector<uint64_t> m_stateKeyHashes;
    std::vector<double> m_priors;
    std::vector<double> m_rows;  // row number * stride + state
    // test * kRowOfStride + character: its row or null. The tests' tables lie an odd number of
    // cache lines apart: 2 KiB apart, the same character of every test would fall in the same few
    // sets of the processor's cache.
    static constexpr size_t kRowOfStride = 256 + 8;
    std::vector<const double*> m_rowOf;
    size_t m_stride = 0;
    uint64_t m_resultsPower = 1;
};

}  // namespace veltra

#endif  // VELTRA_NET_COMPILEDNETWORK_H
