// Hypothesis: the class node of a naive Bayes network. It holds the states (the categories the
// engine answers with), in the order they were added, and the prior probability of each state,
// stored under its state key "H=" + state whatever the node's name.
#ifndef VELTRA_NET_HYPOTHESIS_H
#define VELTRA_NET_HYPOTHESIS_H

#include "net/ProbabilityKey.h"
#include "net/ProbabilityTable.h"
#include "safe/HashTable.h"
#include "safe/SmartString.h"
#include "safe/Vector.h"

namespace veltra {

class Hypothesis : public SmartObject {
public:
    explicit Hypothesis(const String& name) : m_name(name) {}
    const char* GetTypeName() const override { return "Hypothesis"; }

    // Raises "Cannot add in node duplicate value: <v>", then (for "-", which marks a test without
    // a result) "Value - is reserved, cannot add it in hypothesis".
    void AddState(const String& value);
    // Accepts 0 <= p <= 1 under any key, else raises
    // "Probability must be in range [0,1] but it is: <p>"; a later call for a key overwrites.
    void SetProbability(const String& key, double probability);
    // Raises "Hypothesis does not contain state: <key>".
    double GetProbability(const String& key) const;
    bool HasProbability(const String& key) const { return m_probabilities.Contains(key); }
    // The priors must sum to 1 within 0.0001, else raises
    // "Probabilities for hypothesis sum up to: <sum>". A hypothesis without states never passes.
    void CheckProbabilities() const;
    // Appends "H=" + state for every state, in state order.
    void GetStateKeys(const Ptr<Vector<String>>& target) const;

    int32_t GetStateCount() const { return m_states.Size(); }
    const String& GetState(int32_t i) const { return m_states[i]; }
    const String& GetName() const { return m_name; }

private:
    String m_name;
    Vector<String> m_states;
    HashTable<Double> m_probabilities;
};

}  // namespace veltra

#endif  // VELTRA_NET_HYPOTHESIS_H
