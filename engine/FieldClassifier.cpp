#include "engine/FieldClassifier.h"

#include <cstdio>
#include <fstream>
#include <iostream>

namespace veltra {

void FieldClassifier::ProcessSampleLine(String line, int32_t* sampleListCount)
{
    if (!line.StartsWith(";TESTS\t")) return;
    // Runs of tabs count as one separator.
    AutoPtr<Vector<String>> tokens(line.GetTokens("\t", true));
    if (tokens->Size() != 3) VELTRA_RAISE("Wrong format in line:\n", line);
    const String& states = (*tokens)[1];
    String results = (*tokens)[2].RemoveAll('.');
    for (int32_t i = 0; i < states.Length(); ++i) AddSample(String(states[i]), results);
    // An assignment, not an increment: the trained file reports 1 once any sample line was read.
    *sampleListCount = 1;
}

Ptr<DubiousDataList> FieldClassifier::Analyze(String results, bool verbose)
{
    if (!m_network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    // Full stops only group the results for the eye; they never reach inference.
    results = results.RemoveAll('.');

    DubiousDataList* table = NewObject<DubiousDataList>();
    table->m_deleteItems = true;
    Ptr<DubiousDataList> owned(table);
    try {
        AutoPtr<Vector<String>> stateKeys(m_network.GetHypothesisKeys());
        for (int32_t i = 0; i < stateKeys->Size(); ++i) {
            const String& stateKey = (*stateKeys)[i];
            double level = m_network.GetConfLevel(stateKey, results, verbose);
            DubiousData* entry = NewObject<DubiousData>(String(), 0.0);
            Ptr<DubiousData> record(entry);
            try {
                entry->m_value = stateKey.AfterFirst("=");
                entry->m_figure = level;
                table->Add(entry->GetValue(), record);
            } catch (...) {
                delete entry;
                throw;
            }
        }
        SortDubiousDataList(*table);
    } catch (...) {
        delete table;
        throw;
    }
    return owned;
}

void FieldClassifier::AnalyzeFile(String inputFile, String outputFile)
{
    std::ifstream in(inputFile.c_str());
    if (!in.is_open()) VELTRA_RAISE("Cannot open file: ", inputFile);
    std::ofstream out(outputFile.c_str(), std::ios::out | std::ios::trunc);
    if (!out.is_open()) VELTRA_RAISE("Cannot open file: ", outputFile);

    int32_t total = CountNewlines(in);
    out.precision(4);
    int32_t linesRead = 0;
    int32_t correct = 0;
    int32_t wrong = 0;
    String line;
    while (!in.eof()) {
        String::ReadLine(in, line);
        out << line << "\n";
        std::cout << "\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b\b" << "Line: " << ++linesRead << " / " << total;
        if (line.Trim().Length() == 0 || !line.StartsWith(";TESTS\t")) continue;

        AutoPtr<Vector<String>> tokens(line.GetTokens("\t", true));
        if (tokens->Size() < 3) VELTRA_RAISE("Wrong format in line:\n", line);
        const String& expected = (*tokens)[1];
        AutoPtr<DubiousDataList> table(Analyze((*tokens)[2].RemoveAll('.'), false));
        SortDubiousDataList(*table);

        Ptr<Vector<String>> states = table->GetKeys();
        // A line is right when the most probable state is any one of its expected states.
        if (expected.Contains(table->Get((*states)[0])->GetValue())) {
            out << ";OK\t";
            ++correct;
        } else {
            out << ";ERROR\t";
            ++wrong;
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
    }

    // No test lines make 0 / 0: the text is the platform's rendering of not-a-number.
    double accuracy = correct * 100.0 / (wrong + correct);
    char text[256];
    std::snprintf(text, sizeof text, "Accuracy: %.2f %%\n", accuracy);
    out << "\n\n;" << text << std::endl;
    std::cout << "\n\n" << text << std::endl;
    in.close();
    out.close();
}

}  // namespace veltra
