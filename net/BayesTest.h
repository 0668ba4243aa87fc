// BayesTest: a test (evidence) node of the network. It is identified by its tag, has result values
// in the order they were added, and a conditional probability for every (value, state) pair,
// stored under the conditional key tag + "=" + value + "|" + "H=" + state.
#ifndef VELTRA_NET_BAYESTEST_H
#define VELTRA_NET_BAYESTEST_H

#include "net/Hypothesis.h"

namespace veltra {

class BayesTest : public SmartObject {
public:
    // Raises "BayesTest cannot be initialized with NULL hypothesis" for a null hypothesis.
    BayesTest(const String& tag, const String& description, const Ptr<Hypothesis>& hypothesis);
    const char* GetTypeName() const override { return "BayesTest"; }

    // Every value, given each state, must have a probability, and they must sum to 1 within
    // 0.0001; raises "Probabilities for: <tag>|<state key> sum up to: <sum>" for the first state
    // that does not. Passes vacuously for a hypothesis without states.
    virtual void CheckProbabilities() const;
    // tag + "=" + value + "|" + state key.
    virtual String MakeKey(const String& stateKey, const String& value) const;

    // Raises "Cannot add in node duplicate value: <v>", then for "-"
    // "Value - is reserved, cannot add it in node: <tag>".
    void AddValue(const String& value);
    void SetProbability(const String& key, double probability);
    // Raises "Test: <tag> does not contain state: <key>".
    double GetProbability(const String& key) const;
    // Every conditional key: values in value order, states in state order within each value.
    void GetStateKeys(const Ptr<Vector<String>>& target) const;

    int32_t GetValueCount() const { return m_values.Size(); }
    const String& GetValue(int32_t i) const { return m_values[i]; }
    const String& GetTag() const { return m_tag; }
    const String& GetDescription() const { return m_description; }
    const Hypothesis& GetHypothesis() const { return *m_hypothesis; }
    // Every probability set, under its key, in the order the keys were first set.
    const HashTable<Double>& GetProbabilities() const { return m_probabilities; }

private:
    String m_tag;
    Vector<String> m_values;
    Ptr<Hypothesis> m_hypothesis;
    String m_description;
    HashTable<Double> m_probabilities;
};

}  // namespace veltra

#endif  // VELTRA_NET_BAYESTEST_H
