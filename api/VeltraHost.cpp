// The host interface. Each function is a thin shell over HostEngine: its argument checks, then
// Call, which enters the engine (a second thread is refused with VELTRA_BUSY, touching nothing),
// clears the last reason, sends the engine's texts to the handle's sink for the call, runs one
// engine operation and turns a failure into a status and a kept reason. No exception leaves; only
// a thread that a host's callback ends (pthread_exit, cancellation) unwinds on through the call,
// releasing the engine and removing what the call was writing.
#include "api/VeltraHost.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "engine/CrossValidation.h"
#include "engine/HostEngine.h"
#include "engine/TestSelection.h"
#include "safe/OutputFile.h"

using veltra::ConsoleScope;
using veltra::ConsoleSink;
using veltra::HostEngine;
using veltra::MessageKind;
using veltra::String;

namespace {

// Set on a thread whose host callback did not return but unwound (the thread is ending): the
// call lets that unwinding pass.
thread_local bool t_callbackUnwound = false;

// Calls a host's callback. A callback that ends its thread unwinds through the engine: what the
// call was writing is then removed, as after an interruption.
template <class Callback, class... Arguments>
void Tell(Callback callback, Arguments... arguments)
{
    struct Unwound {
        bool returned = false;
        ~Unwound()
        {
            if (returned) return;
            t_callbackUnwound = true;
            veltra::OutputFile::SetThreadEnding(true);
        }
    } unwound;
    callback(arguments...);
    unwound.returned = true;
}

// Where an engine's texts go during its calls: the reason of a failure is kept, and every text
// the host asked for goes to its callbacks.
class HostSink final : public ConsoleSink {
public:
    void Raised(const std::string& text) override
    {
        try {
            lastRaised = text;
        } catch (...) {
            lastRaised.clear();  // no memory for the text: the status says what happened
        }
        Message(MessageKind::kFailure, text);
    }
    void Message(MessageKind kind, const std::string& text) override
    {
        if (Wants(kind)) Tell(messages, messageContext, static_cast<int32_t>(kind), text.c_str());
    }
    bool Wants(MessageKind kind) const noexcept override
    {
        return messages && (kinds & static_cast<int32_t>(kind)) != 0;
    }
    void Progress(int64_t done, int64_t total) override
    {
        if (progress) Tell(progress, progressContext, done, total);
    }

    std::string lastRaised;
    veltra_message_callback messages = nullptr;
    void* messageContext = nullptr;
    int32_t kinds = 0;
    veltra_progress_callback progress = nullptr;
    void* progressContext = nullptr;
};

// Tells a host's judged-line callback, with its texts made NUL-terminated.
class JudgedToHost final : public veltra::JudgedLines {
public:
    JudgedToHost(veltra_judged_callback callback, void* context) : m_callback(callback), m_context(context) {}
    void Judged(int64_t line, std::string_view expected, std::string_view results, int32_t count,
                const char* states, const double* probabilities) override
    {
        m_expected.assign(expected);
        m_results.assign(results);
        Tell(m_callback, m_context, line, m_expected.c_str(), m_results.c_str(), count, states,
             probabilities);
    }

private:
    veltra_judged_callback m_callback;
    void* m_context;
    std::string m_expected, m_results;
};

// Tells a host's verdict callback, with its texts made NUL-terminated.
class VerdictsToHost final : public veltra::FoldVerdicts {
public:
    VerdictsToHost(veltra_verdict_callback callback, void* context) : m_callback(callback), m_context(context)
    {
    }
    void Verdict(int32_t fold, int64_t line, std::string_view expected, std::string_view results,
                 int32_t count, const char* states, const double* probabilities) override
    {
        m_expected.assign(expected);
        m_results.assign(results);
        Tell(m_callback, m_context, fold, line, m_expected.c_str(), m_results.c_str(), count, states,
             probabilities);
    }

private:
    veltra_verdict_callback m_callback;
    void* m_context;
    std::string m_expected, m_results;
};

}  // namespace

struct veltra_engine {
    HostEngine engine;
    HostSink sink;
    std::string error;
    std::string errorFile;
    int64_t errorLine = 0;

    veltra_status Fail(veltra_status status, const std::string& reason, const std::string& file = "",
                       int64_t line = 0) noexcept
    {
        try {
            error = reason;
            errorFile = file;
        } catch (...) {
            error.clear();
            errorFile.clear();
        }
        errorLine = line;
        return status;
    }
};

namespace {

template <class Body>
veltra_status Call(veltra_engine* handle, Body&& body)
{
    if (!handle) return VELTRA_INVALID_ARGUMENT;
    if (!handle->engine.TryEnterCall()) return VELTRA_BUSY;
    struct Leave {
        HostEngine& engine;
        ~Leave() { engine.LeaveCall(); }
    } leave{handle->engine};
    t_callbackUnwound = false;
    veltra::OutputFile::SetThreadEnding(false);
    handle->Fail(VELTRA_OK, "");
    handle->sink.lastRaised.clear();
    handle->engine.ClearPlace();
    ConsoleScope scope(&handle->sink);
    try {
        return body(handle->engine);
    } catch (const veltra::TrapException& e) {
        const HostEngine::Place& place = handle->engine.GetPlace();
        const std::string& reason =
            handle->sink.lastRaised.empty() ? e.GetMessage() : handle->sink.lastRaised;
        return handle->Fail(VELTRA_FAILED, reason, place.file.str(), place.line);
    } catch (const std::bad_alloc&) {
        return handle->Fail(VELTRA_OUT_OF_MEMORY, "Out of memory");
    } catch (const std::exception& e) {
        return handle->Fail(VELTRA_FAILED, e.what());
    } catch (...) {
        if (t_callbackUnwound) throw;  // the thread is ending: it must unwind to its start
        return handle->Fail(VELTRA_FAILED, "Unknown failure");
    }
}

veltra_status Invalid(veltra_engine* handle, const char* function, const char* what) noexcept
{
    if (!handle || !handle->engine.TryEnterCall()) return handle ? VELTRA_BUSY : VELTRA_INVALID_ARGUMENT;
    const veltra_status status = handle->Fail(VELTRA_INVALID_ARGUMENT, std::string(function) + ": " + what);
    handle->engine.LeaveCall();
    return status;
}

// A text into a caller's buffer of *size bytes, as convention 3 says.
veltra_status CopyText(const std::string& text, char* buffer, int32_t* size)
{
    if (text.size() >= static_cast<size_t>(INT32_MAX)) throw std::bad_alloc();
    const int32_t needed = static_cast<int32_t>(text.size()) + 1;
    const int32_t capacity = *size;
    *size = needed;
    if (!buffer || capacity < needed) return VELTRA_BUFFER_TOO_SMALL;
    std::memcpy(buffer, text.c_str(), static_cast<size_t>(needed));
    return VELTRA_OK;
}

const veltra::NaiveBayesNet& Loaded(HostEngine& engine)
{
    veltra::NaiveBayesNet& network = engine.GetNetwork();
    if (!network.HasHypothesis()) VELTRA_RAISE("Network has not been initialized yet");
    return network;
}

// Raises for an index outside [0, count).
void RequireIndex(int32_t index, int32_t count, const char* what)
{
    if (index < 0 || index >= count) VELTRA_RAISE("No ", what, " ", index, ": there are ", count);
}

}  // namespace

extern "C" {

VELTRA_HOST_API const char* VELTRA_HOST_CALL veltra_version(void)
{
    return VELTRA_VERSION_TEXT;
}

VELTRA_HOST_API int32_t VELTRA_HOST_CALL veltra_interface_version(void)
{
    return VELTRA_HOST_INTERFACE_VERSION;
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_create(veltra_engine** engine)
{
    if (!engine) return VELTRA_INVALID_ARGUMENT;
    veltra_engine* created = new (std::nothrow) veltra_engine();
    if (!created) return VELTRA_OUT_OF_MEMORY;
    *engine = created;
    return VELTRA_OK;
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_destroy(veltra_engine* engine)
{
    if (!engine) return VELTRA_OK;
    if (!engine->engine.TryEnterCall()) return VELTRA_BUSY;
    // The engine's clean-up reports, if any, go nowhere: nothing reaches the process's streams.
    HostSink silent;
    ConsoleScope scope(&silent);
    delete engine;
    return VELTRA_OK;
}

VELTRA_HOST_API const char* VELTRA_HOST_CALL veltra_engine_error(const veltra_engine* engine)
{
    return engine ? engine->error.c_str() : "";
}

VELTRA_HOST_API const char* VELTRA_HOST_CALL veltra_engine_error_file(const veltra_engine* engine)
{
    return engine ? engine->errorFile.c_str() : "";
}

VELTRA_HOST_API int64_t VELTRA_HOST_CALL veltra_engine_error_line(const veltra_engine* engine)
{
    return engine ? engine->errorLine : 0;
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_set_message_callback(
    veltra_engine* engine, veltra_message_callback callback, void* context, int32_t kinds)
{
    return Call(engine, [&](HostEngine&) {
        engine->sink.messages = callback;
        engine->sink.messageContext = context;
        engine->sink.kinds = kinds;
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL
veltra_engine_set_progress_callback(veltra_engine* engine, veltra_progress_callback callback, void* context)
{
    return Call(engine, [&](HostEngine&) {
        engine->sink.progress = callback;
        engine->sink.progressContext = context;
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_load_file(veltra_engine* engine,
                                                                       const char* path)
{
    if (!path) return Invalid(engine, "veltra_engine_load_file", "the path is null");
    return Call(engine, [&](HostEngine& e) {
        e.LoadFile(String(path));
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_load_text(veltra_engine* engine,
                                                                       const char* text)
{
    if (!text) return Invalid(engine, "veltra_engine_load_text", "the text is null");
    return Call(engine, [&](HostEngine& e) {
        e.LoadText(String(text));
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_info(veltra_engine* engine,
                                                                       veltra_network_info* info)
{
    if (!info) return Invalid(engine, "veltra_network_get_info", "the info is null");
    return Call(engine, [&](HostEngine& e) {
        const veltra::NaiveBayesNet& network = Loaded(e);
        const veltra::NaiveBayesNet::LoadFacts& facts = network.GetLoadFacts();
        info->states = network.GetHypothesis().GetStateCount();
        info->tests = network.GetTestCount();
        info->probability_lines = facts.probabilityLines;
        info->smallest_prior = facts.smallestPrior;
        info->smallest_conditional = facts.smallestConditional;
        info->underflow_tests = facts.probabilityLines
                                    ? veltra::UnderflowTests(facts.smallestPrior, facts.smallestConditional)
                                    : 0;
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_name(veltra_engine* engine, char* name,
                                                                       int32_t* size)
{
    if (!size) return Invalid(engine, "veltra_network_get_name", "the size is null");
    return Call(engine, [&](HostEngine& e) {
        return CopyText(Loaded(e).GetHypothesis().GetName().str(), name, size);
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_state(veltra_engine* engine, int32_t index,
                                                                        char* result, char* name,
                                                                        int32_t* size)
{
    if (!size) return Invalid(engine, "veltra_network_get_state", "the size is null");
    return Call(engine, [&](HostEngine& e) {
        const veltra::Hypothesis& hypothesis = Loaded(e).GetHypothesis();
        RequireIndex(index, hypothesis.GetStateCount(), "state");
        const std::string& text = hypothesis.GetState(index).str();
        if (result) *result = text.empty() ? '\0' : text[0];
        return CopyText(text, name, size);
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_test(veltra_engine* engine, int32_t index,
                                                                       int32_t field, char* text,
                                                                       int32_t* size)
{
    if (!size) return Invalid(engine, "veltra_network_get_test", "the size is null");
    if (field != VELTRA_TEST_TAG && field != VELTRA_TEST_DESCRIPTION)
        return Invalid(engine, "veltra_network_get_test",
                       "the field is neither VELTRA_TEST_TAG nor VELTRA_TEST_DESCRIPTION");
    return Call(engine, [&](HostEngine& e) {
        const veltra::NaiveBayesNet& network = Loaded(e);
        RequireIndex(index, network.GetTestCount(), "test");
        const veltra::BayesTest& test = network.GetTest(index);
        return CopyText((field == VELTRA_TEST_TAG ? test.GetTag() : test.GetDescription()).str(), text, size);
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_value_count(veltra_engine* engine,
                                                                              int32_t test, int32_t* count)
{
    if (!count) return Invalid(engine, "veltra_network_get_value_count", "the count is null");
    return Call(engine, [&](HostEngine& e) {
        const veltra::NaiveBayesNet& network = Loaded(e);
        RequireIndex(test, network.GetTestCount(), "test");
        *count = network.GetTest(test).GetValueCount();
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_value(veltra_engine* engine, int32_t test,
                                                                        int32_t value, char* text,
                                                                        int32_t* size)
{
    if (!size) return Invalid(engine, "veltra_network_get_value", "the size is null");
    return Call(engine, [&](HostEngine& e) {
        const veltra::NaiveBayesNet& network = Loaded(e);
        RequireIndex(test, network.GetTestCount(), "test");
        const veltra::BayesTest& node = network.GetTest(test);
        RequireIndex(value, node.GetValueCount(), "value");
        return CopyText(node.GetValue(value).str(), text, size);
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_figures(veltra_engine* engine, int32_t test,
                                                                          double* cp, double* dp,
                                                                          int32_t* known)
{
    if (!cp || !dp || !known) return Invalid(engine, "veltra_network_get_figures", "cp, dp or known is null");
    return Call(engine, [&](HostEngine& e) {
        const veltra::NaiveBayesNet& network = Loaded(e);
        RequireIndex(test, network.GetTestCount(), "test");
        const std::string& tag = network.GetTest(test).GetTag().str();
        const veltra::StatedFigures& figures = e.GetStatedFigures();
        *known = 0;
        *cp = *dp = 0.0;
        if (auto found = figures.cp.find(tag); found != figures.cp.end()) *cp = found->second, *known |= 1;
        if (auto found = figures.dp.find(tag); found != figures.dp.end()) *dp = found->second, *known |= 2;
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_classify(veltra_engine* engine,
                                                                      const char* results, char* states,
                                                                      double* probabilities, int32_t* count)
{
    if (!results || !count)
        return Invalid(engine, "veltra_engine_classify", "the results or the count is null");
    return Call(engine, [&](HostEngine& e) {
        const int32_t capacity = states && probabilities ? *count : 0;
        const int32_t n = e.ClassifyFresh(results, states, probabilities, capacity);
        *count = n;
        return n > capacity ? VELTRA_BUFFER_TOO_SMALL : VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL
veltra_engine_classify_many(veltra_engine* engine, int32_t fields, const char* const* results, int32_t stride,
                            char* states, double* probabilities, veltra_status* statuses)
{
    if (fields < 0 || stride < 0 || (fields > 0 && (!results || !states || !probabilities || !statuses)))
        return Invalid(engine, "veltra_engine_classify_many", "a count is negative or an array is null");
    return Call(engine, [&](HostEngine& e) {
        veltra_status result = VELTRA_OK;
        for (int32_t i = 0; i < fields; ++i) {
            const size_t first = static_cast<size_t>(i) * static_cast<size_t>(stride);
            try {
                if (!results[i]) VELTRA_RAISE("Field ", i + 1, " is null");
                const int32_t n = e.ClassifyFresh(results[i], states + first, probabilities + first, stride);
                statuses[i] = n > stride ? VELTRA_BUFFER_TOO_SMALL : VELTRA_OK;
            } catch (const veltra::TrapException& failure) {
                statuses[i] = VELTRA_FAILED;
                if (result != VELTRA_OK) continue;
                const std::string& reason = engine->sink.lastRaised;
                result =
                    engine->Fail(VELTRA_FAILED, reason.empty() ? failure.GetMessage() : reason, "", i + 1);
            }
            if (statuses[i] == VELTRA_BUFFER_TOO_SMALL && result == VELTRA_OK)
                result = engine->Fail(VELTRA_BUFFER_TOO_SMALL,
                                      "The stride is smaller than the number of states", "", i + 1);
        }
        return result;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_train(veltra_engine* engine, const char* network,
                                                                   const char* samples, const char* output,
                                                                   int64_t* samples_counted)
{
    if (!network || !samples || !output) return Invalid(engine, "veltra_engine_train", "a file name is null");
    return Call(engine, [&](HostEngine& e) {
        e.TrainFresh(String(network), String(samples), String(output));
        if (samples_counted) *samples_counted = e.GetTotalSampleCount();
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_count_size(veltra_engine* engine, int32_t* size)
{
    if (!size) return Invalid(engine, "veltra_engine_count_size", "the size is null");
    return Call(engine, [&](HostEngine& e) {
        *size = e.CountEntries() + 2;
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_count(veltra_engine* engine, const char* lines,
                                                                   int64_t length, const char* file,
                                                                   int64_t first_line, int64_t* counts)
{
    if ((!lines && length > 0) || length < 0 || !file || !counts || first_line < 1)
        return Invalid(engine, "veltra_engine_count",
                       "a pointer is null, or the length or first line is wrong");
    return Call(engine, [&](HostEngine& e) {
        e.CountBlock(lines, static_cast<size_t>(length), String(file), first_line, counts);
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_train_counts(veltra_engine* engine,
                                                                          const char* network,
                                                                          const int64_t* counts,
                                                                          const char* output)
{
    if (!network || !counts || !output)
        return Invalid(engine, "veltra_engine_train_counts", "a pointer is null");
    return Call(engine, [&](HostEngine& e) {
        e.TrainFreshFromCounts(String(network), counts, String(output));
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_evaluate(veltra_engine* engine,
                                                                      const char* input, const char* output,
                                                                      veltra_judged_callback judged,
                                                                      void* context, int64_t* right,
                                                                      int64_t* wrong)
{
    if (!input) return Invalid(engine, "veltra_engine_evaluate", "the input is null");
    return Call(engine, [&](HostEngine& e) {
        JudgedToHost tell(judged, context);
        struct Forget {
            HostEngine& engine;
            ~Forget() { engine.SetJudgedLines(nullptr); }
        } forget{e};
        e.SetJudgedLines(judged ? &tell : nullptr);
#if defined(_WIN32)
        const char* const nowhere = "NUL";
#else
        const char* const nowhere = "/dev/null";
#endif
        e.AnalyzeFile(String(input), String(output ? output : nowhere));
        if (right) *right = e.GetTally().correct;
        if (wrong) *wrong = e.GetTally().wrong;
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_write_tests(veltra_engine* engine,
                                                                         const char* network,
                                                                         const int32_t* tests, int32_t count,
                                                                         const char* output)
{
    if (!network || !output || count < 0 || (count > 0 && !tests))
        return Invalid(engine, "veltra_engine_write_tests", "a pointer is null or the count is negative");
    return Call(engine, [&](HostEngine& e) {
        e.WriteTests(String(network), tests, count, String(output));
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_cut(veltra_engine* engine, const char* chosen,
                                                                 const char* input, const char* output,
                                                                 int64_t* cut)
{
    if (!chosen || !input || !output) return Invalid(engine, "veltra_engine_cut", "a file name is null");
    return Call(engine, [&](HostEngine& e) {
        const int64_t lines = e.CutFile(String(chosen), String(input), String(output));
        if (cut) *cut = lines;
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_cross_validate(
    veltra_engine* engine, const char* network, const char* samples, int32_t folds, uint64_t seed,
    int32_t flags, veltra_verdict_callback verdict, void* context, int64_t* right, int64_t* wrong)
{
    if (!network || !samples) return Invalid(engine, "veltra_engine_cross_validate", "a file name is null");
    if (folds < 2) return Invalid(engine, "veltra_engine_cross_validate", "the folds are fewer than 2");
    if (flags & ~VELTRA_CV_STRATIFIED)
        return Invalid(engine, "veltra_engine_cross_validate", "the flags hold an unknown flag");
    return Call(engine, [&](HostEngine& e) {
        VerdictsToHost tell(verdict, context);
        veltra::RunProgress progress;
        veltra::CrossValidation run(e, {folds, seed, (flags & VELTRA_CV_STRATIFIED) != 0, false}, &progress);
        run.Read(String(network), String(samples));
        progress.Expect(1, run.GetLineCount());
        run.Run(verdict ? &tell : nullptr, right, wrong);
        return VELTRA_OK;
    });
}

VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_select_tests(
    veltra_engine* engine, const char* network, const char* samples, int32_t folds, uint64_t seed,
    int32_t flags, int32_t keep, veltra_selection_step* steps, int32_t* step_count, veltra_test_score* scores,
    int32_t* kept, int32_t* test_count, int32_t* kept_count)
{
    if (!network || !samples) return Invalid(engine, "veltra_engine_select_tests", "a file name is null");
    if (!step_count || !test_count || !kept_count)
        return Invalid(engine, "veltra_engine_select_tests", "a count is null");
    if (folds < 2) return Invalid(engine, "veltra_engine_select_tests", "the folds are fewer than 2");
    if (flags & ~(VELTRA_CV_STRATIFIED | VELTRA_SELECT_FORWARD))
        return Invalid(engine, "veltra_engine_select_tests", "the flags hold an unknown flag");
    if (keep < 0) return Invalid(engine, "veltra_engine_select_tests", "the tests to keep are negative");
    return Call(engine, [&](HostEngine& e) {
        // The arrays' sizes are known once the network is: asked before the samples are read.
        e.LoadFile(String(network));
        const int32_t tests = e.GetNetwork().GetTestCount();
        if (!steps || !scores || !kept || *step_count <= tests || *test_count < tests) {
            *step_count = tests + 1;
            *test_count = tests;
            return VELTRA_BUFFER_TOO_SMALL;
        }
        veltra::SelectionOptions options;
        options.folds = {folds, seed, (flags & VELTRA_CV_STRATIFIED) != 0, false};
        options.forward = (flags & VELTRA_SELECT_FORWARD) != 0;
        options.keep = keep;
        veltra::RunProgress progress;
        const veltra::Selection selection =
            veltra::SelectTests(e, String(network), String(samples), options, &progress);
        *step_count = static_cast<int32_t>(selection.steps.size());
        for (size_t i = 0; i < selection.steps.size(); ++i) {
            const veltra::SelectionStep& step = selection.steps[i];
            steps[i] = {step.test, step.tests, step.right, step.wrong, step.logLoss};
        }
        *test_count = static_cast<int32_t>(selection.tests.size());
        for (size_t t = 0; t < selection.tests.size(); ++t) {
            const veltra::TestScore& score = selection.tests[t];
            scores[t] = {score.mutualInformation, score.accuracyDrop, score.rightWithout, score.wrongWithout,
                         score.logLossWithout};
        }
        *kept_count = static_cast<int32_t>(selection.kept.size());
        std::copy(selection.kept.begin(), selection.kept.end(), kept);
        return VELTRA_OK;
    });
}

}  // extern "C"
