// NaiveBayesNet: one hypothesis, the tests keyed by tag (index order = order of the test lines =
// order of the test results), named parameters, and the two inference caches. Load reads a
// network description; inference computes likelihood products and confidence levels.
//
// Description lines are told apart by prefix alone, in this order: "#" comment, "PARAMETER",
// "P" probability, "H" hypothesis, anything else a test. A tag beginning with "P" or "H" is
// therefore misread; that is the format's rule and files depend on it.
#ifndef VELTRA_NET_NAIVEBAYESNET_H
#define VELTRA_NET_NAIVEBAYESNET_H

#include <functional>
#include <vector>

#include "net/BayesTest.h"
#include "net/CompiledNetwork.h"
#include "net/Hypothesis.h"
#include "net/InferenceCache.h"

namespace veltra {

// One line of a network description as the reader tells it apart.
struct DescriptionLine {
    enum class Kind { kComment, kParameter, kProbability, kHypothesis, kTest };
    Kind kind;
    String text;     // trimmed
    size_t begin;    // the untrimmed line's first byte in the description's text
    size_t end;      // and the byte after its last, its line end excluded
    int64_t number;  // the line's number, counting the line ends before it
};

// The two per-test figures of a trained network (see GetCPValues and GetDPValues).
enum class TestFigure { kCP, kDP };

// Where the per-test figures take the level of a state given test results: GetConfLevel's answer,
// from the network itself or from a faster way to the same figures.
class LevelSource {
public:
    virtual double Level(int32_t state, const String& stateKey, const String& results, bool verbose) = 0;

protected:
    ~LevelSource() = default;
};

class NaiveBayesNet : public SmartObject {
public:
    // The product cache is emptied when found full at a store; the confidence cache stops growing.
    static constexpr int32_t kProductCacheSize = 97;
    static constexpr int32_t kConfidenceCacheSize = 997;

    NaiveBayesNet();
    ~NaiveBayesNet() override;
    const char* GetTypeName() const override { return "NaiveBayesNet"; }

    // The text of a key left of its first "="; raises the String message for a key without "=".
    virtual String GetTag(const String& key) const;
    // Dispatches on "|": state keys go to the hypothesis, conditional keys to the test of their
    // tag. Raises "NaiveBayesNet does not contain test with tag: <tag>".
    virtual double GetProbability(const String& key) const;

    // The lines of a description as Load reads them: the text is cut at CR, LF and CR LF alike
    // (up to a zero byte), and every line that is not blank once trimmed goes to `each`, in
    // order, with its kind. Raises nothing itself.
    static void ForEachLine(const String& text, const std::function<void(const DescriptionLine&)>& each);
    // The tag of the test a line belongs to: a test line's own, a probability line's when its key
    // is a test's; "" for the other lines. Raises as Load would on a malformed line.
    static String TestTagOf(const DescriptionLine& line);

    // Replaces the network by the described one. The old hypothesis and tests are deleted;
    // parameters and caches are kept. Raises "Wrong format in line:\n<text>",
    // "Network must contain a hypothesis (H)" and whatever the nodes raise; a failure leaves
    // what the earlier lines built. Sums are checked only when some probability line was read.
    void Load(const String& text);
    void SetProbability(const String& key, double value);
    // Raises "Cannot add blank parameter"; a repeated name overwrites.
    void AddParameter(const String& name, double value);
    // Raises "NaiveBayesNet check failed:\n" followed by the failure of the network's checks
    // ("Network has not been initialized yet", "Network must contain a hypothesis (H)", the sums).
    void Validate() const;

    // Inference. Test results hold one character per test, "-" for a test without a result.
    // A new vector of "H=" + state in state order; the caller owns it.
    Ptr<Vector<String>> GetHypothesisKeys() const;
    // A new vector of every test's conditional keys (BayesTest::GetStateKeys), tests in test order;
    // the caller owns it.
    Ptr<Vector<String>> GetConditionalKeys() const;
    // The prior times the conditional probability of every observed test.
    double Product(const String& stateKey, const String& results, bool verbose);
    // The posterior of one state. Raises "Expected <n> test results but got <m>. Test results:\n<r>",
    // "Hypothesis must start with H=", "Given hypothesis does not exist: <key>".
    double GetConfLevel(const String& stateKey, const String& results, bool verbose);
    // Forgets every cached product and level: answers from here on come from the network as it
    // is. (Load keeps the caches; a host that asks for answers from the network just loaded
    // clears them.)
    void ClearCaches();
    // The compiled arrays of the current network, rebuilt after any change; null when they are
    // unusable.
    const CompiledNetwork* GetCompiled();
    // The two caches, for a way of inference that reads and writes them exactly as Product and
    // GetConfLevel do.
    InferenceCache& GetProductCache() { return m_productCache; }
    InferenceCache& GetConfidenceCache() { return m_confidenceCache; }
    // Counts every change of the network or of its caches other than inference's own: what was
    // derived from them is stale once it moves.
    uint64_t GetChangeCount() const { return m_changes; }
    // The largest |difference| between two values of the table, each difference truncated
    // toward zero to a whole number first.
    int32_t GetMaxDiff(const HashTable<Double>& table, bool verbose) const;
    // What GetMaxDiff gives, without printing, for a table holding these figures.
    static int32_t LargestDifference(const std::vector<double>& figures);

    // Per-test figures of the trained network, one entry per test keyed by tag, in test order.
    // CP: how far one value can separate two states; DP: how far changing the value can move one
    // state. Both in whole percentage points, from the levels of `levels` (GetConfLevel when
    // null). Raise "Test value must be 1 character only".
    void GetCPValues(HashTable<Double>& figures, bool verbose, LevelSource* levels = nullptr);
    void GetDPValues(HashTable<Double>& figures, bool verbose, LevelSource* levels = nullptr);

    // Read access only: every change goes through Load and SetProbability, which the compiled
    // arrays follow. GetHypothesis raises "Pointer is NULL" without a hypothesis.
    bool HasHypothesis() const { return !m_hypothesis.IsNull(); }
    const Hypothesis& GetHypothesis() const { return *m_hypothesis; }
    int32_t GetTestCount() const { return m_tests.Size(); }
    const BayesTest& GetTest(int32_t index) const;
    const BayesTest& GetTest(const String& tag) const { return *m_tests.Get(tag); }

    // What the last Load read: the probability lines, the smallest of their values above 0
    // (priors and tests' apart; 1 where none), and the number of the line that failed (0: none,
    // or a failure after the last line), counting line ends in the text.
    struct LoadFacts {
        int32_t probabilityLines = 0;
        double smallestPrior = 1.0;
        double smallestConditional = 1.0;
        int64_t failedLine = 0;
    };
    const LoadFacts& GetLoadFacts() const { return m_facts; }
    // How many loads this network has begun: what was prepared for one network is stale once it
    // changes.
    uint64_t GetLoadCount() const { return m_loads; }
    double GetParameter(const String& name) const { return m_parameters.Get(name).m_value; }

private:
    void DeleteNodes();
    void ReadParameterLine(const String& line);
    void ReadProbabilityLine(const String& line);
    void ReadProbability(const String& key, double value);
    void ReadHypothesisLine(const String& line);
    void ReadTestLine(const String& line);
    void CheckProbabilities() const;
    String CheckedValue(const BayesTest& test, int32_t v) const;
    void GetFigures(HashTable<Double>& figures, bool verbose, TestFigure kind, LevelSource* levels);

    Ptr<Hypothesis> m_hypothesis;
    HashTable<Ptr<BayesTest>> m_tests;
    // Keyed by state key and test results; see InferenceCache.
    InferenceCache m_confidenceCache;
    InferenceCache m_productCache;
    HashTable<Double> m_parameters;
    // Hypotheses replaced by a later hypothesis line; the tests made before it still reach them.
    Vector<Ptr<Hypothesis>> m_replacedHypotheses;
    // The compiled arrays, stale after any change.
    bool m_compiledStale = true;
    CompiledNetwork m_compiled;
    LoadFacts m_facts;
    uint64_t m_loads = 0;
    uint64_t m_changes = 0;
};

}  // namespace veltra

#endif  // VELTRA_NET_NAIVEBAYESNET_H
