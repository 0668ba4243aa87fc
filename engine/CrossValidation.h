// CrossValidation: K-fold cross-validation of a network description on a sample file, in one
// reading of the samples.
//
// The test lines of the sample file are split into K folds. Each fold's model is the network
// trained on the lines of every other fold, exactly as a training run on a sample file holding
// just those lines writes it and reloads it: the same estimation, probability floor and uniform
// priors, the probabilities written with "%lf" in the "C" locale and read back by the description
// reader. Each fold's lines are then judged by its model through the engine's own classification,
// so that every probability is the engine's, to the bit.
//
// The samples are read once, by training's own reader (its refusals and messages, naming the file
// and line), which counts them all; each fold's lines are then counted once more, from memory, and
// a fold's model is estimated from the total counts less that fold's. The test lines are kept in
// memory meanwhile. A run costs about one training and one classification of every test line.
//
// Folds are drawn in blocks: the test lines are taken in file order, within their stratum (all of
// them, or those with the same expected-states text when stratified), K at a time, and each block
// of K goes to the K folds in an order shuffled anew for the block. Folds are therefore as equal in
// size as the lines allow (within each stratum when stratified). The shuffles come from SplitMix64,
// a generator defined by its arithmetic alone, seeded with the run's seed and the stratum's text:
// the same file and seed give the same folds on every platform.
//
// One engine, one thread at a time, as every engine.
#ifndef VELTRA_ENGINE_CROSSVALIDATION_H
#define VELTRA_ENGINE_CROSSVALIDATION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/HostEngine.h"
#include "safe/Console.h"

namespace veltra {

// SplitMix64: Steele, Lea and Flood's 64-bit generator. Each number is the state, advanced by
// 0x9E3779B97F4A7C15, then mixed by two multiply-xorshift rounds.
class SplitMix64 {
public:
    explicit SplitMix64(uint64_t seed) : m_state(seed) {}
    uint64_t Next();
    // A number in [0, n) for n > 0, every one equally likely: numbers below 2^64 mod n are drawn
    // again, and the rest taken modulo n.
    uint64_t Below(uint64_t n);

private:
    uint64_t m_state;
};

// Which fold each test line goes to, line after line (see above).
class FoldAssigner {
public:
    FoldAssigner(int32_t folds, uint64_t seed, bool stratified);
    // The fold, from 0, of the next test line, whose expected states are `expected`.
    int32_t Next(std::string_view expected);

private:
    struct Stratum {
        SplitMix64 random;
        std::vector<int32_t> order;
        size_t next;
    };
    int32_t m_folds;
    uint64_t m_seed;
    bool m_stratified;
    std::unordered_map<std::string, Stratum> m_strata;
};

// Told of every out-of-fold verdict: the fold (from 0), the line's number in the sample file, its
// expected states and results (full stops removed), and the fold model's ranking: `count` states'
// characters and probabilities at full precision, most probable first.
class FoldVerdicts {
public:
    virtual void Verdict(int32_t fold, int64_t line, std::string_view expected, std::string_view results,
                         int32_t count, const char* states, const double* probabilities) = 0;

protected:
    ~FoldVerdicts() = default;
};

// The progress of a run, told to the host's sink as one count: the lines of the sample file as
// training's reading counts them, then passes over the test lines, however many the run makes.
// Everything else goes to the host's sink as it is. Installed for its lifetime on the calling
// thread, over the host's sink, when there is one.
class RunProgress final : public ConsoleSink {
public:
    RunProgress();
    ~RunProgress();
    RunProgress(const RunProgress&) = delete;
    RunProgress& operator=(const RunProgress&) = delete;

    // The passes over the test lines the run makes in all, and the number of test lines.
    void Expect(int64_t passes, int64_t testLines);
    // `lines` more test lines of a pass done.
    void Advance(int64_t lines);
    // The run is done: its progress reaches its total.
    void Finish();

    void Raised(const std::string& text) override { m_host->Raised(text); }
    void Message(MessageKind kind, const std::string& text) override { m_host->Message(kind, text); }
    bool Wants(MessageKind kind) const noexcept override { return m_host->Wants(kind); }
    void Progress(int64_t done, int64_t total) override;

private:
    ConsoleSink* const m_host;
    ConsoleScope m_scope;
    int64_t m_read = 0;       // lines of the sample file
    int64_t m_passes = 1;     // passes over the test lines in all
    int64_t m_lines = 0;      // test lines
    bool m_expected = false;  // m_passes and m_lines are known
    int64_t m_done = 0;       // test lines of passes done
    int64_t m_told = 0;       // m_done when last told
};

class CrossValidation final : private SampleLines {
public:
    struct Options {
        int32_t folds = 10;
        uint64_t seed = 0;
        bool stratified = false;
        // Keeps each fold's trained description once estimated, for runs that load it again.
        bool keepModels = false;
    };

    // A run on `engine`, which it loads and trains; `progress` (may be null) is told of its passes.
    CrossValidation(HostEngine& engine, const Options& options, RunProgress* progress);
    CrossValidation(const CrossValidation&) = delete;
    CrossValidation& operator=(const CrossValidation&) = delete;

    // Loads the network description of `networkFile` (as veltra_engine_load_file does) and
    // reads and counts the samples of `sampleFile`, as a training run reads them, keeping its
    // test lines and drawing their folds. Raises "Fewer than 2 folds: <n>", what loading the
    // description raises, and what training's reading of the samples raises (naming the file
    // and line).
    void Read(const String& networkFile, const String& sampleFile);

    // Loads every fold's model in turn and judges the fold's lines with it, telling `verdicts`
    // (may be null) of each, fold after fold, each fold's lines in file order. right[f] and
    // wrong[f] (may be null) receive the lines of fold f judged right and wrong. Afterwards the
    // engine holds the network description again, as Read loaded it; after a failure too, when
    // it can. Raises what estimation, loading and classification raise.
    void Run(FoldVerdicts* verdicts, int64_t* right, int64_t* wrong);

    // Loads into the engine the model of `fold`: the description trained on every other fold's
    // lines, as a training run writes and reloads it.
    void LoadModel(int32_t fold);
    // Loads the network description again, as Read loaded it.
    void Restore();

    int32_t GetFolds() const { return m_options.folds; }
    // The test lines read, by index in file order: line number, expected states, results (full
    // stops removed), fold. FoldLines lists a fold's lines in file order.
    int32_t GetLineCount() const { return static_cast<int32_t>(m_lines.size()); }
    int64_t LineNumber(int32_t line) const { return m_lines[static_cast<size_t>(line)].number; }
    std::string_view Expected(int32_t line) const;
    std::string_view Results(int32_t line) const;
    const std::vector<int32_t>& FoldLines(int32_t fold) const
    {
        return m_foldLines[static_cast<size_t>(fold)];
    }
    // What the count table holds under `key` for all the samples read; 0 for a key it lacks.
    int64_t TotalCount(const std::string& key) const;
    RunProgress* GetProgress() const { return m_progress; }

private:
    void Counted(int64_t line, std::string_view expected, std::string_view results) override;

    struct Line {
        int64_t number;
        size_t text;  // the expected states, then the results, in m_texts
        uint32_t expected;
        uint32_t results;
    };

    HostEngine& m_engine;
    Options m_options;
    RunProgress* m_progress;
    FoldAssigner m_assigner;
    std::string m_network;  // the description as read from its file
    std::vector<int64_t> m_total;
    std::unordered_map<std::string, size_t> m_entryOf;
    std::vector<Line> m_lines;
    std::string m_texts;
    std::vector<std::vector<int32_t>> m_foldLines;
    std::vector<std::string> m_models;
};

}  // namespace veltra

#endif  // VELTRA_ENGINE_CROSSVALIDATION_H
