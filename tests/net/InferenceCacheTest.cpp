#include <string>

#include "net/InferenceCache.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

InferenceCache::Key Key(const std::string& stateKey, const std::string& results)
{
    return InferenceCache::MakeKey(stateKey, results);
}

// A key is its joined text: the same text split elsewhere is the same entry, and texts whose
// hashes are equal (a Thue-Morse text and its complement) are different entries.
TEST(InferenceCache, AnEntryIsItsJoinedText)
{
    std::string thueMorse, complement;
    for (int i = 0; i < 1024; ++i) {
        const bool odd = __builtin_popcount(static_cast<unsigned>(i)) & 1;
        thueMorse += odd ? 'b' : 'a';
        complement += odd ? 'a' : 'b';
    }
    ASSERT_EQ(Key("H=", thueMorse).hash, Key("H=", complement).hash);
    InferenceCache cache;
    cache.Add(Key("H=AB", "cd"), 1.5);
    cache.Add(Key("H=", thueMorse), 2.5);
    EXPECT_EQ(cache.Value(cache.Find(Key("H=A", "Bcd"))), 1.5);
    EXPECT_EQ(cache.Find(Key("H=", complement)), -1);
    cache.Add(Key("H=", complement), 3.5);
    EXPECT_EQ(cache.Value(cache.Find(Key("H=", thueMorse))), 2.5);
    EXPECT_EQ(cache.Value(cache.Find(Key("H=", complement))), 3.5);
    EXPECT_EQ(cache.Size(), 3);
    cache.Clear();
    EXPECT_EQ(cache.Size(), 0);
    EXPECT_EQ(cache.Find(Key("H=AB", "cd")), -1);
}

}  // namespace
}  // namespace veltra::test
