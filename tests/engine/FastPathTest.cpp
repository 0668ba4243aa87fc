// The fast paths against the keyed way: two engines, one with its fast paths switched off, take
// the same seeded random calls on random networks, and must answer every call alike: each value
// to the bit, each message, each byte written to a file or a standard stream. Calls with verbose
// output take the keyed way in both engines, and what they print shows what the caches hold.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

class Random {
public:
    explicit Random(uint32_t seed) : m_engine(seed) {}
    int Below(int n) { return static_cast<int>(m_engine() % static_cast<uint32_t>(n)); }
    bool Chance(int percent) { return Below(100) < percent; }
    template <class T>
    const T& Pick(const std::vector<T>& items)
    {
        return items[static_cast<size_t>(Below(static_cast<int>(items.size())))];
    }

private:
    std::mt19937 m_engine;
};

// A network's shape: states, and the values of every test. Names are mostly single characters;
// now and then a longer state name, whose cache keys can meet those of other shapes.
struct Shape {
    std::vector<std::string> states;
    std::vector<std::string> values;  // per test, its values as one string of characters
};

Shape RandomShape(Random& random)
{
    Shape shape;
    const std::string names = "ABCDEFG";
    int states = 1 + random.Below(5);
    for (int s = 0; s < states; ++s) shape.states.push_back(std::string(1, names[static_cast<size_t>(s)]));
    if (random.Chance(10)) shape.states.push_back("AB");
    int tests = random.Below(7);
    for (int t = 0; t < tests; ++t)
        shape.values.push_back(std::string("abcd").substr(0, 1 + random.Below(4)));
    return shape;
}

// A description of the shape. Probabilities are drawn afresh each time, so that two descriptions
// of one shape differ in their values only; some are 0 or -0. Now and then the description has no
// probability lines, probabilities for values the test does not declare, or a test missing the
// probabilities of one state (it loads, then fails its check, keeping what it read).
std::string Describe(const Shape& shape, Random& random)
{
    std::ostringstream text;
    text.precision(17);
    text << "# random\nH = Kind \"";
    for (size_t s = 0; s < shape.states.size(); ++s) text << (s ? "," : "") << shape.states[s];
    text << "\"\n";
    for (size_t t = 0; t < shape.values.size(); ++t) {
        text << "T" << t << " = test " << t << " \"";
        for (size_t v = 0; v < shape.values[t].size(); ++v) text << (v ? "," : "") << shape.values[t][v];
        text << "\"\n";
    }
    if (random.Chance(15)) return text.str();
    auto distribution = [&](size_t count) {
        std::vector<double> weights(count);
        double sum = 0;
        for (double& w : weights) sum += (w = random.Chance(15) ? 0.0 : 1 + random.Below(50));
        if (sum == 0) weights[0] = sum = 1;
        for (double& w : weights) w /= sum;
        return weights;
    };
    std::vector<double> priors = distribution(shape.states.size());
    for (size_t s = 0; s < shape.states.size(); ++s)
        text << "P(H=" << shape.states[s] << ") = " << priors[s] << "\n";
    const bool gap = random.Chance(10);
    for (size_t t = 0; t < shape.values.size(); ++t) {
        for (size_t s = 0; s < shape.states.size(); ++s) {
            if (gap && t == 0 && s == 0) continue;
            std::vector<double> p = distribution(shape.values[t].size());
            for (size_t v = 0; v < p.size(); ++v)
                text << "P(T" << t << "=" << shape.values[t][v] << "|H=" << shape.states[s]
                     << ") = " << (p[v] == 0 && random.Chance(30) ? "-0" : std::to_string(p[v])) << "\n";
            if (random.Chance(5)) text << "P(T" << t << "=z|H=" << shape.states[s] << ") = 0.5\n";
        }
    }
    return text.str();
}

// Test results for the shape: mostly one declared value or "-" per test, with full stops here and
// there; now and then an undeclared character or a wrong length.
std::string RandomResults(const Shape& shape, Random& random)
{
    std::string results;
    for (const std::string& values : shape.values) {
        if (random.Chance(3)) results += '.';
        results += random.Chance(15)
                       ? '-'
                       : values[static_cast<size_t>(random.Below(static_cast<int>(values.size())))];
    }
    if (random.Chance(3) && !results.empty())
        results[static_cast<size_t>(random.Below(static_cast<int>(results.size())))] = 'z';
    if (random.Chance(2)) results += 'a';
    if (random.Chance(2) && !results.empty()) results.pop_back();
    return results;
}

// Two engines, the keyed way and the fast way, and the comparison of everything they do.
class Twins {
public:
    Twins() { m_keyed.SetFastPath(false); }

    // Runs `call` on both engines; `call` returns what the engine answered as text.
    template <class Call>
    void Do(const std::string& what, Call call)
    {
        std::string keyedAnswer, fastAnswer;
        Outcome keyed = test::Run([&] { keyedAnswer = call(m_keyed); });
        Outcome fast = test::Run([&] { fastAnswer = call(m_fast); });
        ++m_calls;
        if (keyedAnswer == fastAnswer && keyed.raised == fast.raised && keyed.message == fast.message &&
            keyed.err == fast.err && keyed.out == fast.out)
            return;
        ADD_FAILURE() << what << "\n  keyed: " << keyedAnswer << " raised " << keyed.raised << " ["
                      << keyed.message << "] err [" << keyed.err << "] out [" << keyed.out
                      << "]\n  fast:  " << fastAnswer << " raised " << fast.raised << " [" << fast.message
                      << "] err [" << fast.err << "] out [" << fast.out << "]";
    }

    int Calls() const { return m_calls; }

private:
    FieldClassifier m_keyed;
    FieldClassifier m_fast;
    int m_calls = 0;
};

std::string AnalyzeInto(FieldClassifier& engine, const std::string& results, int32_t capacity)
{
    char states[16];
    double levels[16];
    std::memset(states, '?', sizeof states);
    for (double& level : levels) level = -1;
    int32_t count = capacity;
    std::string answer = std::to_string(engine.AnalyzeInto(results.c_str(), states, levels, &count)) +
                         " count " + std::to_string(count);
    for (int i = 0; i < 16; ++i) answer += std::string(" ") + states[i] + Bits(levels[i]);
    return answer;
}

std::string AnalyzeTable(FieldClassifier& engine, const std::string& results, bool verbose)
{
    AutoPtr<DubiousDataList> table(engine.Analyze(results, verbose));
    std::string answer;
    Ptr<Vector<String>> keys = table->GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i)
        answer += (*keys)[i].str() + "=" + Bits(table->Get((*keys)[i])->m_figure) + " ";
    return answer;
}

TEST(FastPath, ClassifiesAsTheKeyedWayThroughCachesAndReloads)
{
    for (uint32_t seed = 1; seed <= 24; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        Twins twins;
        Shape shape = RandomShape(random);
        std::vector<std::string> pool;
        auto reload = [&](bool newShape) {
            if (newShape) shape = RandomShape(random);
            const std::string text = Describe(shape, random);
            twins.Do("load " + text,
                     [&](FieldClassifier& e) { return e.GetNetwork().Load(text), std::string(); });
            pool.clear();
            for (int i = 0; i < 120 + random.Below(300); ++i) pool.push_back(RandomResults(shape, random));
        };
        reload(false);
        for (int call = 0; call < 1500; ++call) {
            const std::string& results = random.Pick(pool);
            const int kind = random.Below(100);
            if (kind < 55) {
                const int32_t states = static_cast<int32_t>(shape.states.size());
                const int32_t capacity = random.Chance(80) ? 16 : states - random.Below(2);
                twins.Do("AnalyzeInto " + results,
                         [&](FieldClassifier& e) { return AnalyzeInto(e, results, capacity); });
            } else if (kind < 70) {
                const bool verbose = random.Chance(30);
                twins.Do("Analyze " + results,
                         [&](FieldClassifier& e) { return AnalyzeTable(e, results, verbose); });
            } else if (kind < 85) {
                const std::string state = random.Chance(90)   ? "H=" + random.Pick(shape.states)
                                          : random.Chance(50) ? "H=Q"
                                                              : "A";
                const bool verbose = random.Chance(20);
                twins.Do("GetConfLevel " + state + " " + results, [&](FieldClassifier& e) {
                    return Bits(e.GetNetwork().GetConfLevel(state, results, verbose));
                });
            } else if (kind < 92) {
                const std::string state = "H=" + random.Pick(shape.states);
                twins.Do("Product " + state + " " + results, [&](FieldClassifier& e) {
                    return Bits(e.GetNetwork().Product(state, results, true));
                });
            } else if (kind < 97) {
                const std::string key =
                    random.Chance(50) || shape.values.empty()
                        ? "H=" + random.Pick(shape.states)
                        : "T0=" + shape.values[0].substr(0, 1) + "|H=" + random.Pick(shape.states);
                const double value = random.Chance(90) ? random.Below(1001) / 1000.0 : 1.5;
                twins.Do("SetProbability " + key, [&](FieldClassifier& e) {
                    return e.GetNetwork().SetProbability(key, value), std::string();
                });
            } else {
                // A new description of the same shape leaves stale levels and products in the caches.
                reload(random.Chance(40));
            }
        }
    }
}

// A test line for the shape: mostly well formed, now and then one that the reader refuses or that
// inference cannot classify, which ends a batch evaluation or a training run.
std::string RandomTestLine(const Shape& shape, Random& random, int failurePercent)
{
    std::string expected;
    for (int i = 0, n = 1 + random.Below(2); i < n; ++i) expected += random.Pick(shape.states)[0];
    std::string results = RandomResults(shape, random);
    if (!random.Chance(failurePercent)) {
        results.erase(std::remove(results.begin(), results.end(), 'z'), results.end());
        std::string cleaned = results;
        cleaned.erase(std::remove(cleaned.begin(), cleaned.end(), '.'), cleaned.end());
        while (cleaned.size() < shape.values.size()) cleaned += '-', results += '-';
        while (cleaned.size() > shape.values.size()) cleaned.pop_back(), results = cleaned;
    } else if (random.Chance(30)) {
        return random.Chance(50) ? ";TESTS\t" + expected : ";TESTS\t" + expected + "\t" + results + "\textra";
    } else if (random.Chance(30)) {
        expected = "Q";
    }
    const char* lead = random.Chance(10) ? " \t" : "";
    const char* tail = random.Chance(10) ? "\t" : random.Chance(1) ? " \r" : "";
    return lead + std::string(";TESTS\t") + (random.Chance(5) ? "\t" : "") + expected + "\t" + results + tail;
}

std::string RandomLines(const Shape& shape, Random& random, int failurePercent)
{
    std::string text;
    for (int i = 0, n = random.Below(60); i < n; ++i) {
        const int kind = random.Below(100);
        text += kind < 80   ? RandomTestLine(shape, random, failurePercent)
                : kind < 88 ? "# a comment"
                : kind < 94 ? (random.Chance(50) ? "" : "  \t ")
                            : "not a test line";
        text += '\n';
    }
    if (random.Chance(20)) text.pop_back();
    return text;
}

// A file of the engine's own: the twins never write to one file.
std::string OwnFile(const TempDir& dir, const FieldClassifier& engine, const char* name)
{
    return dir.File(name + std::to_string(reinterpret_cast<uintptr_t>(&engine)));
}

TEST(FastPath, EvaluatesFilesAsTheKeyedWay)
{
    TempDir dir;
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Shape shape = RandomShape(random);
        const std::string description = Describe(shape, random);
        Twins twins;
        twins.Do("load", [&](FieldClassifier& e) { return e.GetNetwork().Load(description), std::string(); });
        for (int run = 0; run < 4; ++run) {
            const std::string input = dir.Write("input", RandomLines(shape, random, 1));
            twins.Do("AnalyzeFile " + ReadFile(input), [&](FieldClassifier& e) {
                const std::string output = OwnFile(dir, e, "output");
                std::remove(output.c_str());
                try {
                    e.AnalyzeFile(input, output);
                } catch (...) {
                    return "raised; wrote " + ReadFile(output);
                }
                return ReadFile(output);
            });
            const std::string results = RandomResults(shape, random);
            twins.Do("then " + results, [&](FieldClassifier& e) { return AnalyzeTable(e, results, true); });
        }
    }
}

// The trained file with its date line masked, the count table and the sample count.
std::string TrainingOutcome(const BayesianEngine& engine, const std::string& output)
{
    std::string text = ReadFile(output);
    const size_t date = text.find("# Date of training: ");
    if (date != std::string::npos) text.replace(date + 20, 24, 24, '#');
    Ptr<Vector<String>> keys = engine.GetCountTable().GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i)
        text +=
            "\n" + (*keys)[i].str() + ":" + std::to_string(engine.GetCountTable().Get((*keys)[i]).m_value);
    return text + "\ntotal " + std::to_string(engine.GetTotalSampleCount());
}

TEST(FastPath, TrainsAsTheKeyedWay)
{
    TempDir dir;
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const Shape shape = RandomShape(random);
        const std::string network = dir.Write("network", Describe(shape, random));
        Twins twins;
        for (int run = 0; run < 3; ++run) {
            const bool counts = random.Chance(10);
            std::string lines = RandomLines(shape, random, 2);
            if (counts)
                lines =
                    "C(H=A) = 3\nC(H=A,T0!=-) = 2\n" + std::string(random.Chance(50) ? "C(H=A) = x\n" : "");
            const std::string samples = dir.Write("samples", lines);
            twins.Do("Train on " + lines, [&](FieldClassifier& e) {
                const std::string output = OwnFile(dir, e, "trained");
                std::remove(output.c_str());
                std::string raised;
                try {
                    e.Train(network, samples, output, counts);
                } catch (...) {
                    raised = "raised\n";
                }
                return raised + TrainingOutcome(e, output);
            });
            for (int i = 0; i < 5; ++i) {
                const std::string results = RandomResults(shape, random);
                twins.Do("then " + results, [&](FieldClassifier& e) { return AnalyzeInto(e, results, 16); });
            }
        }
    }
}

// Up to the confidence cache's last entry and past it, then a reload: the fields whose levels were
// kept answer with the old network's levels, the others with the new one's, in both engines.
TEST(FastPath, StaleLevelsComeBackExactlyUpToTheCacheLimit)
{
    const auto describe = [](double a) {
        std::ostringstream text;
        text << "H = K \"A,B\"\nP(H=A) = 0.5\nP(H=B) = 0.5\n";
        for (int t = 0; t < 5; ++t) {
            text << "T" << t << " = t \"a,b,c,d\"\n";
            for (char v : std::string("abcd")) {
                text << "P(T" << t << "=" << v << "|H=A) = " << (v == 'a' ? a : (1 - a) / 3) << "\n";
                text << "P(T" << t << "=" << v << "|H=B) = 0.25\n";
            }
        }
        return text.str();
    };
    std::vector<std::string> fields;  // 600 distinct fields: two levels each, more than the cache keeps
    for (int i = 0; i < 600; ++i) {
        std::string results;
        for (int t = 0, rest = i; t < 5; ++t, rest /= 4) results += "abcd"[rest % 4];
        fields.push_back(results);
    }
    Twins twins;
    const std::string before = describe(0.4), after = describe(0.7);
    twins.Do("load", [&](FieldClassifier& e) { return e.GetNetwork().Load(before), std::string(); });
    for (const std::string& results : fields)
        twins.Do(results, [&](FieldClassifier& e) { return AnalyzeTable(e, results, false); });
    twins.Do("reload", [&](FieldClassifier& e) { return e.GetNetwork().Load(after), std::string(); });
    std::string answers[2];
    for (const std::string& results : fields) {
        twins.Do(results, [&](FieldClassifier& e) { return AnalyzeTable(e, results, false); });
        twins.Do(results,
                 [&](FieldClassifier& e) { return Bits(e.GetNetwork().Product("H=B", results, true)); });
    }
    // Field 498 is where the cache fills: its level for A is kept (stale now), for B not.
    FieldClassifier fresh;
    fresh.GetNetwork().Load(after);
    FieldClassifier engine;
    engine.GetNetwork().Load(before);
    for (const std::string& results : fields) AutoPtr<DubiousDataList>(engine.Analyze(results, false));
    engine.GetNetwork().Load(after);
    const std::string edge = fields[498];
    EXPECT_NE(engine.GetNetwork().GetConfLevel("H=A", edge, false),
              fresh.GetNetwork().GetConfLevel("H=A", edge, false));
    EXPECT_EQ(engine.GetNetwork().GetConfLevel("H=B", edge, false),
              fresh.GetNetwork().GetConfLevel("H=B", edge, false));
}

// Thue-Morse texts of 1024 characters and their complements share the hash of every odd base
// modulo 2^64: two fields of a 1024-test network whose cache keys hash alike.
std::pair<std::string, std::string> CollidingResults()
{
    std::string first, second;
    for (int i = 0; i < 1024; ++i) {
        const bool odd = __builtin_popcount(static_cast<unsigned>(i)) & 1;
        first += odd ? 'b' : 'a';
        second += odd ? 'a' : 'b';
    }
    return {first, second};
}

TEST(FastPath, FieldsWhoseKeysHashAlikeStayApart)
{
    std::string text = "H = K \"A,B\"\nP(H=A) = 0.5\nP(H=B) = 0.5\n";
    for (int t = 0; t < 1024; ++t) {
        const std::string tag = "T" + std::to_string(t);
        text += tag + " = t \"a,b\"\nP(" + tag + "=a|H=A) = " + (t % 3 ? "0.6" : "0.5") + "\nP(" + tag +
                "=b|H=A) = " + (t % 3 ? "0.4" : "0.5") + "\nP(" + tag + "=a|H=B) = 0.5\nP(" + tag +
                "=b|H=B) = 0.5\n";
    }
    const auto [first, second] = CollidingResults();
    Twins twins;
    twins.Do("load", [&](FieldClassifier& e) { return e.GetNetwork().Load(text), std::string(); });
    for (const std::string* results : {&first, &first, &second, &second, &first})
        twins.Do("field", [&](FieldClassifier& e) { return AnalyzeTable(e, *results, false); });
}

// Cache keys are joined texts: after a reload with one test more, state AB with results "ab" and
// state A with results "Bab" are one key. Both ways must find the stale level and product.
TEST(FastPath, KeysThatSplitDifferentlyAreOneKey)
{
    const std::string two =
        "H = K \"A,AB\"\nT0 = t \"a,b\"\nT1 = t \"a,b\"\nP(H=A) = 0.5\nP(H=AB) = 0.5\n"
        "P(T0=a|H=A) = 0.1\nP(T0=b|H=A) = 0.9\nP(T1=a|H=A) = 0.2\nP(T1=b|H=A) = 0.8\n"
        "P(T0=a|H=AB) = 0.3\nP(T0=b|H=AB) = 0.7\nP(T1=a|H=AB) = 0.4\nP(T1=b|H=AB) = 0.6\n";
    const std::string three =
        "H = K \"A,AB\"\nT0 = t \"B,a\"\nT1 = t \"a,b\"\nT2 = t \"a,b\"\nP(H=A) = 0.5\n"
        "P(H=AB) = 0.5\nP(T0=B|H=A) = 1\nP(T0=a|H=A) = 0\nP(T1=a|H=A) = 0.5\n"
        "P(T1=b|H=A) = 0.5\nP(T2=a|H=A) = 0.5\nP(T2=b|H=A) = 0.5\nP(T0=B|H=AB) = 1\n"
        "P(T0=a|H=AB) = 0\nP(T1=a|H=AB) = 0.5\nP(T1=b|H=AB) = 0.5\nP(T2=a|H=AB) = 0.5\n"
        "P(T2=b|H=AB) = 0.5\n";
    Twins twins;
    twins.Do("load two", [&](FieldClassifier& e) { return e.GetNetwork().Load(two), std::string(); });
    twins.Do("ab", [&](FieldClassifier& e) { return AnalyzeTable(e, "ab", false); });
    twins.Do("load three", [&](FieldClassifier& e) { return e.GetNetwork().Load(three), std::string(); });
    for (const char* results : {"Bab", "aab", "Bab"}) {
        twins.Do(results, [&](FieldClassifier& e) { return AnalyzeTable(e, results, false); });
        twins.Do(results,
                 [&](FieldClassifier& e) { return Bits(e.GetNetwork().Product("H=A", results, true)); });
    }
}

}  // namespace
}  // namespace veltra::test
