// Where both the fast path and the keyed way drop levels from the confidence cache: everything
// else the two ways must share is compared by the fast path fuzz target, whose corpus replays
// seeded random networks and calls, reloads past the cache limits, keys that split differently
// and fields whose keys hash alike.
#include <string>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

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
