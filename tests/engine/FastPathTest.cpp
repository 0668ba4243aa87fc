// The fast paths against the keyed way on two fields whose cache keys hash alike, and where both
// ways drop levels from the confidence cache. Everything else the two ways must share is compared
// by the fast path fuzz target, whose corpus replays seeded random networks and calls, reloads
// past the cache limits and keys that split differently.
#include <string>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// The table of levels of one field, each to the bit, and what the call raised and printed.
std::string Classified(FieldClassifier& engine, const std::string& results)
{
    std::string answer;
    const Outcome outcome = Run([&] {
        AutoPtr<DubiousDataList> table(engine.Analyze(results, false));
        Ptr<Vector<String>> keys = table->GetKeys();
        for (int32_t i = 0; i < keys->Size(); ++i)
            answer += (*keys)[i].str() + "=" + Bits(table->Get((*keys)[i])->m_figure) + " ";
    });
    return answer + outcome.message + outcome.err + outcome.out;
}

// Thue-Morse texts of 1024 characters and their complements share the hash of every odd base
// modulo 2^64: two fields of a 1024-test network whose cache keys hash alike.
TEST(FastPath, FieldsWhoseKeysHashAlikeStayApart)
{
    std::string text = "H = K \"A,B\"\nP(H=A) = 0.5\nP(H=B) = 0.5\n";
    std::string first, second;
    for (int t = 0; t < 1024; ++t) {
        const std::string tag = "T" + std::to_string(t);
        text += tag + " = t \"a,b\"\nP(" + tag + "=a|H=A) = " + (t % 3 ? "0.6" : "0.5") + "\nP(" + tag +
                "=b|H=A) = " + (t % 3 ? "0.4" : "0.5") + "\nP(" + tag + "=a|H=B) = 0.5\nP(" + tag +
                "=b|H=B) = 0.5\n";
        const bool odd = __builtin_popcount(static_cast<unsigned>(t)) & 1;
        first += odd ? 'b' : 'a';
        second += odd ? 'a' : 'b';
    }
    FieldClassifier keyed, fast;
    keyed.SetFastPath(false);
    keyed.GetNetwork().Load(text);
    fast.GetNetwork().Load(text);
    for (const std::string* results : {&first, &first, &second, &second, &first})
        EXPECT_EQ(Classified(keyed, *results), Classified(fast, *results));
}

// Two states, five tests of four values: 600 fields, two levels each, more than the confidence
// cache keeps. After a reload, the fields whose levels were kept answer with the old network's.
TEST(FastPath, TheConfidenceCacheKeepsItsFirst997Levels)
{
    const auto describe = [](const char* a, const char* rest) {
        std::string text = "H = K \"A,B\"\nP(H=A) = 0.5\nP(H=B) = 0.5\n";
        for (const std::string t : {"T0", "T1", "T2", "T3", "T4"}) {
            text += t + " = t \"a,b,c,d\"\n";
            for (const std::string v : {"a", "b", "c", "d"})
                text += "P(" + t + "=" + v + "|H=A) = " + (v == "a" ? a : rest) + "\nP(" + t + "=" + v +
                        "|H=B) = 0.25\n";
        }
        return text;
    };
    for (const bool fastPath : {false, true}) {
        FieldClassifier engine, fresh;
        engine.SetFastPath(fastPath);
        engine.GetNetwork().Load(describe("0.4", "0.2"));
        fresh.GetNetwork().Load(describe("0.7", "0.1"));
        std::string edge;
        for (int i = 0; i < 600; ++i) {
            std::string results;
            for (int t = 0, rest = i; t < 5; ++t, rest /= 4) results += "abcd"[rest % 4];
            AutoPtr<DubiousDataList>(engine.Analyze(results, false));
            if (i == 498) edge = results;  // where the cache fills: A's level is kept, B's not
        }
        engine.GetNetwork().Load(describe("0.7", "0.1"));
        EXPECT_NE(engine.GetNetwork().GetConfLevel("H=A", edge, false),
                  fresh.GetNetwork().GetConfLevel("H=A", edge, false));
        EXPECT_EQ(engine.GetNetwork().GetConfLevel("H=B", edge, false),
                  fresh.GetNetwork().GetConfLevel("H=B", edge, false));
    }
}

}  // namespace
}  // namespace veltra::test
