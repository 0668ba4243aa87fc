// BayesianEngine: the engine object behind a host's handle. It owns the naive Bayes network, the
// count table of training and the total sample count; it initialises the network from a file and
// runs training. The classification operations come with FieldClassifier.
//
// One engine, one thread at a time: inference writes caches inside the network. A host that calls
// into one engine from a second thread while a call runs is refused (EngineCall), never served
// from half-written state.
#ifndef VELTRA_ENGINE_BAYESIANENGINE_H
#define VELTRA_ENGINE_BAYESIANENGINE_H

#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <typeinfo>

#include "engine/DubiousData.h"
#include "engine/FastPath.h"
#include "net/NaiveBayesNet.h"
#include "safe/HashTable.h"
#include "safe/SmartString.h"

namespace veltra {

class OutputFile;
class ProgressCounter;

// The local date and time of `time` as the standard ctime writes it ("Sun Nov 22 15:52:16 2026"
// and a newline): the date line of a trained file.
std::string TrainingDate(std::time_t time);

class BayesianEngine : public SmartObject {
public:
    // The version named in the header of every trained network file.
    static constexpr const char* kVersion = "2.6";
    // Trained conditional probabilities are never below this floor.
    static constexpr double kProbabilityFloor = 0.001;

    BayesianEngine() : m_fast(m_network) {}
    ~BayesianEngine() override = default;
    const char* GetTypeName() const override { return "BayesianEngine"; }

    // A training run: initialises the engine from `networkFile`, copies it to `outputFile`, counts
    // the samples of `sampleFile` (count lines "C(key) = N" instead when `counts` is set),
    // estimates the probabilities, writes the trained sections and reloads the engine from the
    // written file. The trained file replaces the output whole at the end (OutputFile). Raises
    // "Cannot open file: <name>", the refusals of FileChecks (before the output is opened), those
    // of OutputFile, the line reader's failures and those of counting and estimation.
    virtual void Train(String networkFile, String sampleFile, String outputFile, bool counts);
    // A training run from counts instead of a sample file: as Train does with the samples that
    // were counted into `counts` (see CountBlock), byte for byte. Raises as Train does, and
    // "The count of <key> would pass 2147483647" or "... is negative: <n>" for a count the
    // trained file cannot hold.
    void TrainFromCounts(String networkFile, const int64_t* counts, String outputFile);
    // The number of entries of the count table for the loaded network: the size of the counts of
    // CountBlock and TrainFromCounts less two. Raises "Network has not been initialized yet".
    int32_t CountEntries();
    // Counts the `length` bytes of sample lines at `lines` (read as the lines of a sample file,
    // the first one being line `firstLine` of `file`) and adds them to `counts`: one entry per
    // count table entry in its order, then the samples, then 1 when any sample line was read.
    // Raises as reading the sample file in training would, naming the file and line. The count
    // table is seeded once per loaded network, so that a block costs its lines only.
    void CountBlock(const char* lines, size_t length, const String& file, int64_t firstLine, int64_t* counts);

    // Training in parts that a run keeps apart (cross-validation, engine/CrossValidation): the
    // counts of a run held in arrays of CountEntries() + 1 entries, the count table's in its
    // order and then the samples, and the probabilities a training run estimates from them.
    //
    // Counts what `count` counts (by CountSamples, or by reading a sample file as training reads
    // it) into the freshly zeroed count table of the loaded network, and adds it to `counts`.
    // Raises "Network has not been initialized yet", and whatever `count` raises.
    void CountInto(int64_t* counts, const std::function<void()>& count);
    // Within CountInto: reads `sampleFile` as a training run reads its samples, with the same
    // checks, refusals (naming the file and line), messages and progress. Raises "Cannot open
    // file: <name>", the refusals of FileChecks and those of the sample lines.
    void CountSampleFile(const String& sampleFile);
    // Counts one sample of each character of `states` with `results` (full stops removed), as a
    // sample line counts them. Raises as AddSample does.
    void CountSamples(std::string_view states, std::string_view results);
    // The probabilities a training run writes and reloads for the samples counted in `counts`:
    // the "# Probabilities:" section of the trained file, its prior lines and conditional lines,
    // byte for byte (its zero-count warnings are not said). The counts go into the count table
    // first and OnSamplesRead sees them, as in a training run. Raises as estimation does.
    std::string ProbabilitySection(const int64_t* counts);

    // Called once after the sample file has been read, before anything is estimated; a derived
    // engine may adjust the counts here.
    virtual void OnSamplesRead() {}
    // Reads one trimmed, non-empty, non-comment line of a sample file and sets *sampleListCount
    // to 1 once it has found samples in it.
    virtual void ProcessSampleLine(String line, int32_t* sampleListCount) = 0;

    // Reads the description file into one text, each line followed by "\n" (so a file that ends
    // with a newline ends in "\n\n"), and loads it. Raises "Cannot open file: <path>".
    void InitializeThruFile(String path);

    // Counts one sample of `state`. Raises "Expected <n> test results but got <m> Results:<r>\n",
    // for an undeclared state or value "Hashtable cannot find key: <key>", and before a count would
    // wrap "The sample count would pass 2147483647 at line <n> of <file>" (or "The count of <key>
    // would pass ...", for a count set near the limit).
    void AddSample(const String& state, const String& results);
    // "C(key) = N" sets the count of an existing key; raises "Wrong format for input line: <line>".
    void ReadCountLine(const String& line);
    // Raises every conditional probability below the floor to it, taking the deficit from the
    // largest probability of the same distribution (the earliest of equal ones).
    void ApplyProbabilityFloor(HashTable<Double>& table) const;

    // On by default: classification, training and batch evaluation take their fast paths wherever
    // those give exactly what the keyed way gives. Off, they take the keyed way alone (the
    // reference the fast paths are tested against).
    void SetFastPath(bool enabled)
    {
        m_fast.SetEnabled(enabled);
        m_blockReady = false;
    }

    // A call of a host begins: raises "Engine is already in a call on another thread: one engine
    // serves one thread at a time" while another call is inside. Every EnterCall that returns is
    // followed by LeaveCall, or by the engine's deletion.
    void EnterCall()
    {
        if (!TryEnterCall())
            VELTRA_RAISE(
                "Engine is already in a call on another thread: one engine serves one thread at a time");
    }
    // The same without a message: false while another call is inside.
    bool TryEnterCall() { return !m_inCall.exchange(true, std::memory_order_acquire); }
    void LeaveCall() noexcept { m_inCall.store(false, std::memory_order_release); }

    NaiveBayesNet& GetNetwork() { return m_network; }
    const HashTable<Long>& GetCountTable() const { return m_countTable; }
    int32_t GetTotalSampleCount() const { return m_totalSampleCount; }

    // The file and line a run is reading: cleared when a reading ends well, kept when it fails,
    // so that after a failure it names where the failure was (no file and line 0 where it was
    // not in a file's line, a file and line 0 where it was in a file but not in one line).
    struct Place {
        String file;
        int64_t line = 0;
    };
    const Place& GetPlace() const { return m_place; }
    // The per-test figures of that kind the last training run wrote, by tag.
    const std::map<std::string, double>& GetWrittenFigures(TestFigure kind) const
    {
        return m_writtenFigures[kind == TestFigure::kCP ? 0 : 1];
    }
    void ClearPlace() { m_place = Place(); }

protected:
    // Counts one sample as AddSample(String(state), results) does: the fast way where it counts
    // the sample, the keyed way otherwise.
    void CountSample(char state, const char* results, int32_t length);
    // The description file at `path` as one text, each line followed by "\n" (so a file that
    // ends with a newline ends in "\n\n"); messages name it `name`. Raises "Cannot open file:
    // <name>" and the line reader's failures, naming the line.
    std::string ReadDescription(const std::string& path, const String& name);
    // Loads the description file at `path`; messages name it `name` (the output a trained file
    // is read back from is named as the caller gave it, never as its temporary). The text read,
    // each line followed by "\n", goes to *text when given.
    void LoadFile(const std::string& path, const String& name, std::string* text = nullptr);

    // The reading of a sample line from its text (zero-terminated at line[length]) that the class
    // `m_sampleTextType` gives its ProcessSampleLine: training hands an engine of exactly that
    // class each line's text, without a String a line. A class derived from it may read sample
    // lines otherwise, and gets each line through ProcessSampleLine.
    const std::type_info* m_sampleTextType = nullptr;
    void (*m_sampleText)(BayesianEngine& engine, const char* line, size_t length,
                         int32_t* sampleListCount) = nullptr;

    NaiveBayesNet m_network;
    // The fast way of classification and counting, and where it is chosen.
    FastPath m_fast;
    Place m_place;
    HashTable<Long> m_countTable;
    int32_t m_totalSampleCount = 0;

private:
    void CopyNetwork(std::istream& network, const String& networkFile, std::ostream& out);
    void AppendFigures(OutputFile& output);
    void SeedCountTable();
    void ReadSampleFile(std::istream& samples, const String& sampleFile, bool counts,
                        int32_t& sampleListCount);
    // Reads sample lines from `firstLine` on; returns the number of lines read.
    int64_t ReadSampleLines(std::istream& samples, const String& sampleFile, int64_t firstLine, bool counts,
                            int32_t& sampleListCount, ProgressCounter* progress);
    // The rest of a training run once its inputs are open: the output opened, the network loaded
    // and copied, the count table seeded and filled by `count`, the trained sections written,
    // the engine reloaded, the figures appended, the file put in place, the summary said.
    void WriteTrained(std::istream& network, const String& networkFile, const String& outputFile, bool counts,
                      const std::function<void(int32_t& sampleListCount)>& count);
    void WriteCountTable(std::ostream& out, int32_t sampleListCount) const;
    // The estimation of a training run and its "# Probabilities:" section; with `warn`, its
    // zero-count warnings are said.
    void WriteProbabilities(std::ostream& out, bool counts, bool warn);
    void WriteFigures(std::ostream& out, TestFigure kind);
    int32_t Count(const String& key) { return m_countTable.Get(key).m_value; }
    // The count table ready for a block: seeded (and the flat counters mapped) for the loaded
    // network the first time, its counts zeroed after that; returns its number of entries.
    int32_t PrepareBlock();

    // Block counting's table: valid while m_blockReady, for load m_blockLoad of the network; its
    // entries in the table's order. Any other seeding of the table clears m_blockReady.
    bool m_blockReady = false;
    uint64_t m_blockLoad = 0;
    std::vector<int32_t*> m_blockEntries;
    std::atomic<bool> m_inCall{false};
    std::map<std::string, double> m_writtenFigures[2];  // CP, DP
};

// A host's call on an engine, from EnterCall to LeaveCall.
class EngineCall {
public:
    explicit EngineCall(BayesianEngine& engine) : m_engine(engine) { engine.EnterCall(); }
    ~EngineCall() { m_engine.LeaveCall(); }
    EngineCall(const EngineCall&) = delete;
    EngineCall& operator=(const EngineCall&) = delete;

private:
    BayesianEngine& m_engine;
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_BAYESIANENGINE_H
