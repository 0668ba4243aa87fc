// The fast way against the keyed way: two engines, one with SetFastPath(false), take the same calls
// and must leave the same trace: every answer to the bit, every message, every byte printed or
// written (the trained file with its count table, the judged batch file). Seeded random networks,
// reloads, fields, sample and batch files (SeededCalls.h), then the edges case by case: what the
// compiled arrays refuse, and the two caches at their limits.
#include <algorithm>
#include <cstdio>
#include <sstream>

#include "engine/FieldClassifier.h"
#include "tests/support/SeededCalls.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

// Two engines, the keyed one first; `where` names them in failures.
struct Twins {
    explicit Twins(std::string name) : where(std::move(name)) { engines[0].SetFastPath(false); }

    // Runs `call(engine, i)` on both engines: what it returned, raised and printed must be the same,
    // or the step fails. Returns the keyed engine's answer, or its message when it raised.
    template <class Call>
    std::string Do(const std::string& step, Call call)
    {
        std::string trace[2], answer[2];
        for (int i = 0; i < 2; ++i) {
            const Outcome run = test::Run([&] { answer[i] = call(engines[i], i); });
            if (run.raised) answer[i] = run.message;
            trace[i] = answer[i] + "\nraised " + std::to_string(run.raised) + "\nerr [" + run.err +
                       "]\nout [" + run.out + "]";
        }
        if (trace[0] != trace[1])
            ADD_FAILURE() << where << ", " << step << "\nkeyed: " << trace[0] << "\nfast: " << trace[1];
        same = same && trace[0] == trace[1];
        return answer[0];
    }

    std::string where;
    FieldClassifier engines[2];
    bool same = true;
};

std::string Ranking(FieldClassifier& engine, const std::string& results, bool verbose)
{
    AutoPtr<DubiousDataList> table(engine.Analyze(results, verbose));
    Ptr<Vector<String>> keys = table->GetKeys();
    std::string text;
    for (int32_t i = 0; i < keys->Size(); ++i)
        text += (*keys)[i].str() + Bits(table->Get((*keys)[i])->m_figure) + " ";
    return text;
}

std::string Into(FieldClassifier& engine, const std::string& results, int32_t capacity)
{
    char names[8] = {};
    double levels[8] = {};
    int32_t count = capacity;
    const int32_t status = engine.AnalyzeInto(results.c_str(), names, levels, &count);
    std::string text = std::to_string(status) + " " + std::to_string(count);
    for (int32_t i = 0; status == 0 && i < count; ++i)
        text += " " + std::string(1, names[i]) + Bits(levels[i]);
    return text;
}

// Every piece of a seed's run is a call on both engines: a description a load (now and then from
// a file), a field one of the ways to ask for its levels (now and then followed by its levels
// asked verbosely, which shows what the caches hold), a line of the sample and batch file now and
// then a batch evaluation and a training run on the lines so far and the latest four fields.
TEST(FastPath, AnswersAsTheKeyedWayOnSeededCalls)
{
    TempDir dir;
    for (uint32_t seed = 1; seed <= 30; ++seed) {
        Twins twins("seed " + std::to_string(seed));
        Random random(~seed);
        std::string description, lines, fields;
        std::vector<std::string> states;
        const auto files = [&](const std::string& step) {
            const bool counts = lines.find("\nC(") != std::string::npos || lines.compare(0, 2, "C(") == 0;
            const std::string batch = dir.Write("batch", lines + fields),
                              samples = dir.Write("samples", lines),
                              network = dir.Write("network", description);
            for (const bool training : {false, true})
                twins.Do(step + (training ? " training" : " batch"), [&](FieldClassifier& e, int i) {
                    const std::string output = dir.File(std::to_string(i));
                    training ? e.Train(network, samples, output, counts) : e.AnalyzeFile(batch, output);
                    std::string text = ReadFile(output);
                    std::remove(output.c_str());
                    const size_t date = text.find("# Date of training: ");
                    return date == std::string::npos ? text : text.replace(date + 20, 24, 24, '#');
                });
            lines.clear();
        };
        int step = 0;
        for (const std::string& piece : SeededPieces(seed, 1500, false)) {
            if (!twins.same) break;
            const std::string what = "step " + std::to_string(++step) + " " + piece.substr(0, 30);
            if (piece[0] == '#') {
                description = piece;
                const size_t first = piece.find("Kind \"") + 6;  // the states from the hypothesis line
                std::istringstream names(piece.substr(first, piece.find('"', first) - first));
                states.clear();
                for (std::string state; std::getline(names, state, ',');) states.push_back("H=" + state);
                const std::string file = dir.Write("description", piece);
                const bool thruFile = random.Chance(50);
                twins.Do(what, [&](FieldClassifier& e, int) {
                    return thruFile ? e.InitializeThruFile(file) : e.GetNetwork().Load(piece), "";
                });
            } else if (piece[0] == 'L') {
                lines += piece.substr(1) + "\n";
                if (random.Chance(5)) files(what);
            } else {
                fields += ";TESTS\tA\t" + piece + "\n";
                if (std::count(fields.begin(), fields.end(), '\n') > 4)
                    fields.erase(0, fields.find('\n') + 1);
                const int kind = random.Below(100);
                const bool verbose = random.Chance(20);
                const int32_t capacity = random.Chance(90) ? 8 : static_cast<int32_t>(states.size()) - 1;
                const std::string state = random.Chance(3) ? random.Pick(std::vector<std::string>{"H=Q", "A"})
                                                           : random.Pick(states);
                if (random.Below(2000) == 0)
                    twins.Do(what, [](FieldClassifier& e, int) { return e.GetNetwork().ClearCaches(), ""; });
                twins.Do(what, [&](FieldClassifier& e, int) {
                    return kind < 45   ? Into(e, piece, capacity)
                           : kind < 65 ? Ranking(e, piece, verbose)
                           : kind < 90 ? Bits(e.GetNetwork().GetConfLevel(state, piece, verbose))
                                       : Bits(e.GetNetwork().Product(state, piece, true));
                });
                for (size_t s = random.Chance(25) ? 0 : states.size(); s < states.size(); ++s)
                    twins.Do(what + " " + states[s], [&](FieldClassifier& e, int) {
                        return Bits(e.GetNetwork().GetConfLevel(states[s], piece, true));
                    });
            }
        }
        if (twins.same) files("end");
    }
}

// A field classified afresh (the host interface's way, both caches bypassed) gets the levels,
// ranking and failures the keyed way gives with both caches empty, to the bit.
TEST(FastPath, FreshLevelsAreTheKeyedWaysWithEmptyCaches)
{
    for (uint32_t seed = 1; seed <= 30; ++seed) {
        Twins twins("seed " + std::to_string(seed));
        for (const std::string& piece : SeededPieces(seed, 400, false)) {
            if (piece[0] == 'L' || !twins.same) continue;
            if (piece[0] == '#') {
                twins.Do("load", [&](FieldClassifier& e, int) { return e.GetNetwork().Load(piece), ""; });
                continue;
            }
            twins.Do(piece, [&](FieldClassifier& e, int keyed) {
                // What the arrays refuse goes the keyed way with the caches: empty on both.
                e.GetNetwork().ClearCaches();
                if (keyed == 0) return Into(e, piece, 8);
                char names[8] = {};
                double levels[8] = {};
                const int32_t count = e.ClassifyFresh(piece.c_str(), names, levels, 8);
                std::string text = std::to_string(count > 8 ? -1 : 0) + " " + std::to_string(count);
                for (int32_t i = 0; i < count && i < 8; ++i)
                    text += " " + std::string(1, names[i]) + Bits(levels[i]);
                return text;
            });
        }
    }
}

// Networks the compiled arrays cannot mirror go the keyed way whole; a result character without a
// probability for every state sends its field alone the keyed way. Either way the answer is the
// keyed engine's, expected here with its message.
TEST(FastPath, WhatTheCompiledArraysRefuseGoesTheKeyedWay)
{
    const std::string test = "T = t \"a\"\nP(T=a|H=x) = 1\nP(T=a|H=y) = 1\n",
                      both = "H = K \"x,y\"\nP(H=x) = 0.5\nP(H=y) = 0.5\n" + test;
    const struct {
        std::string description;
        bool compiled;
        const char* results;
        const char* answer;
    } rows[] = {
        {"H = K \",\"\n", false, "", "0 0"},  // no states
        {"H = K \"x,y\"\nP(H=x) = 1\n" + test, false, "a", "Hypothesis does not contain state: H=y"},
        {"H = K \"x,y|z\"\nP(H=x) = 1\n" + test, false, "a",
         "NaiveBayesNet does not contain test with tag: H"},
        {both + "P(T=z|H=x) = 0.5\n", true, "z", "Test: T does not contain state: T=z|H=y"},
        {both + "P(T=z|H=x) = 0.5\nP(T=z|H=y) = 0.25\n", true, ".z",
         "0 2 x0x1.5555555555555p-1 y0x1.5555555555555p-2"},
        {both, true, "a-", "Expected 1 test results but got 2. Test results:\na-"},
    };
    for (const auto& row : rows) {
        Twins twins(row.description + " / " + row.results);
        twins.Do("load", [&](FieldClassifier& e, int) { return e.GetNetwork().Load(row.description), ""; });
        EXPECT_EQ(twins.engines[1].GetNetwork().GetCompiled() != nullptr, row.compiled) << row.description;
        EXPECT_EQ(twins.Do("into", [&](FieldClassifier& e, int) { return Into(e, row.results, 8); }),
                  row.answer);
        twins.Do("ranking", [&](FieldClassifier& e, int) { return Ranking(e, row.results, false); });
    }
}

const std::string kValues = "abcdefghijklmnopqrstuvwxyz012345";

std::string Key(int state)
{
    return std::string("H=") + static_cast<char>('A' + state);
}

// A network of `states` states (A, B, C) and two tests of 32 values, every value as likely in
// every state: 1024 fields. The later network has other priors: what a cache kept is stale.
std::string Wide(int states, bool later)
{
    std::ostringstream text;
    text << "H = K \"" << std::string("A,B,C").substr(0, static_cast<size_t>(2 * states - 1)) << "\"\n";
    for (int s = 0; s < states; ++s)
        text << "P(" << Key(s) << ") = " << (later ? 2.0 * (s + 1) / (states * (states + 1)) : 1.0 / states)
             << "\n";
    for (const char* t : {"T", "U"}) {
        text << t << " = t \"" << kValues[0];
        for (size_t v = 1; v < kValues.size(); ++v) text << "," << kValues[v];
        text << "\"\n";
        for (const char v : kValues)
            for (int s = 0; s < states; ++s)
                text << "P(" << t << "=" << v << "|" << Key(s) << ") = 0.03125\n";
    }
    return text.str();
}

// The caches at their limits under a reloaded network: a field asked with the product cache
// holding `products` entries, the field's stale products of the states in the mask `stale` among
// them, or with the level cache holding `levels` entries. Asked verbosely afterwards, the states'
// products and levels show what the caches hold: a held product prints nothing, a held level no
// product line (asked once 98 other products have emptied that cache); `held` levels are expected.
TEST(FastPath, CachesReplayAlikeAtTheirLimits)
{
    const struct {
        int states, stale, products, levels, held;
    } rows[] = {
        {1, 0, 97, 0, 1},   // the field's product finds the cache full: emptied, not stored
        {2, 1, 96, 0, 2},   // the field's new product is the 97th
        {2, 1, 97, 0, 2},   // full at the field's first store: a stale product and new ones mixed
        {3, 2, 95, 0, 3},   // a stale product between two new ones filling the cache
        {3, 4, 96, 0, 3},   // emptied at the second store: the stale product gone before it is asked
        {3, 5, 97, 0, 3},   // emptied between two stale products
        {3, 0, 0, 997, 0},  // the level cache full before the field
        {3, 0, 0, 996, 1}, {3, 0, 0, 995, 2}, {2, 0, 0, 994, 2},
    };
    std::vector<std::string> fields;  // the field asked, then the fillers
    for (const char t : kValues)
        for (const char u : kValues) fields.push_back({t, u});
    for (const auto& row : rows) {
        Twins twins("states " + std::to_string(row.states) + ", stale " + std::to_string(row.stale) +
                    ", products " + std::to_string(row.products) + ", levels " + std::to_string(row.levels));
        twins.Do("earlier",
                 [&](FieldClassifier& e, int) { return e.GetNetwork().Load(Wide(row.states, false)), ""; });
        twins.Do("fill", [&](FieldClassifier& e, int) {
            for (int s = 0; s < row.states; ++s)
                if (row.stale >> s & 1) e.GetNetwork().Product(Key(s), fields[0], false);
            for (size_t i = 1; i <= static_cast<size_t>(row.products - __builtin_popcount(row.stale)); ++i)
                e.GetNetwork().Product("H=A", fields[i], false);
            for (size_t i = 1; i <= static_cast<size_t>(row.levels); ++i)
                e.GetNetwork().GetConfLevel("H=A", fields[i], false);
            return row.levels ? Ranking(e, fields[0], false) : "";
        });
        twins.Do("later",
                 [&](FieldClassifier& e, int) { return e.GetNetwork().Load(Wide(row.states, true)), ""; });
        twins.Do("field", [&](FieldClassifier& e, int) { return Ranking(e, fields[0], false); });
        int held = 0;
        for (const bool level : {false, true})
            for (int s = 0; s < row.states; ++s) {
                const std::string printed = twins.Do(Key(s), [&](FieldClassifier& e, int) {
                    StreamCapture out{std::cout};
                    for (size_t i = 1; i <= 98 && level; ++i) e.GetNetwork().Product("H=A", fields[i], false);
                    const double figure = level ? e.GetNetwork().GetConfLevel(Key(s), fields[0], true)
                                                : e.GetNetwork().Product(Key(s), fields[0], true);
                    return out.text.str() + Bits(figure);
                });
                held += level && printed.rfind("H=", 0) == 0;
            }
        EXPECT_EQ(held, row.held) << "states " << row.states << ", levels " << row.levels;
    }
}

}  // namespace
}  // namespace veltra::test
