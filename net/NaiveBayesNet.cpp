#include "net/NaiveBayesNet.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>
#include <vector>

#include "safe/Numbers.h"

namespace veltra {

namespace {

// The two quoted-list lines ("H = name "a,b"", "T1 = description "x,y"") split alike: the part
// right of "=", trimmed, cut at double quotes into exactly the name and the list.
Ptr<Vector<String>> SplitQuoted(const String& line)
{
    String right = line.AfterFirst("=").Trim();
    AutoPtr<Vector<String>> pieces(right.GetTokens("\"", true));
    if (pieces->Size() != 2) VELTRA_RAISE("Wrong format in line:\n", right);
    return FillOrDelete(NewObject<Vector<String>>(), [&](Vector<String>& result) {
        result.Add((*pieces)[0]);
        AutoPtr<Vector<String>> values(((*pieces)[1]).GetTokens(",", true));
        for (int32_t i = 0; i < values->Size(); ++i) result.Add((*values)[i].Trim());
    });
}

// A probability line's key and value: without blanks, tabs and line ends, cut at "(" and ")"
// (as GetTokens cuts, up to a zero byte): "P", the key, then "=" and the value.
std::pair<String, double> ProbabilityOfLine(const String& line)
{
    std::string compact;
    compact.reserve(static_cast<size_t>(line.Length()));
    for (char c : line.str())
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') compact += c;
    const char* tokens[3];
    size_t lengths[3], count = 0;
    for (const char* p = compact.c_str() + std::strspn(compact.c_str(), "()"); *p && count < 3;
         p += std::strspn(p, "()")) {
        tokens[count] = p;
        lengths[count] = std::strcspn(p, "()");
        p += lengths[count++];
    }
    const std::string_view third = count == 3 ? std::string_view(tokens[2], lengths[2]) : std::string_view();
    if (third.find('=') == std::string_view::npos) {
        // Too few tokens or no "=": the keyed reading raises the table's or the string's message.
        AutoPtr<Vector<String>> pieces(String(compact).GetTokens("()", true));
        const String& key = (*pieces)[1];
        return {key, ReadNumber((*pieces)[2].AfterFirst("=").c_str())};
    }
    const std::string value(third.substr(third.find('=') + 1));
    return {String(std::string(tokens[1], lengths[1])), ReadNumber(value.c_str())};
}

// A test line's tag: the text left of its first "=", trimmed.
String TagOfTestLine(const String& line)
{
    return line.BeforeFirst("=").Trim();
}

}  // namespace

void NaiveBayesNet::ForEachLine(const String& text, const std::function<void(const DescriptionLine&)>& each)
{
    // Lines end at CR, LF or CR LF alike and empty lines vanish, as GetTokens("\r\n", true) cuts
    // the text (up to a zero byte); the line number counts the line ends before a line. Kinds
    // are told apart by prefix alone, in this order.
    const std::string& all = text.str();
    const size_t end = std::strlen(all.c_str());
    int64_t number = 1;
    for (size_t at = 0; at < end;) {
        if (all[at] == '\r' || all[at] == '\n') {
            at += all[at] == '\r' && at + 1 < end && all[at + 1] == '\n' ? 2 : 1;
            ++number;
            continue;
        }
        const size_t stop = std::min(all.find_first_of("\r\n", at), end);
        DescriptionLine line{DescriptionLine::Kind::kTest, String(all.substr(at, stop - at)).Trim(), at, stop,
                             number};
        at = stop;
        if (line.text.Length() == 0) continue;
        if (line.text.StartsWith("#"))
            line.kind = DescriptionLine::Kind::kComment;
        else if (line.text.StartsWith("PARAMETER"))
            line.kind = DescriptionLine::Kind::kParameter;
        else if (line.text.StartsWith("P"))
            line.kind = DescriptionLine::Kind::kProbability;
        else if (line.text.StartsWith("H"))
            line.kind = DescriptionLine::Kind::kHypothesis;
        each(line);
    }
}

String NaiveBayesNet::TestTagOf(const DescriptionLine& line)
{
    if (line.kind == DescriptionLine::Kind::kTest) return TagOfTestLine(line.text);
    if (line.kind != DescriptionLine::Kind::kProbability) return String();
    const String key = ProbabilityOfLine(line.text).first;
    return IsConditionalKey(key) ? TagOfKey(key) : String();
}

NaiveBayesNet::NaiveBayesNet()
{
    // The network owns its tests and every hypothesis it made.
    m_tests.m_deleteItems = true;
    m_replacedHypotheses.m_deleteItems = true;
}

NaiveBayesNet::~NaiveBayesNet()
{
    CleanUpOrReportTrap("Exception in NaiveBayesNet dtor!", [this] { DeleteNodes(); });
}

void NaiveBayesNet::DeleteNodes()
{
    m_tests.DeleteAll();
    if (Hypothesis* hypothesis = m_hypothesis.GetRaw()) delete hypothesis;
    m_hypothesis = nullptr;
    m_replacedHypotheses.DeleteAll();
}

String NaiveBayesNet::GetTag(const String& key) const
{
    return TagOfKey(key);
}

double NaiveBayesNet::GetProbability(const String& key) const
{
    if (!IsConditionalKey(key)) return m_hypothesis->GetProbability(key);
    String tag = GetTag(key);
    if (!m_tests.Contains(tag)) VELTRA_RAISE("NaiveBayesNet does not contain test with tag: ", tag);
    return m_tests.Get(tag)->GetProbability(key);
}

void NaiveBayesNet::SetProbability(const String& key, double value)
{
    m_compiledStale = true;
    ++m_changes;
    if (!IsConditionalKey(key)) {
        m_hypothesis->SetProbability(key, value);
        return;
    }
    String tag = GetTag(key);
    Ptr<BayesTest>* test = m_tests.Find(tag);
    if (!test) VELTRA_RAISE("NaiveBayesNet does not contain test with tag: ", tag);
    (*test)->SetProbability(key, value);
}

void NaiveBayesNet::AddParameter(const String& name, double value)
{
    if (name.Trim().Length() == 0) VELTRA_RAISE("Cannot add blank parameter");
    if (!m_parameters.Contains(name)) m_parameters.Add(name, Double(0.0));
    m_parameters.Get(name).m_value = value;
}

const BayesTest& NaiveBayesNet::GetTest(int32_t index) const
{
    return *m_tests.Get((*m_tests.GetKeys())[index]);
}

void NaiveBayesNet::Load(const String& text)
{
    ++m_loads;
    ++m_changes;
    m_compiledStale = true;
    DeleteNodes();

    m_facts = LoadFacts();
    bool sawProbability = false;
    ForEachLine(text, [&](const DescriptionLine& line) {
        try {
            switch (line.kind) {
                case DescriptionLine::Kind::kComment:
                    break;
                case DescriptionLine::Kind::kParameter:
                    ReadParameterLine(line.text);
                    break;
                case DescriptionLine::Kind::kProbability:
                    ReadProbabilityLine(line.text);
                    sawProbability = true;
                    break;
                case DescriptionLine::Kind::kHypothesis:
                    ReadHypothesisLine(line.text);
                    break;
                case DescriptionLine::Kind::kTest:
                    ReadTestLine(line.text);
                    break;
            }
        } catch (...) {
            m_facts.failedLine = line.number;
            throw;
        }
    });

    if (m_hypothesis.IsNull()) VELTRA_RAISE("Network must contain a hypothesis (H)");
    // A description without probability lines declares the structure only: no sums to check.
    if (sawProbability) CheckProbabilities();
}

void NaiveBayesNet::ReadParameterLine(const String& line)
{
    AutoPtr<Vector<String>> tokens(line.GetTokens("\t =", true));
    // A value that is not a number reads as 0.0, as atof gives it in the "C" locale.
    AddParameter((*tokens)[1], ReadNumber((*tokens)[2].c_str()));
}

void NaiveBayesNet::ReadProbabilityLine(const String& line)
{
    const std::pair<String, double> probability = ProbabilityOfLine(line);
    ReadProbability(probability.first, probability.second);
}

void NaiveBayesNet::ReadProbability(const String& key, double value)
{
    ++m_facts.probabilityLines;
    double& smallest = IsConditionalKey(key) ? m_facts.smallestConditional : m_facts.smallestPrior;
    if (value > 0.0 && value < smallest) smallest = value;
    SetProbability(key, value);
}

void NaiveBayesNet::ReadHypothesisLine(const String& line)
{
    AutoPtr<Vector<String>> pieces(SplitQuoted(line));
    Hypothesis* hypothesis = NewObject<Hypothesis>((*pieces)[0]);
    // Tests made before this line keep the hypothesis they were made with; it is kept alive
    // with them until the next load.
    if (Hypothesis* previous = m_hypothesis.GetRaw()) m_replacedHypotheses.Add(Ptr<Hypothesis>(previous));
    m_hypothesis = hypothesis;
    for (int32_t i = 1; i < pieces->Size(); ++i) hypothesis->AddState((*pieces)[i]);
}

void NaiveBayesNet::ReadTestLine(const String& line)
{
    String tag = TagOfTestLine(line);
    AutoPtr<Vector<String>> pieces(SplitQuoted(line));
    // The tests table owns the test once it holds it.
    FillOrDelete(NewObject<BayesTest>(tag, (*pieces)[0], m_hypothesis), [&](BayesTest& test) {
        for (int32_t i = 1; i < pieces->Size(); ++i) test.AddValue((*pieces)[i]);
        m_tests.Add(tag, Ptr<BayesTest>(&test));
    });
}

void NaiveBayesNet::CheckProbabilities() const
{
    m_hypothesis->CheckProbabilities();
    for (int32_t i = 0; i < m_tests.Size(); ++i) GetTest(i).CheckProbabilities();
}

void NaiveBayesNet::Validate() const
{
    try {
        if (m_tests.Size() == 0) VELTRA_RAISE("Network has not been initialized yet");
        if (m_hypothesis.IsNull()) VELTRA_RAISE("Network must contain a hypothesis (H)");
        CheckProbabilities();
    } catch (TrapException& e) {
        VELTRA_RAISE("NaiveBayesNet check failed:\n", e.GetMessage());
    }
}

Ptr<Vector<String>> NaiveBayesNet::GetHypothesisKeys() const
{
    return FillOrDelete(NewObject<Vector<String>>(), [&](Vector<String>& keys) {
        m_hypothesis->GetStateKeys(Ptr<Vector<String>>(&keys));
    });
}

Ptr<Vector<String>> NaiveBayesNet::GetConditionalKeys() const
{
    return FillOrDelete(NewObject<Vector<String>>(), [&](Vector<String>& keys) {
        for (int32_t t = 0; t < m_tests.Size(); ++t) GetTest(t).GetStateKeys(Ptr<Vector<String>>(&keys));
    });
}

double NaiveBayesNet::Product(const String& stateKey, const String& results, bool verbose)
{
    const InferenceCache::Key cacheKey = InferenceCache::MakeKey(stateKey.str(), results.str());
    const int32_t cached = m_productCache.Find(cacheKey);
    if (cached >= 0) return m_productCache.Value(cached);

    double product = GetProbability(stateKey);
    if (verbose) std::cout << "P(" << stateKey << ") = " << product << std::endl;
    for (int32_t i = 0; i < m_tests.Size(); ++i) {
        char result = results[i];
        if (result == '-') continue;
        String key = GetTest(i).MakeKey(stateKey, String(result));
        double p = GetProbability(key);
        product *= p;
        if (verbose)
            std::cout << "P(" << key << ") = " << p << "\t"
                      << "product = " << product << std::endl;
    }
    if (verbose) std::cout << "product = " << product << std::endl;

    if (m_productCache.Size() < kProductCacheSize)
        m_productCache.Add(cacheKey, product);
    else
        m_productCache.Clear();
    return product;
}

const CompiledNetwork* NaiveBayesNet::GetCompiled()
{
    if (m_compiledStale) {
        std::vector<const BayesTest*> tests;
        for (int32_t t = 0; t < m_tests.Size(); ++t) tests.push_back(&GetTest(t));
        m_compiled.Build(m_hypothesis.GetRaw(), tests);
        m_compiledStale = false;
    }
    return m_compiled.IsUsable() ? &m_compiled : nullptr;
}

void NaiveBayesNet::ClearCaches()
{
    m_confidenceCache.Clear();
    m_productCache.Clear();
    ++m_changes;
}

double NaiveBayesNet::GetConfLevel(const String& stateKey, const String& results, bool verbose)
{
    if (results.Length() != m_tests.Size())
        VELTRA_RAISE("Expected ", m_tests.Size(), " test results but got ", results.Length(),
                     ". Test results:\n", results);
    if (!stateKey.StartsWith("H=")) VELTRA_RAISE("Hypothesis must start with H=");

    double conf = 0.0;
    const InferenceCache::Key cacheKey = InferenceCache::MakeKey(stateKey.str(), results.str());
    const int32_t cached = m_confidenceCache.Find(cacheKey);
    if (cached >= 0) {
        conf = m_confidenceCache.Value(cached);
    } else {
        AutoPtr<Vector<String>> keys(GetHypothesisKeys());
        if (!keys->Contains(stateKey)) VELTRA_RAISE("Given hypothesis does not exist: ", stateKey);
        double p = Product(stateKey, results, verbose);
        keys->Remove(stateKey);
        double others = 0.0;
        for (int32_t i = 0; i < keys->Size(); ++i) others += Product((*keys)[i], results, verbose);
        // p / (p + others) with a single division by p; a zero product answers 0 outright.
        if (p != 0.0) conf = 1.0 / (others / p + 1.0);
        if (m_confidenceCache.Size() < kConfidenceCacheSize) m_confidenceCache.Add(cacheKey, conf);
    }
    if (verbose) std::cout << stateKey << "  confLevel = " << conf << std::endl;
    return conf;
}

namespace {

// The size of a difference of two figures, truncated toward zero before the absolute value
// (differences below 1 count as 0), within 32 bits. Values are percentages, so the clamp never
// changes a real figure; a NaN difference counts as the largest.
int32_t DifferenceSize(double difference)
{
    difference = std::trunc(difference);
    if (!(difference > -2147483647.0)) difference = -2147483647.0;
    if (difference > 2147483647.0) difference = 2147483647.0;
    return std::abs(static_cast<int32_t>(difference));
}

}  // namespace

int32_t NaiveBayesNet::LargestDifference(const std::vector<double>& figures)
{
    // Subtraction is monotonic in each operand, and so are truncation and the clamp: the
    // largest difference of two figures is that of the largest and the smallest, unless a
    // figure is NaN, whose difference with any other counts as the largest.
    if (figures.size() < 2) return 0;
    double low = figures[0], high = figures[0];
    for (const double figure : figures) {
        if (std::isnan(figure)) return DifferenceSize(figure);
        low = std::min(low, figure);
        high = std::max(high, figure);
    }
    return DifferenceSize(high - low);
}

int32_t NaiveBayesNet::GetMaxDiff(const HashTable<Double>& table, bool verbose) const
{
    Ptr<Vector<String>> keys = table.GetKeys();
    int32_t result = 0;
    for (int32_t i = 0; i < keys->Size(); ++i) {
        for (int32_t j = i + 1; j < keys->Size(); ++j) {
            const int32_t d = DifferenceSize(table.Get((*keys)[i]).m_value - table.Get((*keys)[j]).m_value);
            if (d > result) result = d;
        }
    }
    if (verbose) {
        for (int32_t i = 0; i < keys->Size(); ++i)
            std::cout << "  confLevel " << (*keys)[i] << " = " << table.Get((*keys)[i]).m_value << std::endl;
        std::cout << "  max diff: " << result << std::endl;
    }
    return result;
}

String NaiveBayesNet::CheckedValue(const BayesTest& test, int32_t v) const
{
    const String& value = test.GetValue(v);
    if (value.Length() != 1) VELTRA_RAISE("Test value must be 1 character only");
    return value;
}

void NaiveBayesNet::GetCPValues(HashTable<Double>& figures, bool verbose, LevelSource* levels)
{
    GetFigures(figures, verbose, TestFigure::kCP, levels);
}

void NaiveBayesNet::GetDPValues(HashTable<Double>& figures, bool verbose, LevelSource* levels)
{
    GetFigures(figures, verbose, TestFigure::kDP, levels);
}

void NaiveBayesNet::GetFigures(HashTable<Double>& figures, bool verbose, TestFigure kind, LevelSource* source)
{
    const bool cp = kind == TestFigure::kCP;
    Validate();
    AutoPtr<Vector<String>> stateKeys(GetHypothesisKeys());
    std::vector<double> spread;
    for (int32_t t = 0; t < m_tests.Size(); ++t) {
        const BayesTest& test = GetTest(t);
        // Every value is tried with all other tests unobserved.
        String results(std::string(static_cast<size_t>(m_tests.Size()), '-'));
        int32_t figure = 0;
        // CP: for each value, the spread of the states' levels; DP: for each state, the spread
        // of its level over the values.
        int32_t outer = cp ? test.GetValueCount() : stateKeys->Size();
        int32_t inner = cp ? stateKeys->Size() : test.GetValueCount();
        for (int32_t o = 0; o < outer; ++o) {
            HashTable<Double> levels;
            spread.clear();
            for (int32_t i = 0; i < inner; ++i) {
                results[t] = CheckedValue(test, cp ? o : i)[0];
                const String& stateKey = (*stateKeys)[cp ? i : o];
                const double level = source ? source->Level(cp ? i : o, stateKey, results, verbose)
                                            : GetConfLevel(stateKey, results, verbose);
                // The keys are distinct (states and values are), and only the verbose listing
                // shows them: otherwise the figures alone give the largest difference.
                if (verbose)
                    levels.Add(stateKey + "|" + results, Double(level * 100.0));
                else
                    spread.push_back(level * 100.0);
            }
            int32_t diff = verbose ? GetMaxDiff(levels, verbose) : LargestDifference(spread);
            if (diff > figure) figure = diff;
        }
        if (verbose) std::cout << (cp ? "CP = " : "DP = ") << figure << std::endl;
        figures.Add(test.GetTag(), Double(figure));
    }
}

}  // namespace veltra
