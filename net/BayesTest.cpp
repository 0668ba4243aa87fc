#include "net/BayesTest.h"

namespace veltra {

BayesTest::BayesTest(const String& tag, const String& description, const Ptr<Hypothesis>& hypothesis)
    : m_tag(tag), m_hypothesis(hypothesis), m_description(description)
{
    if (m_hypothesis.IsNull()) VELTRA_RAISE("BayesTest cannot be initialized with NULL hypothesis");
}

void BayesTest::AddValue(const String& value)
{
    if (m_values.Contains(value)) VELTRA_RAISE("Cannot add in node duplicate value: ", value);
    if (value == "-") VELTRA_RAISE("Value ", value, " is reserved, cannot add it in node: ", m_tag);
    m_values.Add(value);
}

void BayesTest::SetProbability(const String& key, double probability)
{
    StoreProbability(m_probabilities, key, probability);
}

double BayesTest::GetProbability(const String& key) const
{
    // "state" names the key here too, as in the hypothesis' message.
    if (!m_probabilities.Contains(key)) VELTRA_RAISE("Test: ", m_tag, " does not contain state: ", key);
    return m_probabilities.Get(key).m_value;
}

String BayesTest::MakeKey(const String& stateKey, const String& value) const
{
    return ConditionalKey(m_tag, value, stateKey);
}

void BayesTest::GetStateKeys(const Ptr<Vector<String>>& target) const
{
    const Hypothesis& hypothesis = *m_hypothesis;
    for (int32_t v = 0; v < m_values.Size(); ++v)
        for (int32_t s = 0; s < hypothesis.GetStateCount(); ++s)
            target->Add(MakeKey(StateKey(hypothesis.GetState(s)), m_values[v]));
}

void BayesTest::CheckProbabilities() const
{
    AutoPtr<Vector<String>> stateKeys(NewObject<Vector<String>>());
    m_hypothesis->GetStateKeys(stateKeys);
    for (int32_t s = 0; s < stateKeys->Size(); ++s) {
        const String& stateKey = (*stateKeys)[s];
        double sum = 0.0;
        for (int32_t v = 0; v < m_values.Size(); ++v) sum += GetProbability(MakeKey(stateKey, m_values[v]));
        if (!SumsToOne(sum)) VELTRA_RAISE("Probabilities for: ", m_tag, "|", stateKey, " sum up to: ", sum);
    }
}

}  // namespace veltra
