#include "engine/FieldClassifier.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <locale>
#include <sstream>
#include <string_view>

#include "engine/NumberText.h"
#include "engine/ProgressCounter.h"
#include "safe/FileChecks.h"
#include "safe/Numbers.h"
#include "safe/OutputFile.h"

namespace veltra {

namespace {

// The fields of the `length` bytes of a line as GetTokens("\t", true) cuts them, without copying:
// runs of tabs separate. Returns the number of fields and keeps the first `capacity` of them.
size_t CutFields(const char* text, size_t length, std::string_view* fields, size_t capacity)
{
    size_t count = 0;
    const char* const end = text + length;
    for (const char* p = text; p < end;) {
        if (*p == '\t') {
            ++p;
            continue;
        }
        // Short fields (a marker, states) end within a few bytes; a long one (results) is
        // searched for its end in one call.
        const char* tab = p + 1;
        for (const char* near = std::min(end, p + 16); tab < near && *tab != '\t';) ++tab;
        if (tab < end && *tab != '\t') {
            const void* found = std::memchr(tab, '\t', static_cast<size_t>(end - tab));
            tab = found ? static_cast<const char*>(found) : end;
        }
        if (count < capacity) fields[count] = std::string_view(p, static_cast<size_t>(tab - p));
        ++count;
        p = tab;
    }
    return count;
}

// The results without their full stops, which only group them for the eye and never reach
// inference or counting: the text itself, or a copy in `scratch` where it holds some.
std::string_view WithoutFullStops(std::string_view results, std::string& scratch)
{
    if (results.find('.') == std::string_view::npos) return results;
    scratch.assign(results);
    scratch.erase(std::remove(scratch.begin(), scratch.end(), '.'), scratch.end());
    return scratch;
}

// The bytes of a stream at precision 4 in the classic locale for a level beyond a probability's
// range (the rendering `level < 0.001` and PutPrecision4 leave), put at `at`; where they end.
constexpr size_t kStreamedSize = 16;  // "-1.798e+308" and every other such text fit
char* PutStreamed(char* at, double level)
{
    std::ostringstream streamed;
    streamed.imbue(std::locale::classic());
    streamed.precision(4);
    streamed << level;
    const std::string text = streamed.str();
    return std::copy_n(text.data(), std::min(text.size(), kStreamedSize), at);
}

// Copies the `count` doubles at `from` over those at `to`; true when they had the same bits.
// Eight bytes at a time and without a branch: the levels were just written, and a wider read of
// them would wait for the writes to reach the cache.
bool KeepBits(const double* from, double* to, size_t count)
{
    uint64_t differ = 0;
    for (size_t i = 0; i < count; ++i) {
        uint64_t x, y;
        std::memcpy(&x, from + i, sizeof x);
        std::memcpy(&y, to + i, sizeof y);
        differ |= x ^ y;
        std::memcpy(to + i, &x, sizeof x);
    }
    return differ == 0;
}

}  // namespace

FieldClassifier::FieldClassifier()
{
    m_sampleTextType = &typeid(FieldClassifier);
    m_sampleText = [](BayesianEngine& engine, const char* line, size_t length, int32_t* sampleListCount) {
        static_cast<FieldClassifier&>(engine).ReadSampleText(line, length, sampleListCount);
    };
}

void FieldClassifier::ProcessSampleLine(String line, int32_t* sampleListCount)
{
    // The text ends at its first zero byte, as a line read from a file does.
    ReadSampleText(line.c_str(), std::strlen(line.c_str()), sampleListCount);
}

void FieldClassifier::ReadSampleText(const char* line, size_t length, int32_t* sampleListCount)
{
    if (length < 7 || std::memcmp(line, ";TESTS\t", 7) != 0) return;
    std::string_view fields[3];
    if (CutFields(line, length, fields, 3) != 3)
        VELTRA_RAISE("Wrong format in line:\n", String(std::string(line, length)));
    const std::string_view results = WithoutFullStops(fields[2], m_cleaned);
    // One sample per expected state.
    CountSamples(fields[1], results);
    // An assignment, not an increment: the trained file reports 1 once any sample line was read.
    *sampleListCount = 1;
    if (m_sampleLines) m_sampleLines->Counted(m_place.line, fields[1], results);
}

void FieldClassifier::Rank(const char* results, size_t length, bool verbose, FastPath::Caches caches)
{
    if (!m_network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    m_field = WithoutFullStops(std::string_view(results, length), m_cleaned);
    if (m_namesChange != m_network.GetChangeCount()) {
        const Hypothesis& hypothesis = m_network.GetHypothesis();
        m_names.clear();
        // A result line: its verdict, each state's name, level and spaces, its newline.
        m_resultLineSize = 7 + 1;
        for (int32_t s = 0; s < hypothesis.GetStateCount(); ++s) {
            m_names.push_back(hypothesis.GetState(s).str());
            m_resultLineSize += m_names.back().size() + 1 + std::max(kPrecision4Size, kStreamedSize) + 2;
        }
        m_namesChange = m_network.GetChangeCount();
    }
    const int32_t states = static_cast<int32_t>(m_names.size());
    m_levels.resize(m_names.size());
    m_ranking.resize(m_names.size());
    if (!verbose && m_fast.Decide(m_field.data(), m_field.size(), caches)) {
        m_fast.Levels(m_levels.data());
    } else {
        AutoPtr<Vector<String>> stateKeys(m_network.GetHypothesisKeys());
        const String cleaned{std::string(m_field)};
        for (int32_t s = 0; s < states; ++s)
            m_levels[static_cast<size_t>(s)] = m_network.GetConfLevel((*stateKeys)[s], cleaned, verbose);
    }
    // The ranking is a function of the levels' bits: a field classified again keeps its ranking.
    const bool sameCount = m_rankedLevels.size() == m_levels.size();
    if (!sameCount) m_rankedLevels.resize(m_levels.size());
    if (KeepBits(m_levels.data(), m_rankedLevels.data(), m_levels.size()) && sameCount) return;
    RankByFigure(m_levels.data(), states, m_ranking.data());
}

Ptr<DubiousDataList> FieldClassifier::Analyze(String results, bool verbose)
{
    Rank(results.c_str(), static_cast<size_t>(results.Length()), verbose, FastPath::Caches::kUsed);
    // The table owns its records, added in ranking order; the caller owns the table.
    return FillOrDelete(NewObject<DubiousDataList>(), [&](DubiousDataList& table) {
        table.m_deleteItems = true;
        for (int32_t s : m_ranking)
            AddDubiousData(table, String(m_names[static_cast<size_t>(s)]), m_levels[static_cast<size_t>(s)]);
    });
}

int32_t FieldClassifier::CopyRanking(char* categories, double* probabilities, int32_t capacity) const
{
    const int32_t n = static_cast<int32_t>(m_ranking.size());
    if (n > capacity) return n;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t s = m_ranking[static_cast<size_t>(i)];
        // States are one character; an empty name gives its terminating zero.
        categories[i] = m_names[static_cast<size_t>(s)].c_str()[0];
        probabilities[i] = m_levels[static_cast<size_t>(s)];
    }
    return n;
}

int32_t FieldClassifier::AnalyzeInto(const char* results, char* categories, double* probabilities,
                                     int32_t* count)
{
    Rank(results, std::strlen(results), false, FastPath::Caches::kUsed);
    const int32_t n = CopyRanking(categories, probabilities, *count);
    if (n > *count) return -1;
    *count = n;
    return 0;
}

int32_t FieldClassifier::ClassifyFresh(const char* results, char* categories, double* probabilities,
                                       int32_t capacity)
{
    Rank(results, std::strlen(results), false, FastPath::Caches::kBypassed);
    return CopyRanking(categories, probabilities, capacity);
}

bool FieldClassifier::WinnerExpected(std::string_view expected) const
{
    if (m_ranking.empty()) VELTRA_RAISE("Cannot access element of empty Vector");  // no winner to judge
    // A line is right when the most probable state is any one of its expected states.
    const std::string& winner = m_names[static_cast<size_t>(m_ranking[0])];
    if (winner.size() == 1) return std::find(expected.begin(), expected.end(), winner[0]) != expected.end();
    return expected.find(winner) != std::string_view::npos;
}

bool FieldClassifier::JudgeFresh(std::string_view results, std::string_view expected, char* categories,
                                 double* probabilities, int32_t capacity)
{
    Rank(results.data(), results.size(), false, FastPath::Caches::kBypassed);
    const bool right = WinnerExpected(expected);
    CopyRanking(categories, probabilities, capacity);
    return right;
}

void FieldClassifier::Judge(int64_t number, const std::string_view* fields, TextBlock& block)
{
    Rank(fields[2].data(), fields[2].size(), false, FastPath::Caches::kUsed);
    const bool right = WinnerExpected(fields[1]);
    ++(right ? m_tally.correct : m_tally.wrong);
    char* at = block.Room(m_resultLineSize);
    const std::string_view verdict = right ? ";OK\t" : ";ERROR\t";
    at = std::copy(verdict.begin(), verdict.end(), at);
    for (int32_t s : m_ranking) {
        const std::string& name = m_names[static_cast<size_t>(s)];
        at = std::copy(name.begin(), name.end(), at);
        *at++ = ':';
        const double level = m_levels[static_cast<size_t>(s)];
        if (level < 0.001) {
            *at++ = '0';
        } else if (char* end = PutPrecision4(at, level)) {
            at = end;
        } else {
            at = PutStreamed(at, level);
        }
        *at++ = ' ';
        *at++ = ' ';
    }
    *at++ = '\n';
    block.Took(at);
    if (m_judgedLines) {
        m_tellStates.resize(m_ranking.size());
        m_tellLevels.resize(m_ranking.size());
        CopyRanking(m_tellStates.data(), m_tellLevels.data(), static_cast<int32_t>(m_ranking.size()));
        m_judgedLines->Judged(number, fields[1], m_field, static_cast<int32_t>(m_ranking.size()),
                              m_tellStates.data(), m_tellLevels.data());
    }
}

void FieldClassifier::AnalyzeFile(String inputFile, String outputFile)
{
    // The input is read twice (its newlines are counted first), and the output must not be it:
    // both are checked before the output is opened. The judged copy is written beside the output
    // and replaces it at the end (OutputFile).
    RequireRereadable(inputFile);
    std::ifstream in(inputFile.c_str());
    if (!in.is_open()) VELTRA_RAISE("Cannot open file: ", inputFile);
    RefuseOverwrite(outputFile, inputFile);
    m_place = {outputFile, 0};
    OutputFile output(outputFile, OutputFile::Use::kWriteOnly);
    std::ostream& out = output.Stream();

    m_tally = Tally();
    m_place = {inputFile, 0};
    int32_t total = CountNewlines(in, inputFile, 0, &m_place.line);
    out.precision(4);
    ProgressCounter progress(ProgressCounter::kEvaluationBackspaces, total);
    LineReader reader(in, inputFile);
    char* line = nullptr;
    size_t length = 0;
    TextBlock block(out);
    int64_t number = 1;
    for (; !reader.AtEnd(); ++number) {
        m_place.line = number;
        // A full disk stops the run at the next line; the output is at fault.
        if (out.fail()) {
            m_place = {outputFile, 0};
            output.CheckWritten();
        }
        reader.Next(line, length, number);
        // The line copied with its newline.
        char* const copy = block.Room(length + 1);
        std::memcpy(copy, line, length);
        copy[length] = '\n';
        block.Took(copy + length + 1);
        progress.Step(number);
        if (length < 7 || std::memcmp(line, ";TESTS\t", 7) != 0) continue;
        std::string_view fields[3];
        if (CutFields(line, length, fields, 3) < 3)
            VELTRA_RAISE("Wrong format in line:\n", String(std::string(line, length)));
        Judge(number, fields, block);
    }
    block.Flush();
    progress.Finish(number - 1, false);
    m_place = {outputFile, 0};

    // No test lines make 0 / 0: the text is the platform's rendering of not-a-number.
    const double accuracy = m_tally.correct * 100.0 / (static_cast<double>(m_tally.wrong) + m_tally.correct);
    const std::string accuracyText = "Accuracy: " + FixedNumber(accuracy, 2) + " %";
    out << "\n\n;" << accuracyText << "\n" << std::endl;
    WriteMessage(MessageKind::kSummary, accuracyText, "\n\n", "\n\n");
    in.close();
    output.Commit();
    m_place = Place();
}

}  // namespace veltra
