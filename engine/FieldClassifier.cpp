#include "engine/FieldClassifier.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string_view>

#include "engine/NumberText.h"
#include "engine/ProgressCounter.h"
#include "safe/FileChecks.h"
#include "safe/Numbers.h"
#include "safe/OutputFile.h"

namespace veltra {

namespace {

// The fields of a line as GetTokens("\t", true) cuts them, without copying: runs of tabs separate
// and the text ends at its first zero byte. Returns the number of fields and keeps the first
// `capacity` of them.
size_t CutFields(const char* text, std::string_view* fields, size_t capacity)
{
    size_t count = 0;
    for (const char* p = text + std::strspn(text, "\t"); *p; p += std::strspn(p, "\t")) {
        const size_t length = std::strcspn(p, "\t");
        if (count < capacity) fields[count] = std::string_view(p, length);
        ++count;
        p += length;
    }
    return count;
}

// True when every byte is white space (the line trims to nothing).
bool IsBlank(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), IsWhiteSpace);
}

void Write(std::ostream& out, const std::string& text)
{
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace

void FieldClassifier::ProcessSampleLine(String line, int32_t* sampleListCount)
{
    if (!line.StartsWith(";TESTS\t")) return;
    if (m_fastPath) {
        std::string_view fields[3];
        if (CutFields(line.c_str(), fields, 3) != 3) VELTRA_RAISE("Wrong format in line:\n", line);
        m_cleaned.assign(fields[2]);
        m_cleaned.erase(std::remove(m_cleaned.begin(), m_cleaned.end(), '.'), m_cleaned.end());
        for (char state : fields[1])
            CountSample(state, m_cleaned.data(), static_cast<int32_t>(m_cleaned.size()));
        *sampleListCount = 1;
        return;
    }
    // Runs of tabs count as one separator.
    AutoPtr<Vector<String>> tokens(line.GetTokens("\t", true));
    if (tokens->Size() != 3) VELTRA_RAISE("Wrong format in line:\n", line);
    const String& states = (*tokens)[1];
    String results = (*tokens)[2].RemoveAll('.');
    for (int32_t i = 0; i < states.Length(); ++i) AddSample(String(states[i]), results);
    // An assignment, not an increment: the trained file reports 1 once any sample line was read.
    *sampleListCount = 1;
}

bool FieldClassifier::RankFast(const char* results, size_t length, bool fresh)
{
    const CompiledNetwork* compiled = m_network.GetCompiled();
    if (!compiled) return false;
    if (std::memchr(results, '.', length)) {
        m_cleaned.assign(results, length);
        m_cleaned.erase(std::remove(m_cleaned.begin(), m_cleaned.end(), '.'), m_cleaned.end());
        results = m_cleaned.data();
        length = m_cleaned.size();
    }
    if (length > INT32_MAX) return false;
    const size_t states = static_cast<size_t>(compiled->StateCount());
    m_levels.resize(states);
    const int32_t count = static_cast<int32_t>(length);
    if (!(fresh ? m_network.GetFreshLevels(results, count, m_levels.data())
                : m_network.GetConfLevels(results, count, m_levels.data())))
        return false;
    // SortDubiousDataList's order: decreasing level, equal levels in state order. Levels are never
    // NaN (every probability lies in [0, 1]), so a stable insertion gives the same order as its
    // repeated selection of the earliest largest level.
    m_ranking.resize(states);
    for (size_t i = 0; i < states; ++i) {
        const double level = m_levels[i];
        size_t at = i;
        for (; at > 0 && level > m_levels[static_cast<size_t>(m_ranking[at - 1])]; --at)
            m_ranking[at] = m_ranking[at - 1];
        m_ranking[at] = static_cast<int32_t>(i);
    }
    return true;
}

Ptr<DubiousDataList> FieldClassifier::Analyze(String results, bool verbose)
{
    if (!m_network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    // Full stops only group the results for the eye; they never reach inference.
    results = results.RemoveAll('.');

    // The table owns its records; the caller owns the table.
    return FillOrDelete(NewObject<DubiousDataList>(), [&](DubiousDataList& table) {
        table.m_deleteItems = true;
        if (!verbose && RankFast(results.c_str(), static_cast<size_t>(results.Length()))) {
            // Already ranked: the records go in in the order the sort would leave them.
            const CompiledNetwork& compiled = *m_network.GetCompiled();
            for (int32_t s : m_ranking)
                AddDubiousData(table, String(compiled.StateName(s)), m_levels[static_cast<size_t>(s)]);
            return;
        }
        AutoPtr<Vector<String>> stateKeys(m_network.GetHypothesisKeys());
        for (int32_t i = 0; i < stateKeys->Size(); ++i) {
            const String& stateKey = (*stateKeys)[i];
            const double level = m_network.GetConfLevel(stateKey, results, verbose);
            AddDubiousData(table, StateOfStateKey(stateKey), level);
        }
        SortDubiousDataList(table);
    });
}

int32_t FieldClassifier::AnalyzeInto(const char* results, char* categories, double* probabilities,
                                     int32_t* count)
{
    if (!m_network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    if (RankFast(results, std::strlen(results))) {
        const CompiledNetwork& compiled = *m_network.GetCompiled();
        const int32_t n = compiled.StateCount();
        if (*count < n) return -1;
        *count = n;
        for (int32_t i = 0; i < n; ++i) {
            const int32_t s = m_ranking[static_cast<size_t>(i)];
            // The name's first character: the one after "H=", the terminating zero for an empty name.
            categories[i] = compiled.StateKey(s)[2];
            probabilities[i] = m_levels[static_cast<size_t>(s)];
        }
        return 0;
    }
    AutoPtr<DubiousDataList> table(Analyze(String(results), false));
    int32_t n = table->Size();
    if (*count < n) return -1;
    *count = n;
    Ptr<Vector<String>> states = table->GetKeys();
    for (int32_t i = 0; i < n; ++i) {
        const DubiousData& entry = *table->Get((*states)[i]);
        // States are one character; an empty name gives its terminating zero.
        categories[i] = entry.GetValue()[0];
        probabilities[i] = entry.m_figure;
    }
    return 0;
}

int32_t FieldClassifier::ClassifyFresh(const char* results, char* categories, double* probabilities,
                                       int32_t capacity)
{
    if (!m_network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    if (RankFast(results, std::strlen(results), true)) {
        const CompiledNetwork& compiled = *m_network.GetCompiled();
        const int32_t n = compiled.StateCount();
        if (n > capacity) return n;
        for (int32_t i = 0; i < n; ++i) {
            const int32_t s = m_ranking[static_cast<size_t>(i)];
            categories[i] = compiled.StateKey(s)[2];
            probabilities[i] = m_levels[static_cast<size_t>(s)];
        }
        return n;
    }
    // The keyed way, which reports what the arrays cannot answer.
    int32_t n = capacity;
    if (AnalyzeInto(results, categories, probabilities, &n) != 0)
        return m_network.GetHypothesis().GetStateCount();
    return n;
}

void FieldClassifier::Tell(int64_t number, std::string_view expected, std::string_view results)
{
    std::string cleaned;
    if (results.find('.') != std::string_view::npos) {
        cleaned.assign(results);
        cleaned.erase(std::remove(cleaned.begin(), cleaned.end(), '.'), cleaned.end());
        results = cleaned;
    }
    m_judgedLines->Judged(number, expected, results, static_cast<int32_t>(m_tellStates.size()),
                          m_tellStates.data(), m_tellLevels.data());
}

bool FieldClassifier::JudgeFast(int64_t number, const std::string_view* fields, std::ostream& out,
                                std::string& text)
{
    if (!RankFast(fields[2].data(), fields[2].size())) return false;
    const CompiledNetwork& compiled = *m_network.GetCompiled();
    const std::string_view winner = std::string_view(compiled.StateKey(m_ranking[0])).substr(2);
    // A line is right when the most probable state is any one of its expected states.
    const bool right = fields[1].find(winner) != std::string_view::npos;
    text = right ? ";OK\t" : ";ERROR\t";
    ++(right ? m_tally.correct : m_tally.wrong);
    for (int32_t s : m_ranking) {
        text.append(compiled.StateKey(s), 2, std::string::npos);
        text += ':';
        const double level = m_levels[static_cast<size_t>(s)];
        if (level < 0.001) {
            text += '0';
        } else if (!AppendPrecision4(text, level)) {
            Write(out, text);
            text.clear();
            out << level;
        }
        text += "  ";
    }
    text += '\n';
    Write(out, text);
    if (m_judgedLines) {
        m_tellStates.clear();
        m_tellLevels.clear();
        for (int32_t s : m_ranking) {
            m_tellStates.push_back(compiled.StateKey(s)[2]);
            m_tellLevels.push_back(m_levels[static_cast<size_t>(s)]);
        }
        Tell(number, fields[1], fields[2]);
    }
    return true;
}

void FieldClassifier::JudgeKeyed(int64_t number, const String& line, std::ostream& out)
{
    AutoPtr<Vector<String>> tokens(line.GetTokens("\t", true));
    if (tokens->Size() < 3) VELTRA_RAISE("Wrong format in line:\n", line);
    const String& expected = (*tokens)[1];
    AutoPtr<DubiousDataList> table(Analyze((*tokens)[2].RemoveAll('.'), false));
    SortDubiousDataList(*table);  // sorted by Analyze already; sorting again changes nothing

    Ptr<Vector<String>> states = table->GetKeys();
    // A line is right when the most probable state is any one of its expected states.
    if (expected.Contains(table->Get((*states)[0])->GetValue())) {
        out << ";OK\t";
        ++m_tally.correct;
    } else {
        out << ";ERROR\t";
        ++m_tally.wrong;
    }
    for (int32_t i = 0; i < states->Size(); ++i) {
        const DubiousData& entry = *table->Get((*states)[i]);
        out << entry.GetValue() << ":";
        if (entry.m_figure < 0.001)
            out << 0;
        else
            out << entry.m_figure;
        out << "  ";
    }
    out << "\n";
    if (m_judgedLines) {
        m_tellStates.clear();
        m_tellLevels.clear();
        for (int32_t i = 0; i < states->Size(); ++i) {
            const DubiousData& entry = *table->Get((*states)[i]);
            m_tellStates.push_back(entry.GetValue()[0]);
            m_tellLevels.push_back(entry.m_figure);
        }
        Tell(number, expected.str(), (*tokens)[2].str());
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
    // Lines are assembled and written at once where the output writes numbers plainly.
    const bool assemble = m_fastPath && WritesPlainNumbers(out);
    String line;
    std::string text;
    int64_t number = 1;
    for (; !in.eof(); ++number) {
        m_place.line = number;
        // A full disk stops the run at the next line; the output is at fault.
        if (out.fail()) {
            m_place = {outputFile, 0};
            output.CheckWritten();
        }
        String::ReadLine(in, line, inputFile, number);
        if (assemble)
            Write(out, text.assign(line.str()) += '\n');
        else
            out << line << "\n";
        progress.Step(number);

        if (assemble) {
            if (IsBlank(line.str()) || line.str().compare(0, 7, ";TESTS\t") != 0) continue;
            std::string_view fields[3];
            if (CutFields(line.c_str(), fields, 3) < 3) VELTRA_RAISE("Wrong format in line:\n", line);
            if (JudgeFast(number, fields, out, text)) continue;
        } else if (line.Trim().Length() == 0 || !line.StartsWith(";TESTS\t")) {
            continue;
        }
        JudgeKeyed(number, line, out);
    }
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
