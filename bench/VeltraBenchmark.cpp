// Benchmarks of the library through its seven exports, each job beside the flat-array reference
// doing the same job in the same process, so that every figure reads as a ratio measured in one
// run. Before a job is timed, the engine and the reference do it once each and must agree: equal
// output files (the training date masked), equal standard output, equal states and probabilities
// to the bit. A disagreement stops the binary with a message.
//
// The engine and the reference print progress and warnings on standard output: run the binary
// with standard output sent to /dev/null. Google Benchmark's lines go to standard error, the
// table to standard error or to --table=<file>.
//
//   veltra_bench [--size=small,medium,large,sparse] [--table=<file>] [Google Benchmark flags]
//   veltra_bench --write=<directory> [--size=...]: writes each size's data and runs nothing
//
// VELTRA_BENCH_SIZE gives the sizes when --size is absent; --benchmark_filter=<regex> picks jobs.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include "api/Veltra.h"
#include "api/VeltraHost.h"
#include "bench/FlatReference.h"
#include "bench/Model.h"
#include "bench/ResultTable.h"

#if defined(_WIN32)
#  include <io.h>
#  define VELTRA_POSIX(name) _##name
#else
#  include <unistd.h>
#  define VELTRA_POSIX(name) name
#endif

namespace fs = std::filesystem;

namespace bench {

namespace {

const Size kSizes[] = {{"small", 3, 16, 3}, {"medium", 10, 40, 4}, {"large", 20, 100, 5}};
// Loading is also measured on descriptions with twice and four times the tests of large.
const Size kLargerLoads[] = {{"large-x2", 20, 200, 5}, {"large-x4", 20, 400, 5}};
// Training is also measured on a sparse network: many tests and values, few samples, so that
// nearly every conditional probability is raised to the floor.
const Size kSparse = {"sparse", 20, 1000, 8};
constexpr int kSparseSampleLines = 50;

constexpr int kSampleLines = 200000;
constexpr int kTestLines = 20000;
constexpr size_t kPoolSize = 65536;
// More than the confidence cache holds, so that it is full before timing.
constexpr size_t kFillCalls = 997;
constexpr size_t kCheckInputs = 64;
constexpr int32_t kCapacity = 256;
// Unless --benchmark_min_time says otherwise: whole runs of the slow jobs are long already.
constexpr double kMinTime = 0.3;

fs::path g_directory;
bool g_minTimeGiven = false;

[[noreturn]] void Abort(const std::string& message)
{
    std::fflush(stdout);
    std::cerr << "veltra_bench: " << message << std::endl;
    std::error_code ignored;
    fs::remove_all(g_directory, ignored);
    std::exit(1);
}

class Engine {
public:
    Engine()
    {
        if (CreateBayesianEngine(&m_handle) != 0 || !m_handle) Abort("cannot create an engine");
    }
    explicit Engine(const std::string& description) : Engine()
    {
        if (InitializeThruParam(m_handle, description.c_str()) != 0)
            Abort("the engine cannot load the description");
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    ~Engine() { DestroyBayesianEngine(&m_handle); }
    BayesianEngineHandle Get() const { return m_handle; }

private:
    BayesianEngineHandle m_handle = nullptr;
};

// An engine of the host interface with the description loaded.
class HostEngine {
public:
    explicit HostEngine(const std::string& description)
    {
        if (veltra_engine_create(&m_engine) != VELTRA_OK ||
            veltra_engine_load_text(m_engine, description.c_str()) != VELTRA_OK)
            Abort("the host interface cannot load the description");
    }
    HostEngine(const HostEngine&) = delete;
    HostEngine& operator=(const HostEngine&) = delete;
    ~HostEngine() { veltra_engine_destroy(m_engine); }
    veltra_engine* Get() const { return m_engine; }

private:
    veltra_engine* m_engine = nullptr;
};

void WriteText(const fs::path& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
    if (!out) Abort("cannot write " + path.string());
}

// What `action` writes to file descriptor 1, where both the engine and the reference print.
std::string CaptureStdout(const std::function<void()>& action)
{
    const std::string path = (g_directory / "stdout.txt").string();
    std::cout.flush();
    std::fflush(stdout);
    const int saved = VELTRA_POSIX(dup)(1);
    std::FILE* sink = std::fopen(path.c_str(), "wb");
    if (saved < 0 || !sink) Abort("cannot redirect standard output");
    VELTRA_POSIX(dup2)(VELTRA_POSIX(fileno)(sink), 1);
    action();
    std::cout.flush();
    std::fflush(stdout);
    VELTRA_POSIX(dup2)(saved, 1);
    VELTRA_POSIX(close)(saved);
    std::fclose(sink);
    return ReadWholeFile(path);
}

std::string MaskDate(std::string text)
{
    const std::string label = "# Date of training: ";
    size_t at = text.find(label);
    if (at != std::string::npos) {
        at += label.size();
        text.replace(at, text.find('\n', at) - at, "<date>");
    }
    return text;
}

// Up to 40 bytes either side of `at`, with line ends, tabs and backspaces made visible.
std::string Excerpt(const std::string& text, size_t at)
{
    std::string shown;
    for (size_t i = at < 40 ? 0 : at - 40; i < text.size() && i < at + 40; ++i) {
        switch (text[i]) {
            case '\n':
                shown += "\\n";
                break;
            case '\t':
                shown += "\\t";
                break;
            case '\b':
                shown += "\\b";
                break;
            default:
                shown += text[i];
        }
    }
    return shown;
}

void CompareTexts(const std::string& what, const std::string& engine, const std::string& reference)
{
    if (engine == reference) return;
    size_t at = 0;
    while (at < engine.size() && at < reference.size() && engine[at] == reference[at]) ++at;
    const auto line = std::count(engine.begin(), engine.begin() + static_cast<std::ptrdiff_t>(at), '\n') + 1;
    Abort(what + " differs between the engine and the reference at line " + std::to_string(line) + " (byte " +
          std::to_string(at) + ")\n  engine:    " + Excerpt(engine, at) +
          "\n  reference: " + Excerpt(reference, at));
}

// Runs a reference job; its failure stops the binary.
void Guard(const std::string& job, const std::function<void()>& action)
{
    try {
        action();
    } catch (const std::exception& e) {
        Abort(job + ": " + e.what());
    }
}

// One Analyze through the export and through the reference; they must agree to the bit.
void CheckAnalyze(const std::string& job, BayesianEngineHandle engine, const FlatNet& net,
                  const std::string& results)
{
    char engineStates[kCapacity], referenceStates[kCapacity];
    double engineLevels[kCapacity], referenceLevels[kCapacity];
    int32_t engineCount = kCapacity, referenceCount = kCapacity;
    if (Analyze(engine, results.c_str(), engineStates, engineLevels, &engineCount) != 0)
        Abort(job + ": the engine cannot classify " + results);
    if (FlatAnalyze(net, results.c_str(), referenceStates, referenceLevels, &referenceCount) != 0)
        Abort(job + ": the reference cannot classify " + results);
    bool same = engineCount == referenceCount;
    for (int32_t i = 0; same && i < engineCount; ++i)
        same = engineStates[i] == referenceStates[i] &&
               std::memcmp(&engineLevels[i], &referenceLevels[i], sizeof(double)) == 0;
    if (same) return;
    std::string message = job + ": the engine and the reference classify " + results + " differently";
    char entry[64];
    for (int32_t i = 0; i < engineCount; ++i) {
        std::snprintf(entry, sizeof entry, "\n  engine    %c %.17g", engineStates[i], engineLevels[i]);
        message += entry;
    }
    for (int32_t i = 0; i < referenceCount; ++i) {
        std::snprintf(entry, sizeof entry, "\n  reference %c %.17g", referenceStates[i], referenceLevels[i]);
        message += entry;
    }
    Abort(message);
}

// Everything one size needs: the model, its description and the reference's network; each job's
// engine, inputs and files are made, and checked, when the job first runs.
class Workload {
public:
    // The seed depends on the size alone, so that a run of one size sees the data of a full run.
    explicit Workload(const Size& size, int sampleLines = kSampleLines)
        : m_size(size),
          m_sampleLines(sampleLines),
          m_seed(static_cast<uint32_t>(size.states * 1000 + size.tests)),
          m_model(size, m_seed),
          m_description(m_model.Description(true))
    {
        Guard("Load", [&] { m_net = ParseDescription(m_description); });
        m_directory = g_directory / size.name;
        fs::create_directories(m_directory);
    }

    const Size& GetSize() const { return m_size; }
    int SampleLines() const { return m_sampleLines; }
    const std::string& Description() const { return m_description; }
    const FlatNet& Net() const { return m_net; }
    std::string File(const char* name) const { return (m_directory / name).string(); }

    std::vector<std::string> Inputs(uint32_t salt, size_t count)
    {
        return m_model.DistinctResults(m_seed * 7919u + salt, count, m_seen);
    }

    // The never-seen job: an engine whose confidence cache is full, and a pool of new inputs.
    struct NeverSeen {
        std::unique_ptr<Engine> engine;
        std::vector<std::string> pool;
        size_t engineNext = 0;
        size_t referenceNext = 0;
    };
    NeverSeen& GetNeverSeen()
    {
        if (m_neverSeen.engine) return m_neverSeen;
        m_neverSeen.engine = std::make_unique<Engine>(m_description);
        char states[kCapacity];
        double levels[kCapacity];
        for (const std::string& results : Inputs(1, kFillCalls)) {
            int32_t count = kCapacity;
            if (Analyze(m_neverSeen.engine->Get(), results.c_str(), states, levels, &count) != 0)
                Abort("Analyze failed while filling the cache");
        }
        for (const std::string& results : Inputs(2, kCheckInputs))
            CheckAnalyze("Analyze (never seen)", m_neverSeen.engine->Get(), m_net, results);
        m_neverSeen.pool = Inputs(3, kPoolSize);
        return m_neverSeen;
    }

    // The host interface's job: an engine of it, the never-seen pool as fields, each checked
    // against the reference to the bit, one by one and in one batch.
    HostEngine& GetHost()
    {
        if (m_host) return *m_host;
        m_host = std::make_unique<HostEngine>(m_description);
        const std::vector<std::string>& pool = GetNeverSeen().pool;
        std::vector<const char*> fields;
        for (size_t i = 0; i < kCheckInputs; ++i) fields.push_back(pool[i].c_str());
        std::vector<char> states(kCheckInputs * kCapacity);
        std::vector<double> levels(kCheckInputs * kCapacity);
        std::vector<veltra_status> statuses(kCheckInputs);
        if (veltra_engine_classify_many(m_host->Get(), static_cast<int32_t>(kCheckInputs), fields.data(),
                                        kCapacity, states.data(), levels.data(),
                                        statuses.data()) != VELTRA_OK)
            Abort("veltra_engine_classify_many failed");
        for (size_t i = 0; i < kCheckInputs; ++i) {
            char referenceStates[kCapacity], single[kCapacity];
            double referenceLevels[kCapacity], singleLevels[kCapacity];
            int32_t count = kCapacity, singleCount = kCapacity;
            FlatAnalyze(m_net, fields[i], referenceStates, referenceLevels, &count);
            if (veltra_engine_classify(m_host->Get(), fields[i], single, singleLevels, &singleCount) !=
                    VELTRA_OK ||
                singleCount != count)
                Abort(std::string("veltra_engine_classify failed on ") + fields[i]);
            for (int32_t k = 0; k < count; ++k)
                if (referenceStates[k] != single[k] || referenceStates[k] != states[i * kCapacity + k] ||
                    std::memcmp(&referenceLevels[k], &singleLevels[k], sizeof(double)) != 0 ||
                    std::memcmp(&referenceLevels[k], &levels[i * kCapacity + k], sizeof(double)) != 0)
                    Abort(std::string("the host interface and the reference classify ") + fields[i] +
                          " differently");
        }
        return *m_host;
    }

    // The repeated job: a fresh engine and one input, classified once before timing.
    struct Repeated {
        std::unique_ptr<Engine> engine;
        std::string input;
    };
    Repeated& GetRepeated()
    {
        if (m_repeated.engine) return m_repeated;
        m_repeated.engine = std::make_unique<Engine>(m_description);
        m_repeated.input = Inputs(4, 1)[0];
        // The first call computes; the second is answered by the cache.
        for (int i = 0; i < 2; ++i)
            CheckAnalyze("Analyze (same input again)", m_repeated.engine->Get(), m_net, m_repeated.input);
        return m_repeated;
    }

    // The data of this size as files under `directory`, for the benchmarks of the bindings:
    // network.txt (structure only) and samples.txt, which Train reads; trained.txt, the model's
    // description with its probabilities; fields.txt, the never-seen pool, one field a line.
    void Write(const fs::path& directory) const
    {
        fs::create_directories(directory);
        WriteText((directory / "network.txt").string(), m_model.Description(false));
        WriteText((directory / "samples.txt").string(),
                  "# Sample lines drawn from the model\n" + m_model.TestLines(m_seed + 5, m_sampleLines));
        WriteText((directory / "trained.txt").string(), m_description);
        std::unordered_set<std::string> seen;
        std::string fields;
        for (const std::string& results : m_model.DistinctResults(m_seed * 7919u + 3, kPoolSize, seen))
            fields += results + "\n";
        WriteText((directory / "fields.txt").string(), fields);
    }

    // Train's files, and one run of the engine and of the reference that must agree.
    void PrepareTrain()
    {
        if (m_trainReady) return;
        const std::string network = File("network.txt"), samples = File("samples.txt");
        const std::string engineFile = File("engine-trained.txt"),
                          referenceFile = File("reference-trained.txt");
        WriteText(network, m_model.Description(false));
        WriteText(samples,
                  "# Sample lines drawn from the model\n" + m_model.TestLines(m_seed + 5, m_sampleLines));
        const std::string engineOutput = CaptureStdout([&] {
            Engine engine;
            if (Train(engine.Get(), network.c_str(), samples.c_str(), engineFile.c_str()) != 0)
                Abort("Train: the engine failed");
        });
        const std::string referenceOutput =
            CaptureStdout([&] { Guard("Train", [&] { FlatTrain(network, samples, referenceFile); }); });
        CompareTexts("Train: the trained file", MaskDate(ReadWholeFile(engineFile)),
                     MaskDate(ReadWholeFile(referenceFile)));
        CompareTexts("Train: standard output", engineOutput, referenceOutput);
        m_trainReady = true;
    }

    // AnalyzeFile's input, and one run of the engine and of the reference that must agree.
    void PrepareAnalyzeFile()
    {
        if (m_analyzeFileReady) return;
        const std::string input = File("tests.txt");
        const std::string engineFile = File("engine-analyzed.txt"),
                          referenceFile = File("reference-analyzed.txt");
        WriteText(input, "# Test lines drawn from the model\n" + m_model.TestLines(m_seed + 6, kTestLines));
        const std::string engineOutput = CaptureStdout([&] {
            Engine engine(m_description);
            if (AnalyzeFile(engine.Get(), input.c_str(), engineFile.c_str()) != 0)
                Abort("AnalyzeFile: the engine failed");
        });
        const std::string referenceOutput = CaptureStdout(
            [&] { Guard("AnalyzeFile", [&] { FlatAnalyzeFile(m_net, input, referenceFile); }); });
        CompareTexts("AnalyzeFile: the output file", ReadWholeFile(engineFile), ReadWholeFile(referenceFile));
        CompareTexts("AnalyzeFile: standard output", engineOutput, referenceOutput);
        m_analyzeFileReady = true;
    }

    // The load job: an engine that loads the description again and again.
    Engine& GetLoader()
    {
        if (m_loader) return *m_loader;
        m_loader = std::make_unique<Engine>(m_description);
        for (const std::string& results : Inputs(7, kCheckInputs))
            CheckAnalyze("Load", m_loader->Get(), m_net, results);
        return *m_loader;
    }

private:
    Size m_size;
    int m_sampleLines;
    uint32_t m_seed;
    Model m_model;
    std::string m_description;
    FlatNet m_net;
    fs::path m_directory;
    std::unordered_set<std::string> m_seen;
    NeverSeen m_neverSeen;
    std::unique_ptr<HostEngine> m_host;
    Repeated m_repeated;
    bool m_trainReady = false;
    bool m_analyzeFileReady = false;
    std::unique_ptr<Engine> m_loader;
};

// Results never seen before, the confidence cache full: every call computes the product of every
// state through string-keyed lookups, then every state's level.
void BM_Analyze(benchmark::State& state, Workload* workload)
{
    Workload::NeverSeen& job = workload->GetNeverSeen();
    char states[kCapacity];
    double levels[kCapacity];
    for (auto _ : state) {
        int32_t count = kCapacity;
        const std::string& results = job.pool[job.engineNext++ % job.pool.size()];
        if (Analyze(job.engine->Get(), results.c_str(), states, levels, &count) != 0) Abort("Analyze failed");
        benchmark::DoNotOptimize(levels[0]);
    }
}

// The same results from flat arrays: products, levels and the sort.
void BM_AnalyzeReference(benchmark::State& state, Workload* workload)
{
    Workload::NeverSeen& job = workload->GetNeverSeen();
    char states[kCapacity];
    double levels[kCapacity];
    for (auto _ : state) {
        int32_t count = kCapacity;
        const std::string& results = job.pool[job.referenceNext++ % job.pool.size()];
        if (FlatAnalyze(workload->Net(), results.c_str(), states, levels, &count) != 0)
            Abort("FlatAnalyze failed");
        benchmark::DoNotOptimize(levels[0]);
    }
}

// One field a call through the host interface, which computes every field afresh.
void BM_Classify(benchmark::State& state, Workload* workload)
{
    veltra_engine* engine = workload->GetHost().Get();
    Workload::NeverSeen& job = workload->GetNeverSeen();
    char states[kCapacity];
    double levels[kCapacity];
    size_t next = 0;
    for (auto _ : state) {
        int32_t count = kCapacity;
        if (veltra_engine_classify(engine, job.pool[next++ % job.pool.size()].c_str(), states, levels,
                                   &count) != VELTRA_OK)
            Abort("veltra_engine_classify failed");
        benchmark::DoNotOptimize(levels[0]);
    }
}

constexpr size_t kBatch = 256;

// kBatch fields a call through the host interface, into flat arrays.
void BM_ClassifyMany(benchmark::State& state, Workload* workload)
{
    veltra_engine* engine = workload->GetHost().Get();
    const std::vector<std::string>& pool = workload->GetNeverSeen().pool;
    std::vector<const char*> fields;
    for (const std::string& results : pool) fields.push_back(results.c_str());
    std::vector<char> states(kBatch * kCapacity);
    std::vector<double> levels(kBatch * kCapacity);
    std::vector<veltra_status> statuses(kBatch);
    size_t next = 0;
    for (auto _ : state) {
        if (veltra_engine_classify_many(engine, static_cast<int32_t>(kBatch), fields.data() + next, kCapacity,
                                        states.data(), levels.data(), statuses.data()) != VELTRA_OK)
            Abort("veltra_engine_classify_many failed");
        next = (next + kBatch) % (fields.size() - kBatch);
        benchmark::DoNotOptimize(levels[0]);
    }
}

// The same kBatch fields from flat arrays.
void BM_ClassifyManyReference(benchmark::State& state, Workload* workload)
{
    workload->GetHost();
    const std::vector<std::string>& pool = workload->GetNeverSeen().pool;
    std::vector<char> states(kBatch * kCapacity);
    std::vector<double> levels(kBatch * kCapacity);
    size_t next = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < kBatch; ++i) {
            int32_t count = kCapacity;
            if (FlatAnalyze(workload->Net(), pool[next + i].c_str(), &states[i * kCapacity],
                            &levels[i * kCapacity], &count) != 0)
                Abort("FlatAnalyze failed");
        }
        next = (next + kBatch) % (pool.size() - kBatch);
        benchmark::DoNotOptimize(levels[0]);
    }
}

// One input again and again: what the confidence cache costs when it answers every state.
void BM_AnalyzeRepeated(benchmark::State& state, Workload* workload)
{
    Workload::Repeated& job = workload->GetRepeated();
    char states[kCapacity];
    double levels[kCapacity];
    for (auto _ : state) {
        int32_t count = kCapacity;
        if (Analyze(job.engine->Get(), job.input.c_str(), states, levels, &count) != 0)
            Abort("Analyze failed");
        benchmark::DoNotOptimize(levels[0]);
    }
}

// The same input computed in full every time, without a cache.
void BM_AnalyzeRepeatedReference(benchmark::State& state, Workload* workload)
{
    Workload::Repeated& job = workload->GetRepeated();
    char states[kCapacity];
    double levels[kCapacity];
    for (auto _ : state) {
        int32_t count = kCapacity;
        const char* input = job.input.c_str();
        benchmark::DoNotOptimize(input);
        if (FlatAnalyze(workload->Net(), input, states, levels, &count) != 0) Abort("FlatAnalyze failed");
        benchmark::DoNotOptimize(levels[0]);
    }
}

// A whole training run on a fresh engine: reading and counting the samples, estimation, the
// trained file, the reload and the DP/CP figures.
void BM_Train(benchmark::State& state, Workload* workload)
{
    workload->PrepareTrain();
    const std::string network = workload->File("network.txt"), samples = workload->File("samples.txt");
    const std::string output = workload->File("engine-trained.txt");
    for (auto _ : state) {
        state.PauseTiming();
        auto engine = std::make_unique<Engine>();
        state.ResumeTiming();
        if (Train(engine->Get(), network.c_str(), samples.c_str(), output.c_str()) != 0)
            Abort("Train failed");
        state.PauseTiming();
        engine.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * workload->SampleLines());
}

// The same run over flat count arrays.
void BM_TrainReference(benchmark::State& state, Workload* workload)
{
    workload->PrepareTrain();
    const std::string network = workload->File("network.txt"), samples = workload->File("samples.txt");
    const std::string output = workload->File("reference-trained.txt");
    for (auto _ : state) FlatTrain(network, samples, output);
    state.SetItemsProcessed(state.iterations() * workload->SampleLines());
}

// A whole batch evaluation on a freshly loaded engine: reading, classifying every test line
// (through the caches as they fill), the result lines and the progress display.
void BM_AnalyzeFile(benchmark::State& state, Workload* workload)
{
    workload->PrepareAnalyzeFile();
    const std::string input = workload->File("tests.txt"), output = workload->File("engine-analyzed.txt");
    for (auto _ : state) {
        state.PauseTiming();
        auto engine = std::make_unique<Engine>(workload->Description());
        state.ResumeTiming();
        if (AnalyzeFile(engine->Get(), input.c_str(), output.c_str()) != 0) Abort("AnalyzeFile failed");
        state.PauseTiming();
        engine.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kTestLines);
}

// The same evaluation from flat arrays, formatting the same bytes.
void BM_AnalyzeFileReference(benchmark::State& state, Workload* workload)
{
    workload->PrepareAnalyzeFile();
    const std::string input = workload->File("tests.txt"), output = workload->File("reference-analyzed.txt");
    for (auto _ : state) FlatAnalyzeFile(workload->Net(), input, output);
    state.SetItemsProcessed(state.iterations() * kTestLines);
}

// Loading the description from memory: line classification, the nodes, the probability tables
// and the sum checks; the figure is time per byte.
void BM_Load(benchmark::State& state, Workload* workload)
{
    BayesianEngineHandle engine = workload->GetLoader().Get();
    const std::string& text = workload->Description();
    for (auto _ : state)
        if (InitializeThruParam(engine, text.c_str()) != 0) Abort("InitializeThruParam failed");
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

// A plain parse of the same text into flat arrays, with the same sum checks.
void BM_LoadReference(benchmark::State& state, Workload* workload)
{
    workload->GetLoader();
    const std::string& text = workload->Description();
    for (auto _ : state) benchmark::DoNotOptimize(ParseDescription(text));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

using Job = void (*)(benchmark::State&, Workload*);

void Register(ResultTable& table, Workload* workload, const char* label, const char* name, Job engine,
              Job reference, Metric metric, double work, double target, benchmark::TimeUnit unit)
{
    const std::string size = workload->GetSize().name;
    const std::string engineName = std::string("BM_") + name + "/" + size;
    const std::string referenceName = std::string("BM_") + name + "Reference/" + size;
    for (auto* benchmark : {benchmark::RegisterBenchmark(engineName.c_str(), engine, workload),
                            benchmark::RegisterBenchmark(referenceName.c_str(), reference, workload)}) {
        benchmark->Unit(unit);
        if (!g_minTimeGiven) benchmark->MinTime(kMinTime);
        // Loading is short: more repetitions steady its median, which the linearity check compares
        // across sizes.
        if (metric == Metric::kTimePerByte) benchmark->Repetitions(7);
    }
    table.AddRow({size, label, engineName, referenceName, metric, work, target});
}

bool Selected(const std::string& list, const char* name)
{
    return list.empty() || ("," + list + ",").find("," + std::string(name) + ",") != std::string::npos;
}

std::vector<const Size*> SelectSizes(const std::string& list)
{
    std::vector<const Size*> selected;
    for (const Size& size : kSizes)
        if (Selected(list, size.name)) selected.push_back(&size);
    if (selected.empty() && !Selected(list, kSparse.name))
        Abort("--size takes small, medium, large and sparse, separated by commas: " + list);
    return selected;
}

void PrintSetup(std::ostream& out, const std::vector<const Size*>& sizes, bool sparse)
{
    if (sparse)
        out << "Train (sparse): " << kSparse.states << " states, " << kSparse.tests << " tests of "
            << kSparse.values << " values, " << kSparseSampleLines << " sample lines a run.\n";
    if (sizes.empty()) return;
    out << "Sizes (states, tests, values per test):";
    for (const Size* size : sizes)
        out << (size == sizes[0] ? " " : ", ") << size->name << " (" << size->states << ", " << size->tests
            << ", " << size->values << ")";
    out << "\nAnalyze: " << kPoolSize << " distinct results in turn, after " << kFillCalls
        << " other calls have filled the confidence cache.\nTrain: " << kSampleLines
        << " sample lines a run. AnalyzeFile: " << kTestLines
        << " test lines a run.\nLoad: the description at each size";
    if (sizes.back() == &kSizes[2]) out << ", and with 200 and 400 tests (large-x2, large-x4)";
    out << ".\n";
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv)
{
    using namespace bench;
    const char* fromEnvironment = std::getenv("VELTRA_BENCH_SIZE");
    std::string sizeList = fromEnvironment ? fromEnvironment : "";
    std::string tablePath, writePath;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("--size=", 0) == 0) {
            sizeList = arg.substr(7);
        } else if (arg.rfind("--table=", 0) == 0) {
            tablePath = arg.substr(8);
        } else if (arg.rfind("--write=", 0) == 0) {
            writePath = arg.substr(8);
        } else {
            if (arg.rfind("--benchmark_min_time=", 0) == 0) g_minTimeGiven = true;
            if (arg == "--help")
                std::cerr
                    << "veltra_bench [--size=small,medium,large,sparse] [--table=<file>] [Google Benchmark "
                       "flags]\n"
                    << "veltra_bench --write=<directory> [--size=...]: writes the data of each size\n"
                    << "  Run with standard output to /dev/null; VELTRA_BENCH_SIZE also gives the sizes.\n";
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    g_directory = fs::temp_directory_path() / ("veltra-bench-" + std::to_string(std::random_device()()));
    fs::create_directories(g_directory);

    const std::vector<const Size*> sizes = SelectSizes(sizeList);
    if (!writePath.empty()) {
        for (const Size* size : sizes) Workload(*size).Write(fs::path(writePath) / size->name);
        fs::remove_all(g_directory);
        return 0;
    }
    ResultTable table(std::cerr);
    std::vector<std::unique_ptr<Workload>> workloads;
    std::vector<Workload*> loads;
    for (const Size* size : sizes) {
        Workload* w = workloads.emplace_back(std::make_unique<Workload>(*size)).get();
        const bool trainTarget = size != &kSizes[0];
        Register(table, w, "Analyze (never seen)", "Analyze", BM_Analyze, BM_AnalyzeReference,
                 Metric::kTimePerCall, 1, 2.0, benchmark::kMicrosecond);
        Register(table, w, "Analyze (same input again)", "AnalyzeRepeated", BM_AnalyzeRepeated,
                 BM_AnalyzeRepeatedReference, Metric::kTimePerCall, 1, 1.0, benchmark::kMicrosecond);
        Register(table, w, "Host: classify one field", "Classify", BM_Classify, BM_AnalyzeReference,
                 Metric::kTimePerCall, 1, 1.5, benchmark::kMicrosecond);
        Register(table, w, "Host: 256 fields a call", "ClassifyMany", BM_ClassifyMany,
                 BM_ClassifyManyReference, Metric::kTimePerCall, 1, 1.5, benchmark::kMicrosecond);
        Register(table, w, "Train", "Train", BM_Train, BM_TrainReference, Metric::kLinesPerSec, kSampleLines,
                 trainTarget ? 0.8 : 0.0, benchmark::kMillisecond);
        Register(table, w, "AnalyzeFile", "AnalyzeFile", BM_AnalyzeFile, BM_AnalyzeFileReference,
                 Metric::kLinesPerSec, kTestLines, 0.8, benchmark::kMillisecond);
        loads.push_back(w);
    }
    if (!sizes.empty() && sizes.back() == &kSizes[2])
        for (const Size& size : kLargerLoads)
            loads.push_back(workloads.emplace_back(std::make_unique<Workload>(size)).get());
    for (Workload* w : loads)
        Register(table, w, "Load", "Load", BM_Load, BM_LoadReference, Metric::kTimePerByte,
                 static_cast<double>(w->Description().size()), 1.5, benchmark::kMicrosecond);
    // A sparse training run: its cost is the trained file (every count, every raised probability,
    // the per-test figures), not the samples.
    const bool sparse = Selected(sizeList, kSparse.name);
    if (sparse) {
        Workload* w = workloads.emplace_back(std::make_unique<Workload>(kSparse, kSparseSampleLines)).get();
        Register(table, w, "Train", "Train", BM_Train, BM_TrainReference, Metric::kLinesPerSec,
                 kSparseSampleLines, 0.0, benchmark::kMillisecond);
    }

    benchmark::RunSpecifiedBenchmarks(&table);

    std::ofstream file;
    if (!tablePath.empty()) file.open(tablePath);
    std::ostream& out = tablePath.empty() ? std::cerr : file;
    PrintSetup(out, sizes, sparse);
    table.Print(out);
    std::error_code ignored;
    fs::remove_all(g_directory, ignored);
    return 0;
}
