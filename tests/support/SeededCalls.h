// Seeded random networks and calls, as the pieces of FastPathFuzzer's input (see its header
// comment): descriptions, probability changes, sample and batch lines, and fields. The engine's
// comparative test runs them on a fast and a keyed engine; FastPathSeeds writes them as the fuzz
// target's seeded inputs. A seed gives the same pieces with every compiler: std::mt19937 and plain
// modulo, no library distributions. Header only, without a test framework.
#ifndef VELTRA_TESTS_SUPPORT_SEEDEDCALLS_H
#define VELTRA_TESTS_SUPPORT_SEEDEDCALLS_H

#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace veltra::test {

class Random {
public:
    explicit Random(uint32_t seed) : m_engine(seed) {}
    int Below(size_t n) { return static_cast<int>(m_engine() % static_cast<uint32_t>(n)); }
    bool Chance(int percent) { return Below(100) < percent; }
    template <class Items>  // a vector or a string
    const auto& Pick(const Items& items)
    {
        return items[static_cast<size_t>(Below(items.size()))];
    }

private:
    std::mt19937 m_engine;
};

// A network's shape: its states, and the values of each test as one string of characters.
struct Shape {
    std::vector<std::string> states;
    std::vector<std::string> values;
};

inline Shape RandomShape(Random& random)
{
    Shape shape;
    for (int s = 0, n = 1 + random.Below(5); s < n; ++s) shape.states.push_back(std::string(1, "ABCDE"[s]));
    // "H=AB" + "Ba" is the key text of "H=A" + "BBa": after a reload with other tests, keys that
    // split differently meet in the caches.
    if (random.Chance(10)) shape.states.push_back("AB");
    // A key holding "|" is a test's to the network: this state never has a prior.
    if (random.Chance(2)) shape.states.push_back("C|D");
    // Mostly a few tests; now and then none, or enough that nearly every field is new to the caches.
    const int tests = random.Chance(5) ? 0 : random.Chance(30) ? 8 + random.Below(5) : 1 + random.Below(6);
    for (int t = 0; t < tests; ++t)
        shape.values.push_back(
            std::string(random.Chance(20) ? "Bacd" : "abcd").substr(0, 1 + random.Below(4)));
    return shape;
}

// A description of the shape, its probabilities drawn afresh: some 0 or -0, some tiny enough that
// products underflow. Now and then no probability lines (the structure alone), a state without
// its prior, a test without the probabilities of one state, or "z", a value no test declares,
// with a probability in some state.
inline std::string Describe(const Shape& shape, Random& random)
{
    std::ostringstream text;
    text << "# random\nH = Kind \"";
    for (size_t s = 0; s < shape.states.size(); ++s) text << (s ? "," : "") << shape.states[s];
    text << "\"\n";
    for (size_t t = 0; t < shape.values.size(); ++t) {
        text << "T" << t << " = test " << t << " \"";
        for (size_t v = 0; v < shape.values[t].size(); ++v) text << (v ? "," : "") << shape.values[t][v];
        text << "\"\n";
    }
    if (random.Chance(5)) return text.str();
    const auto distribution = [&](size_t count) {
        std::vector<double> p(count);
        double sum = 0;
        for (double& w : p) {
            const int kind = random.Below(100);
            sum += w = kind < 15 ? 0.0 : kind < 18 ? 1e-9 : kind < 21 ? 1e-200 : 1 + random.Below(50);
        }
        if (sum == 0) p[0] = sum = 1;
        for (double& w : p) w = w == 0 && random.Chance(30) ? -0.0 : w / sum;
        return p;
    };
    const size_t states = shape.states.size(), tests = shape.values.size();
    const size_t noPrior = random.Chance(3) ? static_cast<size_t>(random.Below(states)) : states;
    const size_t gap =
        random.Chance(5) ? static_cast<size_t>(random.Below(states * tests + 1)) : states * tests;
    const std::vector<double> priors = distribution(states);
    text.precision(17);
    for (size_t s = 0; s < states; ++s)
        if (s != noPrior) text << "P(H=" << shape.states[s] << ") = " << priors[s] << "\n";
    text.precision(6);
    for (size_t t = 0; t < tests; ++t)
        for (size_t s = 0; s < states; ++s) {
            if (t * states + s == gap) continue;
            const std::vector<double> p = distribution(shape.values[t].size());
            for (size_t v = 0; v < p.size(); ++v)
                text << "P(T" << t << "=" << shape.values[t][v] << "|H=" << shape.states[s] << ") = " << p[v]
                     << "\n";
            if (random.Chance(5)) text << "P(T" << t << "=z|H=" << shape.states[s] << ") = 0.5\n";
        }
    return text.str();
}

// Test results for the shape: a declared value or "-" for each test, full stops here and there;
// now and then all "-", an undeclared "z", a result too many or too few.
inline std::string RandomResults(const Shape& shape, Random& random)
{
    const bool none = random.Chance(3);
    std::string results;
    for (const std::string& values : shape.values) {
        if (random.Chance(3)) results += '.';
        results += none || random.Chance(15) ? '-' : random.Pick(values);
    }
    if (random.Chance(3) && !results.empty())
        results[static_cast<size_t>(random.Below(results.size()))] = 'z';
    if (random.Chance(2)) results += 'a';
    if (random.Chance(2) && !results.empty()) results.pop_back();
    return results;
}

// A line of a sample or batch file: mostly a test line that classifies, now and then a comment, a
// blank line, a count line, a test line the reader refuses or one that cannot be classified.
inline std::string FileLine(const Shape& shape, Random& random)
{
    const int kind = random.Below(100);
    if (kind < 3) return random.Pick(std::vector<std::string>{"# a comment", " \t", "not a test line"});
    if (kind < 4) return random.Chance(50) ? "C(H=A) = 3" : "C(H=A,T0!=-) = 2";
    std::string expected(1, random.Pick(shape.states)[0]);
    if (random.Chance(30)) expected += random.Pick(shape.states)[0];
    if (kind < 5) return ";TESTS\t" + expected;
    std::string results;
    for (const std::string& values : shape.values) results += random.Chance(15) ? '-' : random.Pick(values);
    if (kind < 7) results = RandomResults(shape, random);
    if (random.Chance(5)) results.insert(static_cast<size_t>(random.Below(results.size() + 1)), ".");
    return std::string(random.Chance(5) ? " \t" : "") + ";TESTS\t" + expected + "\t" + results +
           (random.Chance(5) ? "\t" : "");
}

// The pieces of one seeded run: a description, then `calls` pieces on it. Now and then a
// description of the same shape or of a new one, each with a pool of fields to draw from: enough
// distinct fields that both caches fill up, and repeats. Probability changes ("P" pieces) only
// with `probabilities`.
inline std::vector<std::string> SeededPieces(uint32_t seed, int calls, bool probabilities)
{
    Random random(seed);
    Shape shape = RandomShape(random);
    std::vector<std::string> pieces{Describe(shape, random)}, pool;
    const auto fill = [&] {
        pool.clear();
        for (int i = 0, n = 120 + random.Below(300); i < n; ++i) pool.push_back(RandomResults(shape, random));
    };
    fill();
    for (int call = 0; call < calls; ++call) {
        const int kind = random.Below(100);
        if (kind < 2) {
            if (random.Chance(40)) shape = RandomShape(random);
            pieces.push_back(Describe(shape, random));
            fill();
        } else if (kind < 7) {
            pieces.push_back("L" + FileLine(shape, random));
        } else if (kind < 9 && probabilities) {
            const std::string state = "H=" + random.Pick(shape.states);
            const std::string key = shape.values.empty() || random.Chance(50)
                                        ? state
                                        : "T0=" + shape.values[0].substr(0, 1) + "|" + state;
            pieces.push_back("P" + key + " " +
                             (random.Chance(90) ? std::to_string(random.Below(1001) / 1000.0) : "1.5"));
        } else {
            pieces.push_back(random.Pick(pool));
        }
    }
    return pieces;
}

}  // namespace veltra::test

#endif  // VELTRA_TESTS_SUPPORT_SEEDEDCALLS_H
