// Probability keys: the texts under which the network and training keep their figures.
//
//   state key        "H=" + state                              H=spam
//   conditional key  tag + "=" + value + "|" + state key       T1=y|H=spam
//   observed key     state key + "," + tag + "!=" + "-"         H=spam,T1!=-
//
// A state key holds the prior of a state (whatever the hypothesis node is named), a conditional
// key the probability of a test's value given a state, and training counts samples under all
// three (the observed key counts the samples of a state in which the test had a result). The text
// left of a key's first "=" is its tag; a key holding "|" belongs to a test. Tags never hold "=".
// Readers cut keys with the String operations, which raise "String: <key> does not contain: <sep>"
// when a key lacks the separator.
#ifndef VELTRA_NET_PROBABILITYKEY_H
#define VELTRA_NET_PROBABILITYKEY_H

#include "safe/SmartString.h"

namespace veltra {

inline String StateKey(const String& state)
{
    return "H=" + state;
}
inline String ConditionalKey(const String& tag, const String& value, const String& stateKey)
{
    return tag + "=" + value + "|" + stateKey;
}
inline String ObservedKey(const String& stateKey, const String& tag)
{
    return stateKey + "," + tag + "!=" + "-";
}

inline bool IsConditionalKey(const String& key)
{
    return key.Contains("|");
}
// The tag: the text left of the first "=".
inline String TagOfKey(const String& key)
{
    return key.BeforeFirst("=");
}
// A conditional key's state key: the text after its first "|".
inline String StateKeyOfKey(const String& conditionalKey)
{
    return conditionalKey.AfterFirst("|");
}
// A state key's state: the text after its first "=".
inline String StateOfStateKey(const String& stateKey)
{
    return stateKey.AfterFirst("=");
}
// A conditional key's state as the probability floor groups keys: the text after its first "|H=".
inline String StateOfConditionalKey(const String& conditionalKey)
{
    return conditionalKey.AfterFirst("|H=");
}

}  // namespace veltra

#endif  // VELTRA_NET_PROBABILITYKEY_H
