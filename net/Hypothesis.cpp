#include "net/Hypothesis.h"

namespace veltra {

void CheckProbabilityRange(double probability)
{
    if (!(probability >= 0.0 && probability <= 1.0))
        VELTRA_RAISE("Probability must be in range [0,1] but it is: ", probability);
}

void StoreProbability(HashTable<Double>& table, const String& key, double probability)
{
    CheckProbabilityRange(probability);
    // A new key is added as 0.0 and then set: in one step here.
    if (Double* stored = table.Find(key))
        stored->m_value = probability;
    else
        table.Add(key, Double(probability));
}

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
