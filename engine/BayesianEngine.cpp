#include "engine/BayesianEngine.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "engine/NumberText.h"
#include "engine/ProgressCounter.h"
#include "safe/FileChecks.h"

namespace veltra {

namespace {

// "P(%s) = %lf\n": the probability lines of a trained file, which the reader takes up on reload.
std::string ProbabilityLine(const String& key, double probability)
{
    int n = std::snprintf(nullptr, 0, "P(%s) = %lf\n", key.c_str(), probability);
    std::string line(static_cast<size_t>(n) + 1, '\0');
    std::snprintf(&line[0], line.size(), "P(%s) = %lf\n", key.c_str(), probability);
    line.resize(static_cast<size_t>(n));
    return line;
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

int32_t CountNewlines(std::istream& in, const String& file)
{
    // A line that the reading would refuse stops the count where the reading would stop, so that
    // an endless input without newlines ends here at once. A CR before the newline is no part of
    // the line, as for the reading.
    const size_t kLongest = 1023;
    std::vector<char> buffer(65536);
    int32_t total = 0;
    size_t length = 0;  // of the line so far
    bool cr = false;    // the line so far ends with CR
    auto tooLong = [&] { VELTRA_RAISE("Line ", total + 1, " of ", file, " is longer than 1023 bytes"); };
    while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || in.gcount() > 0) {
        const char* at = buffer.data();
        const char* const end = at + in.gcount();
        while (at < end) {
            const char* newline =
                static_cast<const char*>(std::memchr(at, '\n', static_cast<size_t>(end - at)));
            const char* stop = newline ? newline : end;
            if (stop > at) {
                length += static_cast<size_t>(stop - at);
                cr = stop[-1] == '\r';
            }
            if (!newline) {
                if (length > kLongest + 1) tooLong();
                break;
            }
            if (length - (cr ? 1 : 0) > kLongest) tooLong();
            ++total;
            length = 0;
            cr = false;
            at = newline + 1;
        }
    }
    if (length > kLongest) tooLong();
    if (in.bad()) VELTRA_RAISE("Cannot read file: ", file);
    in.clear();
    in.seekg(0);
    return total;
}

void BayesianEngine::InitializeThruFile(String path)
{
    std::ifstream in(path.c_str());
    if (!in.is_open()) VELTRA_RAISE("Cannot open file: ", path);
    std::string text;
    String line;
    // The end test comes before each read, so a final newline yields one more, empty line.
    for (int32_t number = 1; !in.eof(); ++number) {
        String::ReadLine(in, line, path, number);
        text += line.str();
        text += '\n';
    }
    in.close();
    m_network.Load(String(text));
}

void BayesianEngine::Train(String networkFile, String sampleFile, String outputFile, bool counts)
{
    // Both inputs are read twice, and the output is read back: none of them may be a pipe or a
    // device, and the output is never one of the inputs. All is checked before the output is
    // opened, which truncates it.
    RequireRereadable(networkFile);
    std::ifstream network(networkFile.c_str());
    if (!network.is_open()) VELTRA_RAISE("Cannot open file: ", networkFile);
    RequireRereadable(sampleFile);
    std::ifstream samples(sampleFile.c_str());
    if (!samples.is_open()) {
        network.close();
        VELTRA_RAISE("Cannot open file: ", sampleFile);
    }
    RequireReadableBack(outputFile);
    RefuseOverwrite(outputFile, networkFile);
    RefuseOverwrite(outputFile, sampleFile);
    std::ofstream out(outputFile.c_str(), std::ios::out | std::ios::trunc);
    if (!out.is_open()) {
        network.close();
        samples.close();
        VELTRA_RAISE("Cannot open file: ", outputFile);
    }

    InitializeThruFile(networkFile);
    CopyNetwork(network, networkFile, out);
    network.close();

    SeedCountTable();
    if (m_fastPath && !counts) m_sampleCounters.Build(m_network, m_countTable);
    int32_t sampleListCount = 0;
    ReadSampleFile(samples, sampleFile, counts, sampleListCount);
    samples.close();
    OnSamplesRead();

    WriteCountTable(out, sampleListCount);
    WriteProbabilities(out, counts);
    out.close();
    CheckWritten(out, outputFile);

    InitializeThruFile(outputFile);
    AppendFigures(outputFile);

    std::cout << "End of training." << std::endl;
    std::cout << "Number of sample lists processed: " << sampleListCount << std::endl;
    std::cout << "Total sample count: " << m_totalSampleCount << std::endl;
}

void BayesianEngine::CopyNetwork(std::istream& network, const String& networkFile, std::ostream& out)
{
    // The trained file begins with the description the samples are counted against, verbatim;
    // the text of the read that meets the end is written too.
    String line;
    for (int32_t number = 1; !network.eof(); ++number) {
        String::ReadLine(network, line, networkFile, number);
        out << line << "\n";
    }
}

void BayesianEngine::AppendFigures(const String& outputFile)
{
    // The per-test figures of the reloaded network close the file: comment lines only.
    std::ofstream append(outputFile.c_str(), std::ios::out | std::ios::app);
    if (!append.is_open()) VELTRA_RAISE("Cannot open file: ", outputFile);
    WriteFigures(append, TestFigure::kDP);
    append << "#\n#\n";
    WriteFigures(append, TestFigure::kCP);
    append.close();
    CheckWritten(append, outputFile);
}

void BayesianEngine::SeedCountTable()
{
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
    // The flat counters go into the count table however the reading ends.
    struct FoldOnExit {
        SampleCounters& counters;
        ~FoldOnExit() { counters.Fold(); }
    } fold{m_sampleCounters};

    int32_t total = CountNewlines(samples, sampleFile);
    ProgressCounter progress(ProgressCounter::kTrainingBackspaces, total, m_fastPath);
    String line;
    for (int32_t number = 1; !samples.eof(); ++number) {
        String::ReadLine(samples, line, sampleFile, number);
        // The line without the white space at either end.
        const std::string& text = line.str();
        size_t first = 0, end = text.size();
        while (first < end && std::isspace(static_cast<unsigned char>(text[first]))) ++first;
        while (end > first && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
        if (first == end || text[first] == '#') continue;
        progress.Step();
        if (!counts)
            ProcessSampleLine(String(text.substr(first, end - first)), &sampleListCount);
        else
            ReadCountLine(String(text.substr(first, end - first)));
    }
    std::cout << std::endl;
}

void BayesianEngine::CountSample(char state, const char* results, int32_t length)
{
    if (m_sampleCounters.Add(state, results, length)) {
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
    String stateKey = StateKey(state);
    ++m_countTable.Get(stateKey).m_value;
    for (int32_t t = 0; t < tests; ++t) {
        char result = results[t];
        if (result == '-') continue;
        const BayesTest& test = m_network.GetTest(t);
        ++m_countTable.Get(test.MakeKey(stateKey, String(result))).m_value;
        ++m_countTable.Get(ObservedKey(stateKey, test.GetTag())).m_value;
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
    Ptr<Vector<String>> keys = m_countTable.GetKeys();
    if (!m_fastPath || !WritesPlainNumbers(out)) {
        for (int32_t i = 0; i < keys->Size(); ++i)
            out << "# C(" << (*keys)[i] << ") = " << m_countTable.Get((*keys)[i]).m_value << "\n";
        return;
    }
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

void BayesianEngine::WriteProbabilities(std::ostream& out, bool counts)
{
    AutoPtr<Vector<String>> stateKeys(m_network.GetHypothesisKeys());
    AutoPtr<Vector<String>> conditionalKeys(m_network.GetConditionalKeys());

    HashTable<Double> probabilities;
    for (int32_t i = 0; i < conditionalKeys->Size(); ++i) {
        const String& key = (*conditionalKeys)[i];
        String tag = TagOfKey(key);
        String denominatorKey = ObservedKey(StateKeyOfKey(key), tag);
        int32_t numerator = Count(key);
        if (numerator == 0) std::cout << "WARNING: found 0 count for state: " << key << std::endl;
        int32_t denominator = Count(denominatorKey);
        double probability;
        if (denominator != 0) {
            probability = static_cast<double>(numerator) / static_cast<double>(denominator);
        } else {
            std::cout << "******WARNING****** Found 0 count for state: " << denominatorKey << std::endl;
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
    int32_t stateTotal = 0;
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
    Ptr<Vector<String>> keys = table.GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i) {
        const String& key = (*keys)[i];
        double old = table.Get(key).m_value;
        if (old >= kProbabilityFloor) continue;
        String tag = TagOfKey(key);
        String state = StateOfConditionalKey(key);
        // The best entry is searched anew for every raised entry, so values raised earlier
        // take part; among equal largest values the earliest wins.
        int32_t best = -1;
        for (int32_t j = 0; j < keys->Size(); ++j) {
            const String& other = (*keys)[j];
            if (TagOfKey(other) != tag || StateOfConditionalKey(other) != state) continue;
            if (best < 0 || table.Get(other).m_value > table.Get((*keys)[best]).m_value) best = j;
        }
        table.Get(key).m_value = kProbabilityFloor;
        table.Get((*keys)[best]).m_value -= kProbabilityFloor - old;
    }
}

void BayesianEngine::WriteFigures(std::ostream& out, TestFigure kind)
{
    const bool cp = kind == TestFigure::kCP;
    HashTable<Double> figures;
    if (cp)
        m_network.GetCPValues(figures, false);
    else
        m_network.GetDPValues(figures, false);

    AutoPtr<DubiousDataList> list(NewObject<DubiousDataList>());
    list->m_deleteItems = true;
    Ptr<Vector<String>> tags = figures.GetKeys();
    for (int32_t i = 0; i < tags->Size(); ++i)
        AddDubiousData(*list, (*tags)[i], figures.Get((*tags)[i]).m_value);
    SortDubiousDataList(*list);

    out << (cp ? "#\tCP values:\n#\t-----------\n" : "\n#\tDP values:\n#\t-----------\n");
    Ptr<Vector<String>> keys = list->GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i) {
        const DubiousData& entry = *list->Get((*keys)[i]);
        out << "#\t" << entry.m_figure << "\t" << entry.m_value << "\t"
            << m_network.GetTest(entry.m_value).GetDescription() << "\n";
    }
}

}  // namespace veltra
