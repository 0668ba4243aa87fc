#include "engine/BayesianEngine.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/NumberText.h"
#include "engine/ProgressCounter.h"
#include "safe/FileChecks.h"
#include "safe/Numbers.h"
#include "safe/OutputFile.h"

namespace veltra {

namespace {

// "P(%s) = %lf\n": the probability lines of a trained file, which the reader takes up on reload.
std::string ProbabilityLine(const String& key, double probability)
{
    return "P(" + std::string(key.c_str()) + ") = " + FixedNumber(probability, 6) + "\n";
}

}  // namespace

std::string TrainingDate(std::time_t time)
{
    // ctime's text, without its buffer shared by every thread: engines train on threads of their own.
    std::tm local{};
#if defined(_WIN32)
    if (localtime_s(&local, &time) != 0) return "\n";
#else
    if (!localtime_r(&time, &local)) return "\n";
#endif
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    if (local.tm_wday < 0 || local.tm_wday > 6 || local.tm_mon < 0 || local.tm_mon > 11) return "\n";
    char text[64];
    std::snprintf(text, sizeof text, "%.3s %.3s%3d %.2d:%.2d:%.2d %d\n", kDays[local.tm_wday],
                  kMonths[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  1900 + local.tm_year);
    return text;
}

void BayesianEngine::InitializeThruFile(String path)
{
    LoadFile(path.str(), path);
}

std::string BayesianEngine::ReadDescription(const std::string& path, const String& name)
{
    m_place = {name, 0};
    std::ifstream in(path.c_str());
    if (!in.is_open()) VELTRA_RAISE("Cannot open file: ", name);
    std::string text;
    String line;
    // The end test comes before each read, so a final newline yields one more, empty line.
    for (int64_t number = 1; !in.eof(); ++number) {
        m_place.line = number;
        String::ReadLine(in, line, name, number);
        text += line.str();
        text += '\n';
    }
    in.close();
    m_place = Place();
    return text;
}

void BayesianEngine::LoadFile(const std::string& path, const String& name, std::string* kept)
{
    std::string text = ReadDescription(path, name);
    m_place = {name, 0};
    try {
        m_network.Load(String(text));
    } catch (...) {
        m_place.line = m_network.GetLoadFacts().failedLine;
        throw;
    }
    m_place = Place();
    if (kept) *kept = std::move(text);
}

void BayesianEngine::Train(String networkFile, String sampleFile, String outputFile, bool counts)
{
    // Both inputs are read twice: neither may be a pipe or a device, and the output is never one
    // of them. All is checked before the output is opened. The trained file is written beside
    // the output and replaces it at the end (OutputFile).
    RequireRereadable(networkFile);
    std::ifstream network(networkFile.c_str());
    if (!network.is_open()) VELTRA_RAISE("Cannot open file: ", networkFile);
    RequireRereadable(sampleFile);
    std::ifstream samples(sampleFile.c_str());
    if (!samples.is_open()) {
        network.close();
        VELTRA_RAISE("Cannot open file: ", sampleFile);
    }
    RefuseOverwrite(outputFile, networkFile);
    RefuseOverwrite(outputFile, sampleFile);
    WriteTrained(network, networkFile, outputFile, counts, [&](int32_t& sampleListCount) {
        if (!counts) m_fast.StartCounting(m_countTable);
        ReadSampleFile(samples, sampleFile, counts, sampleListCount);
        samples.close();
    });
}

void BayesianEngine::TrainFromCounts(String networkFile, const int64_t* counts, String outputFile)
{
    RequireRereadable(networkFile);
    std::ifstream network(networkFile.c_str());
    if (!network.is_open()) VELTRA_RAISE("Cannot open file: ", networkFile);
    RefuseOverwrite(outputFile, networkFile);
    WriteTrained(network, networkFile, outputFile, false, [&](int32_t& sampleListCount) {
        // The counts of the table in its order, then the samples, then whether any sample line was
        // read; each within the 32 bits the trained file gives it.
        Ptr<Vector<String>> keys = m_countTable.GetKeys();
        const int32_t entries = keys->Size();
        for (int32_t i = 0; i <= entries; ++i) {
            const String& key = i < entries ? (*keys)[i] : String("the samples");
            if (counts[i] < 0) VELTRA_RAISE("The count of ", key, " is negative: ", counts[i]);
            if (counts[i] > INT32_MAX) VELTRA_RAISE("The count of ", key, " would pass 2147483647");
            if (i < entries) m_countTable.Get(key).m_value = static_cast<int32_t>(counts[i]);
        }
        m_totalSampleCount = static_cast<int32_t>(counts[entries]);
        sampleListCount = counts[entries + 1] > 0 ? 1 : 0;
    });
}

int32_t BayesianEngine::CountEntries()
{
    return PrepareBlock();
}

int32_t BayesianEngine::PrepareBlock()
{
    if (!m_network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    if (m_blockReady && m_blockLoad == m_network.GetLoadCount()) {
        for (int32_t* entry : m_blockEntries) *entry = 0;
        m_totalSampleCount = 0;
        m_fast.RestartCounting();
        return static_cast<int32_t>(m_blockEntries.size());
    }
    SeedCountTable();
    m_blockEntries.clear();
    Ptr<Vector<String>> keys = m_countTable.GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i)
        m_blockEntries.push_back(&m_countTable.Get((*keys)[i]).m_value);
    m_fast.StartCounting(m_countTable);
    m_blockReady = true;
    m_blockLoad = m_network.GetLoadCount();
    return static_cast<int32_t>(m_blockEntries.size());
}

namespace {

// The caller's bytes as an input stream, read where they are.
class MemoryInput : public std::streambuf {
public:
    MemoryInput(const char* data, size_t length)
    {
        char* begin = const_cast<char*>(data);  // only ever read
        setg(begin, begin, begin + length);
    }
};

}  // namespace

void BayesianEngine::CountBlock(const char* lines, size_t length, const String& file, int64_t firstLine,
                                int64_t* counts)
{
    const int32_t entries = PrepareBlock();
    int32_t sampleListCount = 0;
    MemoryInput buffer(lines, length);
    std::istream in(&buffer);
    ReadSampleLines(in, file, firstLine, false, sampleListCount, nullptr);
    for (int32_t i = 0; i < entries; ++i) counts[i] += *m_blockEntries[static_cast<size_t>(i)];
    counts[entries] += m_totalSampleCount;
    if (sampleListCount) counts[entries + 1] = 1;
}

void BayesianEngine::CountInto(int64_t* counts, const std::function<void()>& count)
{
    const int32_t entries = PrepareBlock();
    {
        // The flat counters go into the count table however the counting ends.
        struct FoldOnExit {
            FastPath& fast;
            ~FoldOnExit() { fast.FoldCounts(); }
        } fold{m_fast};
        count();
    }
    for (int32_t i = 0; i < entries; ++i) counts[i] += *m_blockEntries[static_cast<size_t>(i)];
    counts[entries] += m_totalSampleCount;
}

void BayesianEngine::CountSampleFile(const String& sampleFile)
{
    RequireRereadable(sampleFile);
    std::ifstream samples(sampleFile.c_str());
    if (!samples.is_open()) VELTRA_RAISE("Cannot open file: ", sampleFile);
    int32_t sampleListCount = 0;
    ReadSampleFile(samples, sampleFile, false, sampleListCount);
}

void BayesianEngine::CountSamples(std::string_view states, std::string_view results)
{
    for (char state : states) CountSample(state, results.data(), static_cast<int32_t>(results.size()));
}

std::string BayesianEngine::ProbabilitySection(const int64_t* counts)
{
    const int32_t entries = PrepareBlock();
    for (int32_t i = 0; i <= entries; ++i) {
        // What one training run counted stays within 32 bits; a difference of two never passes it.
        if (counts[i] < 0 || counts[i] > INT32_MAX) VELTRA_RAISE("A count is out of range: ", counts[i]);
        if (i < entries) *m_blockEntries[static_cast<size_t>(i)] = static_cast<int32_t>(counts[i]);
    }
    m_totalSampleCount = static_cast<int32_t>(counts[entries]);
    OnSamplesRead();
    std::ostringstream out;
    WriteProbabilities(out, false, false);
    return out.str();
}

void BayesianEngine::WriteTrained(std::istream& network, const String& networkFile, const String& outputFile,
                                  bool counts, const std::function<void(int32_t& sampleListCount)>& count)
{
    m_place = {outputFile, 0};
    OutputFile output(outputFile, OutputFile::Use::kReadBack);
    m_place = Place();
    std::ostream& out = output.Stream();

    InitializeThruFile(networkFile);
    CopyNetwork(network, networkFile, out);

    SeedCountTable();
    int32_t sampleListCount = 0;
    count(sampleListCount);
    OnSamplesRead();

    WriteCountTable(out, sampleListCount);
    WriteProbabilities(out, counts, true);
    m_place = {outputFile, 0};
    output.Close();
    m_place = Place();

    LoadFile(output.ReadPath(), outputFile);
    AppendFigures(output);
    m_place = {outputFile, 0};
    output.Commit();
    m_place = Place();

    WriteMessage(MessageKind::kSummary, "End of training.");
    WriteMessage(MessageKind::kSummary, "Number of sample lists processed: " + IntegerText(sampleListCount));
    WriteMessage(MessageKind::kSummary, "Total sample count: " + IntegerText(m_totalSampleCount));
}

void BayesianEngine::CopyNetwork(std::istream& network, const String& networkFile, std::ostream& out)
{
    // The trained file begins with the description the samples are counted against, verbatim;
    // the text of the read that meets the end is written too.
    String line;
    m_place = {networkFile, 0};
    for (int64_t number = 1; !network.eof(); ++number) {
        m_place.line = number;
        String::ReadLine(network, line, networkFile, number);
        out << line << "\n";
    }
    m_place = Place();
}

void BayesianEngine::AppendFigures(OutputFile& output)
{
    // The per-test figures of the reloaded network close the file: comment lines only.
    output.Reopen();
    std::ostream& append = output.Stream();
    WriteFigures(append, TestFigure::kDP);
    append << "#\n#\n";
    WriteFigures(append, TestFigure::kCP);
    output.CheckWritten();
}

void BayesianEngine::SeedCountTable()
{
    m_blockReady = false;
    m_countTable.RemoveAll();
    AutoPtr<Vector<String>> stateKeys(m_network.GetHypothesisKeys());
    AutoPtr<Vector<String>> conditionalKeys(m_network.GetConditionalKeys());

    // This order is the order of the count lines in the trained file.
    for (int32_t i = 0; i < stateKeys->Size(); ++i) m_countTable.Add((*stateKeys)[i], Long(0));
    for (int32_t i = 0; i < conditionalKeys->Size(); ++i) m_countTable.Add((*conditionalKeys)[i], Long(0));
    for (int32_t t = 0; t < m_network.GetTestCount(); ++t)
        for (int32_t s = 0; s < stateKeys->Size(); ++s)
            m_countTable.Add(ObservedKey((*stateKeys)[s], m_network.GetTest(t).GetTag()), Long(0));
    m_totalSampleCount = 0;
}

void BayesianEngine::ReadSampleFile(std::istream& samples, const String& sampleFile, bool counts,
                                    int32_t& sampleListCount)
{
    m_place = {sampleFile, 0};
    int32_t total = CountNewlines(samples, sampleFile, 0, &m_place.line);
    ProgressCounter progress(ProgressCounter::kTrainingBackspaces, total);
    const int64_t lines = ReadSampleLines(samples, sampleFile, 1, counts, sampleListCount, &progress);
    progress.Finish(lines, true);
}

int64_t BayesianEngine::ReadSampleLines(std::istream& samples, const String& sampleFile, int64_t firstLine,
                                        bool counts, int32_t& sampleListCount, ProgressCounter* progress)
{
    // The flat counters go into the count table however the reading ends.
    struct FoldOnExit {
        FastPath& fast;
        ~FoldOnExit() { fast.FoldCounts(); }
    } fold{m_fast};

    m_place = {sampleFile, 0};
    const bool ownLines = !counts && m_sampleText && *m_sampleTextType == typeid(*this);
    LineReader reader(samples, sampleFile);
    char* text = nullptr;
    size_t length = 0;
    int64_t number = firstLine;
    for (;; ++number) {
        m_place.line = number;
        if (!reader.Next(text, length, number)) break;
        // The line without the white space at either end.
        size_t first = 0, end = length;
        while (first < end && IsWhiteSpace(text[first])) ++first;
        while (end > first && IsWhiteSpace(text[end - 1])) --end;
        if (first == end || text[first] == '#') continue;
        if (progress) progress->Step(number);
        text[end] = '\0';
        if (ownLines)
            m_sampleText(*this, text + first, end - first, &sampleListCount);
        else if (!counts)
            ProcessSampleLine(String(std::string(text + first, end - first)), &sampleListCount);
        else
            ReadCountLine(String(std::string(text + first, end - first)));
    }
    m_place = Place();
    return number - firstLine;
}

void BayesianEngine::CountSample(char state, const char* results, int32_t length)
{
    // The keyed way refuses a sample past the 32-bit limit.
    if (m_totalSampleCount < INT32_MAX && m_fast.CountSample(state, results, length)) {
        ++m_totalSampleCount;
        return;
    }
    AddSample(String(state), String(std::string(results, static_cast<size_t>(length))));
}

void BayesianEngine::AddSample(const String& state, const String& results)
{
    int32_t tests = m_network.GetTestCount();
    if (results.Length() != tests)
        VELTRA_RAISE("Expected ", tests, " test results but got ", results.Length(), " Results:", results,
                     "\n");
    // Every count of a run is at most the sample count, which a sample past 2^31-1 would wrap; a
    // count that a derived engine set near the limit is refused as it is reached.
    if (m_totalSampleCount == INT32_MAX)
        VELTRA_RAISE("The sample count would pass 2147483647 at line ", m_place.line, " of ", m_place.file);
    const auto increment = [&](const String& key) {
        int32_t& count = m_countTable.Get(key).m_value;
        if (count == INT32_MAX)
            VELTRA_RAISE("The count of ", key, " would pass 2147483647 at line ", m_place.line, " of ",
                         m_place.file);
        ++count;
    };
    String stateKey = StateKey(state);
    increment(stateKey);
    for (int32_t t = 0; t < tests; ++t) {
        char result = results[t];
        if (result == '-') continue;
        const BayesTest& test = m_network.GetTest(t);
        increment(test.MakeKey(stateKey, String(result)));
        increment(ObservedKey(stateKey, test.GetTag()));
    }
    ++m_totalSampleCount;
}

void BayesianEngine::ReadCountLine(const String& line)
{
    // Each single blank separates: "C(key) = N".
    AutoPtr<Vector<String>> tokens(line.GetTokens(" ", false));
    if (tokens->Size() != 3 || !(*tokens)[0].StartsWith("C("))
        VELTRA_RAISE("Wrong format for input line: ", line);
    String key = (*tokens)[0].AfterFirst("C(").BeforeFirst(")");
    int32_t count = (*tokens)[2].ToInteger();
    // A count set among samples (a derived engine reading both) replaces what was counted before
    // it: the flat counters are folded first, and the keyed way counts from here on, refusing a
    // count that would pass 32 bits.
    m_fast.FoldCounts();
    m_countTable.Get(key).m_value = count;
}

void BayesianEngine::WriteCountTable(std::ostream& out, int32_t sampleListCount) const
{
    const std::string date = TrainingDate(std::time(nullptr));
    out << "\n# Trained by BayesianEngine " << kVersion;
    out << "\n# Date of training: " << date;
    out << "# Number of sample lists: " << sampleListCount;
    out << "\n# Number of sample strings: " << m_totalSampleCount;
    out << "\n\n\n# Count table:\n\n";
    // Assembled in blocks, the counts in the "C" locale's form.
    Ptr<Vector<String>> keys = m_countTable.GetKeys();
    std::string text;
    for (int32_t i = 0; i < keys->Size(); ++i) {
        text += "# C(";
        text += (*keys)[i].str();
        text += ") = ";
        AppendInteger(text, m_countTable.Get((*keys)[i]).m_value);
        text += '\n';
        if (text.size() >= 65536 || i + 1 == keys->Size()) {
            out.write(text.data(), static_cast<std::streamsize>(text.size()));
            text.clear();
        }
    }
}

void BayesianEngine::WriteProbabilities(std::ostream& out, bool counts, bool warn)
{
    AutoPtr<Vector<String>> stateKeys(m_network.GetHypothesisKeys());
    AutoPtr<Vector<String>> conditionalKeys(m_network.GetConditionalKeys());

    HashTable<Double> probabilities;
    for (int32_t i = 0; i < conditionalKeys->Size(); ++i) {
        const String& key = (*conditionalKeys)[i];
        String tag = TagOfKey(key);
        String denominatorKey = ObservedKey(StateKeyOfKey(key), tag);
        int32_t numerator = Count(key);
        if (numerator == 0 && warn)
            WriteMessage(MessageKind::kWarning, "WARNING: found 0 count for state: " + key.str());
        int32_t denominator = Count(denominatorKey);
        double probability;
        if (denominator != 0) {
            probability = static_cast<double>(numerator) / static_cast<double>(denominator);
        } else {
            if (warn)
                WriteMessage(MessageKind::kWarning,
                             "******WARNING****** Found 0 count for state: " + denominatorKey.str());
            if (numerator != 0) VELTRA_RAISE("Count number for state: ", key, " should be 0");
            // A test never observed in a state: every value equally likely.
            probability = 1.0 / static_cast<double>(m_network.GetTest(tag).GetValueCount());
        }
        probabilities.Add(key, Double(probability));
    }
    ApplyProbabilityFloor(probabilities);

    out << "\n\n\n# Probabilities:\n\n";
    // Priors are uniform whatever the counts: the counts of the states are not used for them.
    int32_t states = stateKeys->Size();
    int64_t stateTotal = 0;  // count lines may set counts whose sum passes 32 bits
    for (int32_t i = 0; i < states; ++i) {
        out << ProbabilityLine((*stateKeys)[i], 1.0 / static_cast<double>(states));
        stateTotal += Count((*stateKeys)[i]);
    }
    if (!counts && stateTotal != m_totalSampleCount)
        VELTRA_RAISE("m_countTable does not contain correct total count");
    Ptr<Vector<String>> keys = probabilities.GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i)
        out << ProbabilityLine((*keys)[i], probabilities.Get((*keys)[i]).m_value);
}

void BayesianEngine::ApplyProbabilityFloor(HashTable<Double>& table) const
{
    // Entries are raised in table order. A raised entry takes its deficit from the largest entry
    // of its distribution (the entries with the same test, the text before "=", and the same
    // state, after "|H="), searched anew each time so that values raised earlier take part; among
    // equal largest values the earliest wins. Each entry's distribution is found once, so the
    // floor costs one pass over the table and, per raised entry, one over its distribution.
    // Keys are cut in the order a search of the whole table for every raised entry would cut
    // them, so that a key without "=" or "|H=" fails where and as it would there.
    Ptr<Vector<String>> keys = table.GetKeys();
    const size_t n = static_cast<size_t>(keys->Size());
    std::vector<double*> values(n);
    for (size_t i = 0; i < n; ++i) values[i] = &table.Get((*keys)[static_cast<int32_t>(i)]).m_value;
    const auto key = [&](size_t i) -> const String& { return (*keys)[static_cast<int32_t>(i)]; };

    std::vector<size_t> tagOf(n), distributionOf(n);
    std::vector<std::vector<size_t>> tagMembers, distributions;
    std::vector<bool> tagSplit;
    for (size_t i = 0; i < n; ++i) {
        const double old = *values[i];
        if (old >= kProbabilityFloor) continue;
        if (tagMembers.empty()) {
            // The first raised entry: every key's test, and the state of every key of its test.
            const String tag = TagOfKey(key(i));
            StateOfConditionalKey(key(i));
            std::unordered_map<std::string, size_t> tags;
            for (size_t j = 0; j < n; ++j) {
                const String other = TagOfKey(key(j));
                if (other == tag) StateOfConditionalKey(key(j));
                const auto found = tags.emplace(other.str(), tagMembers.size()).first;
                if (found->second == tagMembers.size()) tagMembers.emplace_back();
                tagOf[j] = found->second;
                tagMembers[found->second].push_back(j);
            }
            tagSplit.assign(tagMembers.size(), false);
        }
        if (!tagSplit[tagOf[i]]) {
            // The first raised entry of its test: the test's keys split by state.
            StateOfConditionalKey(key(i));
            std::unordered_map<std::string, size_t> states;
            for (size_t j : tagMembers[tagOf[i]]) {
                const auto found =
                    states.emplace(StateOfConditionalKey(key(j)).str(), distributions.size()).first;
                if (found->second == distributions.size()) distributions.emplace_back();
                distributionOf[j] = found->second;
                distributions[found->second].push_back(j);
            }
            tagSplit[tagOf[i]] = true;
        }
        size_t best = distributions[distributionOf[i]].front();
        for (size_t j : distributions[distributionOf[i]])
            if (*values[j] > *values[best]) best = j;
        *values[i] = kProbabilityFloor;
        *values[best] -= kProbabilityFloor - old;
    }
}

void BayesianEngine::WriteFigures(std::ostream& out, TestFigure kind)
{
    const bool cp = kind == TestFigure::kCP;
    HashTable<Double> figures;
    if (cp)
        m_network.GetCPValues(figures, false, &m_fast);
    else
        m_network.GetDPValues(figures, false, &m_fast);

    AutoPtr<DubiousDataList> list(NewObject<DubiousDataList>());
    list->m_deleteItems = true;
    Ptr<Vector<String>> tags = figures.GetKeys();
    for (int32_t i = 0; i < tags->Size(); ++i)
        AddDubiousData(*list, (*tags)[i], figures.Get((*tags)[i]).m_value);
    SortDubiousDataList(*list);

    out << (cp ? "#\tCP values:\n#\t-----------\n" : "\n#\tDP values:\n#\t-----------\n");
    Ptr<Vector<String>> keys = list->GetKeys();
    std::map<std::string, double>& written = m_writtenFigures[cp ? 0 : 1];
    written.clear();
    for (int32_t i = 0; i < keys->Size(); ++i) {
        const DubiousData& entry = *list->Get((*keys)[i]);
        out << "#\t" << entry.m_figure << "\t" << entry.m_value << "\t"
            << m_network.GetTest(entry.m_value).GetDescription() << "\n";
        written[entry.m_value.str()] = entry.m_figure;
    }
}

}  // namespace veltra
