#include "net/Hypothesis.h"

namespace veltra {

void Hypothesis::AddState(const String& value)
{
    // The duplicate test comes first on purpose: a second "-" reports the duplicate.
    if (m_states.Contains(value)) VELTRA_RAISE("Cannot add in node duplicate value: ", value);
    if (value == "-") VELTRA_RAISE("Value ", value, " is reserved, cannot add it in hypothesis");
    m_states.Add(value);
}

void Hypothesis::SetProbability(const String& key, double probability)
{
    StoreProbability(m_probabilities, key, probability);
}

double Hypothesis::GetProbability(const String& key) const
{
    if (!m_probabilities.Contains(key)) VELTRA_RAISE("Hypothesis does not contain state: ", key);
    return m_probabilities.Get(key).m_value;
}

void Hypothesis::CheckProbabilities() const
{
    double sum = 0.0;
    for (int32_t i = 0; i < m_states.Size(); ++i) sum += GetProbability(StateKey(m_states[i]));
    if (!SumsToOne(sum)) VELTRA_RAISE("Probabilities for hypothesis sum up to: ", sum);
}

void Hypothesis::GetStateKeys(const Ptr<Vector<String>>& target) const
{
    for (int32_t i = 0; i < m_states.Size(); ++i) target->Add(StateKey(m_states[i]));
}

}  // namespace veltra
