#include "net/ProbabilityTable.h"

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

}  // namespace veltra
