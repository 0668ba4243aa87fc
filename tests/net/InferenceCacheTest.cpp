#include "net/InferenceCache.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// A key is its joined text: the same text split elsewhere is the same entry, and texts whose
// hashes are equal (a Thue-Morse text and its complement) are different entries.
TEST(InferenceCache, AnEntryIsItsJoinedText)
{
    std::string thueMorse, complement;
    for (int i = 0; i < 1024; ++i) thueMorse += "ab"[__builtin_popcount(static_cast<unsigned>(i)) & 1];
    for (const char c : thueMorse) complement += c == 'a' ? 'b' : 'a';
    const auto key = &InferenceCache::MakeKey;
    ASSERT_EQ(key("H=", thueMorse).hash, key("H=", complement).hash);
    InferenceCache cache;
    cache.Add(key("H=AB", "cd"), 1.5);
    cache.Add(key("H=", thueMorse), 2.5);
    EXPECT_EQ(cache.Value(cache.Find(key("H=A", "Bcd"))), 1.5);
    EXPECT_EQ(cache.Find(key("H=", complement)), -1);
    cache.Add(key("H=", complement), 3.5);
    EXPECT_EQ(cache.Value(cache.Find(key("H=", thueMorse))), 2.5);
    EXPECT_EQ(cache.Value(cache.Find(key("H=", complement))), 3.5);
}

}  // namespace veltra::test
