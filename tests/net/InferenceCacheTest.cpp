#include <functional>
#include <string>
#include <vector>

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

// Entries held by state answer as the entries Add would have stored: found by results text, run
// by run, counted, cleared, and joining the table (under their state keys) when the table itself
// is asked or another network's keys are given.
TEST(InferenceCache, HeldEntriesAreTheEntriesAddWouldStore)
{
    const std::vector<std::string> keys = {"H=a", "H=bc"}, others = {"H=ab", "H=x"};
    const auto hashes = [](const std::vector<std::string>& k) {
        std::vector<uint64_t> h;
        for (const std::string& key : k) h.push_back(InferenceCache::Hash(key.data(), key.size()));
        return h;
    };
    const auto held = [](InferenceCache& cache, const std::string& results) {
        char found[2] = {0, 0};
        double values[2] = {0, 0};
        const int32_t count =
            cache.FindHeld(results.data(), results.size(),
                           InferenceCache::Hash(results.data(), results.size()), found, values);
        return std::to_string(count) + (found[0] ? " a" + std::to_string(values[0]) : "") +
               (found[1] ? " bc" + std::to_string(values[1]) : "");
    };
    const auto add = [](InferenceCache& cache, int32_t state, const std::string& results, double value) {
        cache.AddHeld(&state, &value, 1, results.data(), results.size(),
                      InferenceCache::Hash(results.data(), results.size()));
    };
    const struct {
        const char* what;
        std::function<int32_t(InferenceCache&)> ask;  // what joins the held entries to the table
    } rows[] = {
        {"a Find", [](InferenceCache& c) { return c.Find(InferenceCache::MakeKey("H=bc", "yz")); }},
        {"an Add", [](InferenceCache& c) { return c.Add(InferenceCache::MakeKey("H=q", "yz"), 9), 0; }},
        {"other keys",
         [&](InferenceCache& c) { return c.HoldFor(others, hashes(others), InferenceCache::Power(2)), 0; }},
    };
    for (const auto& row : rows) {
        InferenceCache cache;
        cache.HoldFor(keys, hashes(keys), InferenceCache::Power(2));
        add(cache, 1, "yz", 1.0);
        add(cache, 0, "yz", 2.0);
        add(cache, 1, "zz", 3.0);
        add(cache, 0, "zz", 4.0);  // "zz" again after another text: a second run of it
        EXPECT_EQ(cache.Size(), 4) << row.what;
        EXPECT_EQ(cache.TableSize(), 0) << row.what;
        EXPECT_EQ(held(cache, "yz"), "2 a2.000000 bc1.000000") << row.what;
        EXPECT_EQ(held(cache, "zz"), "2 a4.000000 bc3.000000") << row.what;
        EXPECT_EQ(held(cache, "zy"), "0") << row.what;
        row.ask(cache);
        EXPECT_EQ(cache.HeldCount(), 0) << row.what;
        EXPECT_EQ(cache.Value(cache.FindInTable(InferenceCache::MakeKey("H=bc", "zz"))), 3.0) << row.what;
        // In the table an entry is its text: "H=" + "ayz" is "H=a" + "yz"; "H=ab" + "cyz" is none.
        EXPECT_EQ(cache.Value(cache.Find(InferenceCache::MakeKey("H=", "ayz"))), 2.0) << row.what;
        EXPECT_EQ(cache.Find(InferenceCache::MakeKey("H=ab", "cyz")), -1) << row.what;
    }
    InferenceCache cache;
    cache.HoldFor(keys, hashes(keys), InferenceCache::Power(2));
    add(cache, 0, "yz", 1.0);
    cache.Clear();
    EXPECT_EQ(cache.Size(), 0);
    EXPECT_EQ(held(cache, "yz"), "0");
}

// The results filter never misses a results text that some entry ends with after a state key of
// the network, whenever the entry was added and however its key was split; it is emptied with the
// cache.
TEST(InferenceCache, TheResultsFilterMissesNoHeldText)
{
    const auto may = [](const InferenceCache& cache, const std::string& results) {
        return cache.MayHoldResults(InferenceCache::Hash(results.data(), results.size()));
    };
    InferenceCache cache;
    cache.Add(InferenceCache::MakeKey("H=ab", "c"), 1.0);  // the text "H=abc", added before
    cache.FilterResultsFor({"H=a", "H=bcd"}, 2);
    cache.Add(InferenceCache::MakeKey("H=bcd", "xy"), 2.0);
    cache.Add(InferenceCache::MakeKey("H=q", "zz"), 3.0);  // a state key of another network's
    EXPECT_TRUE(may(cache, "bc"));                         // "H=a" + "bc"
    EXPECT_TRUE(may(cache, "xy"));
    EXPECT_TRUE(may(cache, "zz"));  // "H=q" + "zz" has the length of "H=a" + a results text
    EXPECT_FALSE(may(cache, "yx"));
    cache.Clear();
    EXPECT_FALSE(may(cache, "xy"));
}

}  // namespace veltra::test
