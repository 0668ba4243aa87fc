#include "bench/FlatReference.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <numeric>
#include <stdexcept>
#include <string_view>

namespace bench {

namespace {

constexpr double kFloor = 0.001;
constexpr size_t kMaxStates = 256;
// The engine's name and version, as the header of a trained file gives them.
constexpr const char* kTrainedBy = "BayesianEngine 2.6";
constexpr const char* kTrainingBackspaces = "\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b";
constexpr const char* kBatchBackspaces = "\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b";

[[noreturn]] void Fail(std::string_view what, std::string_view line)
{
    throw std::runtime_error("reference: " + std::string(what) + ": " + std::string(line));
}

// std::isspace in the C locale, in which the benchmark runs, without a call per character.
bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}
size_t Index(char c)
{
    return static_cast<unsigned char>(c);
}

std::string_view Trim(std::string_view s)
{
    while (!s.empty() && IsSpace(s.front())) s.remove_prefix(1);
    while (!s.empty() && IsSpace(s.back())) s.remove_suffix(1);
    return s;
}

bool StartsWith(std::string_view s, std::string_view prefix)
{
    return s.substr(0, prefix.size()) == prefix;
}
bool SumsToOne(double sum)
{
    return sum >= 0.9999 && sum <= 1.0001;
}

// The non-empty pieces of `text` between `delimiter` characters, at most `max`; returns how many
// there were in all.
size_t Split(std::string_view text, char delimiter, std::string_view* pieces, size_t max)
{
    size_t n = 0;
    for (size_t i = 0; i < text.size();) {
        size_t end = std::min(text.find(delimiter, i), text.size());
        if (end > i && n++ < max) pieces[n - 1] = text.substr(i, end - i);
        i = end + 1;
    }
    return n;
}

// Description lines end at CR or LF; empty lines vanish.
template <class Each>
void ForEachDescriptionLine(std::string_view text, Each each)
{
    for (size_t i = 0; i < text.size();) {
        size_t end = std::min(text.find_first_of("\r\n", i), text.size());
        if (end > i) each(text.substr(i, end - i));
        i = end + 1;
    }
}

// Lines as a reader that tests for the end before each read sees them: a final newline yields
// one more, empty line.
template <class Each>
void ForEachRead(std::string_view text, Each each)
{
    for (size_t i = 0;;) {
        size_t end = text.find('\n', i);
        if (end == std::string_view::npos) return each(text.substr(i));
        each(text.substr(i, end - i));
        i = end + 1;
    }
}

void Appendf(std::string& out, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

void Appendf(std::string& out, const char* format, ...)
{
    char buffer[512];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    out.append(buffer, static_cast<size_t>(std::clamp(n, 0, static_cast<int>(sizeof buffer) - 1)));
}

void WriteFile(const std::string& path, const std::string& text, const char* mode)
{
    std::FILE* file = std::fopen(path.c_str(), mode);
    if (!file || std::fwrite(text.data(), 1, text.size(), file) != text.size()) Fail("cannot write", path);
    std::fclose(file);
}

int32_t CountNewlines(std::string_view text)
{
    return static_cast<int32_t>(std::count(text.begin(), text.end(), '\n'));
}

// The progress display as printf would write it, "<backspaces>Line: <n> / <total>" for every line
// read, gathered into blocks for standard output. Flush it before anything else goes there.
class Progress {
public:
    Progress(const char* backspaces, int32_t total)
        : m_prefix(std::string(backspaces) + "Line: "), m_suffix(" / " + std::to_string(total))
    {
        m_block.reserve(kBlock + m_prefix.size() + m_suffix.size() + 16);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { Flush(); }

    void Line(int32_t n)
    {
        char digits[16];
        m_block += m_prefix;
        m_block.append(digits, std::to_chars(digits, digits + sizeof digits, n).ptr);
        m_block += m_suffix;
        if (m_block.size() >= kBlock) Flush();
    }
    void Flush()
    {
        std::fwrite(m_block.data(), 1, m_block.size(), stdout);
        m_block.clear();
    }

private:
    static constexpr size_t kBlock = 65536;
    std::string m_prefix, m_suffix, m_block;
};

// A level of at least 0.001 and at most 1 as "%.4g" writes it: four significant digits, correctly
// rounded with ties to even, in fixed notation (the exponent is -3 to 0), trailing zeros and a
// bare point dropped. The level is m * 2^-shift exactly, with m below 2^53 and shift 52 to 62, so
// that m * 10^k (k at most 6) and the part that rounding drops fit in 128 bits. Returns the length.
size_t FourDigits(double level, char* text)
{
    __extension__ using Wide = unsigned __int128;
    static constexpr uint64_t kPowersOfTen[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    // The decimal exponent: the doubles nearest 0.1 and 0.01 lie above them, with no other double
    // between, so that comparing with them compares with the exact powers.
    int exponent = level >= 1.0 ? 0 : level >= 0.1 ? -1 : level >= 0.01 ? -2 : -3;
    uint64_t bits;
    std::memcpy(&bits, &level, sizeof bits);
    const uint64_t m = (bits & ((uint64_t{1} << 52) - 1)) | (uint64_t{1} << 52);
    const auto shift = static_cast<unsigned>(1075 - static_cast<int>(bits >> 52));
    const Wide scaled = static_cast<Wide>(m) * kPowersOfTen[3 - exponent];
    auto n = static_cast<uint64_t>(scaled >> shift);
    const Wide dropped = scaled & ((Wide{1} << shift) - 1), half = Wide{1} << (shift - 1);
    if (dropped > half || (dropped == half && (n & 1) != 0)) ++n;
    // Rounded up to the next power of ten: one digit fewer after the point.
    if (n == 10000) {
        n = 1000;
        ++exponent;
    }
    char digits[4];
    for (int i = 3; i >= 0; --i, n /= 10) digits[i] = static_cast<char>('0' + n % 10);
    size_t length = 0;
    if (exponent == 0) {
        text[length++] = digits[0];
        text[length++] = '.';
        for (int i = 1; i < 4; ++i) text[length++] = digits[i];
    } else {
        text[length++] = '0';
        text[length++] = '.';
        for (int i = 0; i < -exponent - 1; ++i) text[length++] = '0';
        for (int i = 0; i < 4; ++i) text[length++] = digits[i];
    }
    while (text[length - 1] == '0') --length;
    if (text[length - 1] == '.') --length;
    return length;
}

// Writes "<state>:<level>  " at `at`, in at most kLevelSpace bytes: four significant digits, as a
// stream of precision 4 writes a double; 0 below 0.001. Returns where it ends.
constexpr size_t kLevelSpace = 32;
char* PutLevel(char* at, char state, double level)
{
    *at++ = state;
    *at++ = ':';
    if (level >= 0.001 && level <= 1.0) {
        at += FourDigits(level, at);
    } else if (level < 0.001) {
        *at++ = '0';
    } else {
        // Not a level: the general conversion.
        const int n = std::snprintf(at, kLevelSpace - 4, "%.4g", level);
        at += std::clamp(n, 0, static_cast<int>(kLevelSpace) - 5);
    }
    *at++ = ' ';
    *at++ = ' ';
    return at;
}

// Name and list of a hypothesis or test line: the part right of the first "=", trimmed, cut at
// double quotes into exactly two pieces (the name keeps its blanks); list items are cut at ","
// and trimmed, and must be single characters here.
std::string_view SplitQuoted(std::string_view line, std::string& items)
{
    size_t equals = line.find('=');
    if (equals == std::string_view::npos) Fail("no '='", line);
    std::string_view pieces[2];
    if (Split(Trim(line.substr(equals + 1)), '"', pieces, 2) != 2) Fail("wrong format", line);
    std::string_view list[kMaxStates];
    size_t n = Split(pieces[1], ',', list, kMaxStates);
    if (n > kMaxStates) Fail("too many items", line);
    items.clear();
    for (size_t i = 0; i < n; ++i) {
        std::string_view item = Trim(list[i]);
        if (item.size() != 1) Fail("not a single character", line);
        items += item[0];
    }
    return pieces[0];
}

void ReadProbabilityLine(FlatNet& net, std::string_view line)
{
    // "P(key) = value", with a key without blanks.
    size_t open = line.find('('), close = line.find(')');
    size_t equals = line.find('=', close == std::string_view::npos ? line.size() : close);
    if (open != 1 || close == std::string_view::npos || equals == std::string_view::npos ||
        equals + 1 >= line.size())
        Fail("wrong format", line);
    std::string_view key = line.substr(open + 1, close - open - 1);
    // The line stands in a text whose next byte is a line end or its terminating zero.
    double value = std::strtod(line.data() + equals + 1, nullptr);
    if (!(value >= 0.0 && value <= 1.0)) Fail("probability out of range", line);

    size_t bar = key.find('|');
    std::string_view state = key.substr(bar == std::string_view::npos ? 0 : bar + 1);
    if (state.size() != 3 || !StartsWith(state, "H=") || net.stateIndex[Index(state[2])] < 0)
        Fail("unknown state", line);
    const size_t s = static_cast<size_t>(net.stateIndex[Index(state[2])]);
    if (bar == std::string_view::npos) {
        net.prior[s] = value;
        return;
    }
    size_t tagEnd = key.find('=');
    auto test = net.testIndex.find(std::string(key.substr(0, tagEnd)));
    if (test == net.testIndex.end() || bar != tagEnd + 2) Fail("unknown test or value", line);
    const size_t t = static_cast<size_t>(test->second);
    int v = net.valueIndex[t][Index(key[tagEnd + 1])];
    if (v < 0) Fail("unknown value", line);
    net.conditional[net.offsets[t] + static_cast<size_t>(v) * net.stride + s] = value;
}

void CheckSums(const FlatNet& net)
{
    // Unset probabilities are -1, which no sum of set ones survives.
    const size_t states = net.StateCount();
    if (!SumsToOne(std::accumulate(net.prior.begin(), net.prior.end(), 0.0)))
        Fail("priors do not sum to 1", "");
    for (size_t t = 0; t < net.TestCount(); ++t)
        for (size_t s = 0; s < states; ++s) {
            double sum = 0.0;
            for (size_t v = 0; v < net.values[t].size(); ++v)
                sum += net.conditional[net.offsets[t] + v * net.stride + s];
            if (!SumsToOne(sum)) Fail("probabilities do not sum to 1", net.tags[t]);
        }
}

// The posterior of every state from the products, with the engine's formula: p / (p + others)
// with one division by p, others summed in state order, 0 for a zero product.
double Confidence(const double* products, size_t states, size_t s)
{
    double others = 0.0;
    for (size_t j = 0; j < states; ++j)
        if (j != s) others += products[j];
    return products[s] == 0.0 ? 0.0 : 1.0 / (others / products[s] + 1.0);
}

// The largest whole-number gap between two of the levels. Truncation is monotonic, so the gap
// of the extremes is the largest truncated pairwise difference.
int Spread(const double* levels, size_t n, size_t stride)
{
    double low = levels[0], high = levels[0];
    for (size_t i = 1; i < n; ++i) {
        low = std::min(low, levels[i * stride]);
        high = std::max(high, levels[i * stride]);
    }
    return static_cast<int>(std::trunc(high - low));
}

void AppendFigures(std::string& out, const FlatNet& net, const std::vector<int>& figures, const char* title)
{
    std::vector<size_t> order(figures.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return figures[a] > figures[b]; });
    out += title;
    for (size_t t : order)
        Appendf(out, "#\t%d\t%s\t%s\n", figures[t], net.tags[t].c_str(), net.descriptions[t].c_str());
}

// Two states' numbers at once (the compiler's vector types, one SSE2 register on x86-64), and
// the masks their comparisons give: all bits set where true.
using Pair = double __attribute__((vector_size(16)));
using Mask = int64_t __attribute__((vector_size(16)));

Pair Load(const double* from)
{
    Pair p;
    std::memcpy(&p, from, sizeof p);
    return p;
}
void Store(double* to, Pair p)
{
    std::memcpy(to, &p, sizeof p);
}
Pair Both(double x)
{
    return Pair{x, x};
}
// Where `mask` is set, `a`, elsewhere `b`: the vector ternary would take branches without the
// blends of SSE4.1.
Pair Select(Mask mask, Pair a, Pair b)
{
    return Pair((mask & Mask(a)) | (~mask & Mask(b)));
}

// Analyze's products for the lanes [first, first + 4 * Groups): per state the prior times the
// row of every result in test order, the lanes held in registers over the whole results. A "-"
// multiplies by the row of ones, which leaves every product's bits as they are. False for results
// the network cannot classify.
template <size_t Groups>
bool MultiplyRows(const FlatNet& net, const char* results, size_t first, double* products)
{
    constexpr size_t kPairs = 2 * Groups;
    Pair lanes[kPairs];
    for (size_t k = 0; k < kPairs; ++k) lanes[k] = Load(products + first + 2 * k);
    // Rows start at multiples of 4 doubles, in a vector's memory, aligned for pairs.
    static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ >= sizeof(Pair));
    const double* table = net.conditional.data() + first;
    const int32_t* rows = net.rows.data();
    const int32_t* const end = rows + net.rows.size();
    for (const char* c = results; *c; ++c) {
        if (*c == '.') continue;
        if (rows == end) return false;
        const int32_t at = rows[Index(*c)];
        if (at < 0) return false;
        const auto* row = static_cast<const double*>(__builtin_assume_aligned(table + at, 16));
        for (size_t k = 0; k < kPairs; ++k) lanes[k] *= Load(row + 2 * k);
        rows += 256;
    }
    if (rows != end) return false;
    for (size_t k = 0; k < kPairs; ++k) Store(products + first + 2 * k, lanes[k]);
    return true;
}

// The lanes one pass over the results keeps in registers; more states take more passes.
constexpr size_t kPassLanes = 24;
using MultiplyPass = bool (*)(const FlatNet&, const char*, size_t, double*);
constexpr MultiplyPass kMultiplyRows[] = {MultiplyRows<1>, MultiplyRows<2>, MultiplyRows<3>,
                                          MultiplyRows<4>, MultiplyRows<5>, MultiplyRows<6>};
static_assert(sizeof kMultiplyRows / sizeof kMultiplyRows[0] == kPassLanes / 4);

// Every state's level, as Confidence gives it. The others' sum of a state starts from the sum of
// the states before it, in state order, and adds those after it one by one: a pair of states
// shares the additions past the pair, the first one adding its neighbour before them (the second
// adds 0, which changes no sum that starts from +0 and adds non-negative products). Lanes past
// the last state get -1, below every level, so that the ranking may run over whole pairs.
void Levels(const double* products, size_t states, size_t stride, double* levels)
{
    alignas(32) double others[kMaxStates];
    double before = 0.0;
    for (size_t s = 0; s < states; ++s) {
        others[s] = before;
        before += products[s];
    }
    for (size_t s = states; s < stride; ++s) others[s] = 0.0;
    for (size_t s = 0; s < states; s += 2) {
        Pair sum = Load(others + s) + Pair{s + 1 < states ? products[s + 1] : 0.0, 0.0};
        for (size_t j = s + 2; j < states; ++j) sum += Both(products[j]);
        Store(others + s, sum);
    }
    const Pair one = Both(1.0), zero = Both(0.0);
    for (size_t s = 0; s < stride; s += 2) {
        // A zero product divides nothing: its level is 0 whatever the quotient.
        const Pair own = Load(products + s);
        const Mask nothing = own == zero;
        const Pair level = one / (Load(others + s) / Select(nothing, one, own) + one);
        Store(levels + s, Select(nothing, zero, level));
    }
    for (size_t s = states; s < stride; ++s) levels[s] = -1.0;
}

// Places every state at its rank: the number of states with a higher level, and of earlier
// states with an equal one (levels are never NaN). Two states at a time and without branches,
// so that the order of the levels costs no mispredictions.
void RankAndPlace(const FlatNet& net, const double* levels, size_t stride, char* categories,
                  double* probabilities)
{
    const size_t states = net.StateCount();
    for (size_t s = 0; s < stride; s += 2) {
        const Pair lanes = Load(levels + s);
        // Comparisons give -1 where true: the rank is minus their sum.
        Mask rank = {0, 0};
        for (size_t j = 0; j < s; ++j) rank += Both(levels[j]) >= lanes;
        // Within the pair, the first state comes before the second.
        rank += (Both(lanes[0]) > lanes) | ((Both(lanes[0]) == lanes) & Mask{0, -1});
        rank += Both(lanes[1]) > lanes;
        for (size_t j = s + 2; j < stride; ++j) rank += Both(levels[j]) > lanes;
        for (size_t k = 0; k < 2 && s + k < states; ++k) {
            const auto at = static_cast<size_t>(-rank[k]);
            categories[at] = net.states[s + k];
            probabilities[at] = lanes[k];
        }
    }
}

}  // namespace

std::string ReadWholeFile(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) Fail("cannot open", path);
    std::string text;
    char buffer[65536];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) text.append(buffer, n);
    std::fclose(file);
    return text;
}

FlatNet ParseDescription(const std::string& text)
{
    FlatNet net;
    net.stateIndex.fill(-1);
    bool sawProbability = false;
    std::string items;
    ForEachDescriptionLine(text, [&](std::string_view line) {
        line = Trim(line);
        if (line.empty() || line[0] == '#' || StartsWith(line, "PARAMETER")) return;
        if (line[0] == 'P') {
            ReadProbabilityLine(net, line);
            sawProbability = true;
            return;
        }
        std::string_view name = SplitQuoted(line, items);
        if (line[0] == 'H') {
            if (!net.states.empty() || !net.tags.empty())
                Fail("a second hypothesis or one after tests", line);
            for (size_t s = 0; s < items.size(); ++s) {
                if (net.stateIndex[Index(items[s])] >= 0) Fail("duplicate state", line);
                net.stateIndex[Index(items[s])] = static_cast<int16_t>(s);
                net.states.push_back(items[s]);
            }
            net.prior.assign(items.size(), -1.0);
            net.stride = (items.size() + 3) / 4 * 4;
            return;
        }
        if (net.states.empty()) Fail("test before the hypothesis", line);
        std::string tag(Trim(line.substr(0, line.find('='))));
        if (!net.testIndex.emplace(tag, static_cast<int>(net.tags.size())).second)
            Fail("duplicate tag", line);
        net.tags.push_back(std::move(tag));
        net.descriptions.emplace_back(name);
        std::array<int16_t, 256>& index = net.valueIndex.emplace_back();
        index.fill(-1);
        for (size_t v = 0; v < items.size(); ++v) {
            if (index[Index(items[v])] >= 0 || items[v] == '-') Fail("duplicate or reserved value", line);
            index[Index(items[v])] = static_cast<int16_t>(v);
        }
        net.values.push_back(items);
        net.offsets.push_back(net.conditional.size());
        for (size_t v = 0; v < items.size(); ++v) {
            net.conditional.resize(net.conditional.size() + net.StateCount(), -1.0);
            net.conditional.resize(net.conditional.size() + net.stride - net.StateCount(), 1.0);
        }
    });
    if (net.states.empty()) Fail("no hypothesis", "");
    if (sawProbability) CheckSums(net);
    const size_t ones = net.conditional.size();
    net.conditional.resize(ones + net.stride, 1.0);
    if (net.conditional.size() > static_cast<size_t>(INT32_MAX)) Fail("too many probabilities", "");
    net.rows.assign(net.TestCount() * 256, -1);
    for (size_t t = 0; t < net.TestCount(); ++t) {
        int32_t* row = &net.rows[t * 256];
        row[Index('-')] = static_cast<int32_t>(ones);
        for (size_t v = 0; v < net.values[t].size(); ++v)
            row[Index(net.values[t][v])] = static_cast<int32_t>(net.offsets[t] + v * net.stride);
    }
    return net;
}

int32_t FlatAnalyze(const FlatNet& net, const char* results, char* categories, double* probabilities,
                    int32_t* count)
{
    const size_t states = net.StateCount(), stride = net.stride;
    if (states > kMaxStates || *count < static_cast<int32_t>(states)) return -1;
    alignas(32) double products[kMaxStates];
    std::copy(net.prior.begin(), net.prior.end(), products);
    std::fill(products + states, products + stride, 1.0);
    // Each pass goes over the whole results for as many states as it keeps in registers.
    for (size_t first = 0; first < stride; first += kPassLanes) {
        const size_t groups = std::min(stride - first, kPassLanes) / 4;
        if (!kMultiplyRows[groups - 1](net, results, first, products)) return -1;
    }
    alignas(32) double levels[kMaxStates];
    Levels(products, states, stride, levels);
    RankAndPlace(net, levels, stride, categories, probabilities);
    *count = static_cast<int32_t>(states);
    return 0;
}

void FlatTrain(const std::string& networkFile, const std::string& sampleFile, const std::string& outputFile)
{
    const std::string network = ReadWholeFile(networkFile);
    const FlatNet net = ParseDescription(network);
    const size_t states = net.StateCount(), tests = net.TestCount();
    std::vector<int32_t> stateCounts(states), counts(net.conditional.size()), observed(tests * states);
    int32_t samples = 0, sampleLists = 0;

    const std::string input = ReadWholeFile(sampleFile);
    const int32_t total = CountNewlines(input);
    int32_t lineNumber = 0;
    Progress progress(kTrainingBackspaces, total);
    std::string withoutDots;
    ForEachRead(input, [&](std::string_view line) {
        line = Trim(line);
        if (line.empty() || line[0] == '#') return;
        progress.Line(++lineNumber);
        if (!StartsWith(line, ";TESTS\t")) return;
        std::string_view fields[3];
        if (Split(line, '\t', fields, 3) != 3) Fail("wrong format", line);
        std::string_view results = fields[2];
        if (results.find('.') != std::string_view::npos) {
            withoutDots.clear();
            for (char c : results)
                if (c != '.') withoutDots += c;
            results = withoutDots;
        }
        if (results.size() != tests) Fail("wrong number of results", line);
        for (char name : fields[1]) {
            int s = net.stateIndex[Index(name)];
            if (s < 0) Fail("unknown state", line);
            ++stateCounts[static_cast<size_t>(s)];
            // Counts lie where the probabilities do; a "-" counts in the row of ones, which no
            // figure reads.
            int32_t* stateCounted = counts.data() + s;
            const int32_t* rows = net.rows.data();
            for (size_t t = 0; t < tests; ++t, rows += 256) {
                const int32_t row = rows[Index(results[t])];
                if (row < 0) Fail("unknown value", line);
                ++stateCounted[row];
            }
            ++samples;
        }
        sampleLists = 1;
    });
    progress.Flush();
    std::putchar('\n');
    // A state's results of a test: the sum of its counts of the test's values.
    for (size_t t = 0; t < tests; ++t)
        for (size_t v = 0; v < net.values[t].size(); ++v)
            for (size_t s = 0; s < states; ++s)
                observed[t * states + s] += counts[net.offsets[t] + v * net.stride + s];

    // The network as read, with the newline of the read that met the end.
    std::string out = network + "\n";
    std::time_t now = std::time(nullptr);
    const char* date = std::ctime(&now);
    Appendf(out, "\n# Trained by %s\n# Date of training: %s", kTrainedBy, date ? date : "\n");
    Appendf(out, "# Number of sample lists: %d\n# Number of sample strings: %d\n\n\n# Count table:\n\n",
            sampleLists, samples);
    for (size_t s = 0; s < states; ++s) Appendf(out, "# C(H=%c) = %d\n", net.states[s], stateCounts[s]);
    for (size_t t = 0; t < tests; ++t)
        for (size_t v = 0; v < net.values[t].size(); ++v)
            for (size_t s = 0; s < states; ++s)
                Appendf(out, "# C(%s=%c|H=%c) = %d\n", net.tags[t].c_str(), net.values[t][v], net.states[s],
                        counts[net.offsets[t] + v * net.stride + s]);
    for (size_t t = 0; t < tests; ++t)
        for (size_t s = 0; s < states; ++s)
            Appendf(out, "# C(H=%c,%s!=-) = %d\n", net.states[s], net.tags[t].c_str(),
                    observed[t * states + s]);

    // Estimation in key order (test, value, state), then the floor in the same order: a raised
    // probability takes its deficit from the largest of its distribution (the earliest of equal
    // ones), searched anew each time.
    std::vector<double> probabilities(counts.size());
    for (size_t t = 0; t < tests; ++t)
        for (size_t v = 0; v < net.values[t].size(); ++v)
            for (size_t s = 0; s < states; ++s) {
                const size_t i = net.offsets[t] + v * net.stride + s;
                const char* tag = net.tags[t].c_str();
                if (counts[i] == 0)
                    std::printf("WARNING: found 0 count for state: %s=%c|H=%c\n", tag, net.values[t][v],
                                net.states[s]);
                const int32_t denominator = observed[t * states + s];
                if (denominator != 0) {
                    probabilities[i] = static_cast<double>(counts[i]) / static_cast<double>(denominator);
                } else {
                    std::printf("******WARNING****** Found 0 count for state: H=%c,%s!=-\n", net.states[s],
                                tag);
                    if (counts[i] != 0) Fail("inconsistent counts", tag);
                    probabilities[i] = 1.0 / static_cast<double>(net.values[t].size());
                }
            }
    for (size_t t = 0; t < tests; ++t)
        for (size_t v = 0; v < net.values[t].size(); ++v)
            for (size_t s = 0; s < states; ++s) {
                const size_t i = net.offsets[t] + v * net.stride + s;
                const double old = probabilities[i];
                if (old >= kFloor) continue;
                size_t best = net.offsets[t] + s;
                for (size_t w = 1; w < net.values[t].size(); ++w) {
                    const size_t j = net.offsets[t] + w * net.stride + s;
                    if (probabilities[j] > probabilities[best]) best = j;
                }
                probabilities[i] = kFloor;
                probabilities[best] -= kFloor - old;
            }

    out += "\n\n\n# Probabilities:\n\n";
    for (size_t s = 0; s < states; ++s)
        Appendf(out, "P(H=%c) = %lf\n", net.states[s], 1.0 / static_cast<double>(states));
    if (std::accumulate(stateCounts.begin(), stateCounts.end(), 0) != samples)
        Fail("wrong total count", sampleFile);
    for (size_t t = 0; t < tests; ++t)
        for (size_t v = 0; v < net.values[t].size(); ++v)
            for (size_t s = 0; s < states; ++s)
                Appendf(out, "P(%s=%c|H=%c) = %lf\n", net.tags[t].c_str(), net.values[t][v], net.states[s],
                        probabilities[net.offsets[t] + v * net.stride + s]);
    WriteFile(outputFile, out, "w");

    // Reload, and the figures from the reloaded probabilities: each value of a test alone, every
    // other test unobserved. CP: the spread of the states' levels for one value; DP: the spread of
    // one state's level over the values.
    const FlatNet trained = ParseDescription(ReadWholeFile(outputFile));
    std::vector<int> dp(tests, 0), cp(tests, 0);
    std::vector<double> levels;
    double products[kMaxStates];
    for (size_t t = 0; t < tests; ++t) {
        const size_t values = trained.values[t].size();
        levels.resize(values * states);
        for (size_t v = 0; v < values; ++v) {
            const double* row = &trained.conditional[trained.offsets[t] + v * trained.stride];
            for (size_t s = 0; s < states; ++s) products[s] = trained.prior[s] * row[s];
            for (size_t s = 0; s < states; ++s)
                levels[v * states + s] = Confidence(products, states, s) * 100.0;
            cp[t] = std::max(cp[t], Spread(&levels[v * states], states, 1));
        }
        for (size_t s = 0; s < states; ++s) dp[t] = std::max(dp[t], Spread(&levels[s], values, states));
    }
    out.clear();
    AppendFigures(out, trained, dp, "\n#\tDP values:\n#\t-----------\n");
    out += "#\n#\n";
    AppendFigures(out, trained, cp, "#\tCP values:\n#\t-----------\n");
    WriteFile(outputFile, out, "a");

    std::printf("End of training.\nNumber of sample lists processed: %d\nTotal sample count: %d\n",
                sampleLists, samples);
    std::fflush(stdout);
}

void FlatAnalyzeFile(const FlatNet& net, const std::string& inputFile, const std::string& outputFile)
{
    const std::string input = ReadWholeFile(inputFile);
    const int32_t total = CountNewlines(input);
    std::string out;
    out.reserve(input.size() * 2);
    int32_t linesRead = 0, correct = 0, wrong = 0;
    std::string results;
    char categories[kMaxStates];
    double probabilities[kMaxStates];
    char resultLine[kMaxStates * kLevelSpace + 1];
    Progress progress(kBatchBackspaces, total);
    ForEachRead(input, [&](std::string_view line) {
        (out += line) += '\n';
        progress.Line(++linesRead);
        // A line that starts so is no blank one.
        if (!StartsWith(line, ";TESTS\t")) return;
        std::string_view fields[3];
        if (Split(line, '\t', fields, 3) < 3) Fail("wrong format", line);
        results.assign(fields[2]);
        int32_t count = static_cast<int32_t>(kMaxStates);
        if (FlatAnalyze(net, results.c_str(), categories, probabilities, &count) != 0)
            Fail("cannot classify", line);
        // Right when the most probable state is one of the expected ones.
        if (fields[1].find(categories[0]) != std::string_view::npos) {
            out += ";OK\t";
            ++correct;
        } else {
            out += ";ERROR\t";
            ++wrong;
        }
        char* end = resultLine;
        for (int32_t i = 0; i < count; ++i) end = PutLevel(end, categories[i], probabilities[i]);
        *end++ = '\n';
        out.append(resultLine, static_cast<size_t>(end - resultLine));
    });
    progress.Flush();
    double accuracy = correct * 100.0 / (wrong + correct);
    char text[256];
    std::snprintf(text, sizeof text, "Accuracy: %.2f %%\n", accuracy);
    ((out += "\n\n;") += text) += '\n';
    WriteFile(outputFile, out, "w");
    std::printf("\n\n%s\n", text);
    std::fflush(stdout);
}

}  // namespace bench
