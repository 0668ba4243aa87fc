// The rules shared by the probability tables of the hypothesis and of the tests: the range of a
// probability, how one is stored, and when the probabilities of one distribution sum to 1.
#ifndef VELTRA_NET_PROBABILITYTABLE_H
#define VELTRA_NET_PROBABILITYTABLE_H

#include "safe/HashTable.h"
#include "safe/SmartString.h"

namespace veltra {

// Raises "Probability must be in range [0,1] but it is: <p>" for p outside [0, 1] (0 and 1 are in).
void CheckProbabilityRange(double probability);
// Checks the range, then sets the probability under `key`, adding the key when it is new.
void StoreProbability(HashTable<Double>& table, const String& key, double probability);
// The sum of a distribution is 1 within 0.0001, both bounds included: written probabilities carry
// six decimals.
inline bool SumsToOne(double sum)
{
    return sum >= 0.9999 && sum <= 1.0001;
}

}  // namespace veltra

#endif  // VELTRA_NET_PROBABILITYTABLE_H
