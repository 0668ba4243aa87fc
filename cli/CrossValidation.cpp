#include "cli/CrossValidation.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <vector>

#include "cli/Engine.h"
#include "cli/Evaluation.h"
#include "cli/FileOutput.h"
#include "cli/Report.h"

namespace veltra::cli {

namespace {

int32_t Flags(const FoldChoice& folds)
{
    return folds.stratified ? VELTRA_CV_STRATIFIED : 0;
}

// "93.07 %", or "-" without lines.
std::string Percent(int64_t right, int64_t lines)
{
    if (lines <= 0) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f %%",
                  static_cast<double>(right) * 100.0 / static_cast<double>(lines));
    return text;
}

// The JSON object `json` (its closing brace on a line of its own) with `members` after its own.
std::string WithMembers(const std::string& json, const std::string& members)
{
    std::string text = json.substr(0, json.rfind('}'));
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text + ",\n" + members + "\n}\n";
}

bool WriteJson(Console& console, const std::string& path, const std::string& text)
{
    if (WriteWhole(path, text)) return true;
    console.Error("cannot write " + path);
    return false;
}

// The network of a request, loaded (for its states and tests) and the samples, ready for the
// library; false when either is not, standard error saying why.
bool Ready(Engine& engine, const std::string& network, const GivenInput& samples)
{
    if (!samples.Ready()) {
        engine.console().Error("cannot read standard input");
        return false;
    }
    return engine.Load(network);
}

// Tells the evaluation of every out-of-fold verdict, each fold's model apart.
struct Verdicts {
    Evaluation* evaluation;
    int32_t fold;
};

void OnVerdict(void* context, int32_t fold, int64_t, const char* expected, const char* results, int32_t count,
               const char* states, const double* probabilities)
{
    Verdicts& verdicts = *static_cast<Verdicts*>(context);
    if (fold != verdicts.fold) verdicts.evaluation->StartModel();
    verdicts.fold = fold;
    verdicts.evaluation->Judge(expected, results, count, states, probabilities);
}

}  // namespace

int CrossValidate(const CrossValidationRequest& request)
{
    Console console("cv", request.quiet);
    Engine engine(console);
    const GivenInput samples(request.samples);
    if (!Ready(engine, request.network, samples)) return 1;
    const NetworkView view = engine.View();
    const bool figures = request.report || !request.json.empty();
    if (figures)
        for (const std::string& state : view.states)
            if (state.size() != 1) {
                console.Error("the report tells states by one character; " + request.network +
                              " has state \"" + state + "\"");
                return 1;
            }

    const size_t folds = static_cast<size_t>(request.folds.folds);
    std::vector<int64_t> right(folds), wrong(folds);
    Evaluation evaluation(view.states);
    Verdicts verdicts{&evaluation, -1};
    if (veltra_engine_cross_validate(engine.get(), request.network.c_str(), samples.Path().c_str(),
                                     request.folds.folds, request.folds.seed, Flags(request.folds),
                                     figures ? &OnVerdict : nullptr, &verdicts, right.data(),
                                     wrong.data()) != VELTRA_OK)
        return engine.Failed({{samples.Path(), samples.Shown()}}), 1;
    console.EndProgress();

    // The folds' accuracies, their mean and (sample) standard deviation over the folds with lines.
    int64_t allRight = 0, allLines = 0;
    std::vector<double> accuracies;
    std::printf("Fold      Lines      Right  Accuracy\n");
    for (size_t f = 0; f < folds; ++f) {
        const int64_t lines = right[f] + wrong[f];
        allRight += right[f];
        allLines += lines;
        if (lines > 0) accuracies.push_back(static_cast<double>(right[f]) / static_cast<double>(lines));
        std::printf("%4zu  %9" PRId64 "  %9" PRId64 "  %8s\n", f + 1, lines, right[f],
                    Percent(right[f], lines).c_str());
    }
    double mean = 0.0, deviation = 0.0;
    for (double a : accuracies) mean += a / static_cast<double>(accuracies.size());
    for (double a : accuracies) deviation += (a - mean) * (a - mean);
    if (accuracies.size() > 1) deviation = std::sqrt(deviation / static_cast<double>(accuracies.size() - 1));
    if (accuracies.empty())
        std::printf("\nNo test lines, no accuracy.\n");
    else
        std::printf("\nMean accuracy: %.2f %%, standard deviation %.2f points over %zu folds\n", mean * 100.0,
                    deviation * 100.0, accuracies.size());
    std::printf("All folds: %" PRId64 " of %" PRId64 " lines right, %s\n", allRight, allLines,
                Percent(allRight, allLines).c_str());
    if (!figures) return 0;

    const EvaluationFigures evaluated = evaluation.Figures();
    if (request.report) {
        std::printf("\n");
        PrintReport(stdout, evaluated);
    }
    if (request.json.empty()) return 0;
    std::string members =
        "  \"cross_validation\": {\"folds\": " + std::to_string(request.folds.folds) +
        ", \"seed\": " + std::to_string(request.folds.seed) +
        ", \"stratified\": " + (request.folds.stratified ? "true" : "false") +
        ", \"mean_accuracy\": " + (accuracies.empty() ? "null" : JsonNumber(mean)) +
        ", \"accuracy_deviation\": " + (accuracies.empty() ? "null" : JsonNumber(deviation)) +
        ",\n    \"per_fold\": [";
    for (size_t f = 0; f < folds; ++f) {
        const int64_t lines = right[f] + wrong[f];
        members += (f ? ",\n      " : "\n      ");
        members += "{\"fold\": " + std::to_string(f + 1) + ", \"lines\": " + std::to_string(lines) +
                   ", \"right\": " + std::to_string(right[f]) + ", \"accuracy\": " +
                   (lines ? JsonNumber(static_cast<double>(right[f]) / static_cast<double>(lines)) : "null") +
                   "}";
    }
    members += "\n    ]}";
    const std::string json =
        WithMembers(ReportJson({request.network, request.samples}, evaluated, TestFiguresOf(view)), members);
    return WriteJson(console, request.json, json) ? 0 : 1;
}

int SelectTests(const SelectionRequest& request)
{
    Console console("select", request.quiet);
    Engine engine(console);
    const GivenInput samples(request.samples);
    if (!Ready(engine, request.network, samples)) return 1;
    const NetworkView view = engine.View();
    const int32_t tests = static_cast<int32_t>(view.tests.size());
    if (request.keep > tests) {
        console.Error("cannot keep " + std::to_string(request.keep) + " tests: " + request.network + " has " +
                      std::to_string(tests));
        return 1;
    }

    std::vector<veltra_selection_step> steps(static_cast<size_t>(tests) + 1);
    std::vector<veltra_test_score> scores(static_cast<size_t>(std::max(tests, 1)));
    // The tests kept, by index in results order: what a description restricted to them keeps.
    std::vector<int32_t> kept(scores.size());
    int32_t stepCount = static_cast<int32_t>(steps.size()), testCount = static_cast<int32_t>(scores.size());
    int32_t keptCount = 0;
    const int32_t flags = Flags(request.folds) | (request.forward ? VELTRA_SELECT_FORWARD : 0);
    if (veltra_engine_select_tests(engine.get(), request.network.c_str(), samples.Path().c_str(),
                                   request.folds.folds, request.folds.seed, flags, request.keep, steps.data(),
                                   &stepCount, scores.data(), kept.data(), &testCount,
                                   &keptCount) != VELTRA_OK)
        return engine.Failed({{samples.Path(), samples.Shown()}}), 1;
    console.EndProgress();
    steps.resize(static_cast<size_t>(stepCount));
    kept.resize(static_cast<size_t>(keptCount));
    // The step kept: each step's set has a size of its own.
    size_t chosen = 0;
    for (size_t s = 0; s < steps.size(); ++s)
        if (steps[s].tests == keptCount) chosen = s;

    const auto tag = [&](int32_t test) {
        return test < 0 ? std::string("-") : view.tests[static_cast<size_t>(test)].tag;
    };
    int tagWidth = 6;
    for (const TestView& test : view.tests) tagWidth = std::max(tagWidth, static_cast<int>(test.tag.size()));
    const int64_t lines = steps[0].right + steps[0].wrong;
    std::printf(
        "%s by %d-fold cross-validation (seed %" PRIu64 "%s) on %" PRId64 " test lines: %d tests %s %d%s\n\n",
        request.forward ? "Forward selection" : "Backward elimination", static_cast<int>(request.folds.folds),
        request.folds.seed, request.folds.stratified ? ", stratified" : "", lines, steps[0].tests,
        request.forward ? "up to" : "down to", steps.back().tests, request.keep ? "" : ", the best set kept");
    std::printf("Step  %-*s  Tests  Accuracy  Log loss\n", tagWidth, request.forward ? "Added" : "Dropped");
    for (size_t s = 0; s < steps.size(); ++s) {
        const veltra_selection_step& step = steps[s];
        std::printf("%4zu  %-*s  %5d  %8s  %8.4f%s\n", s, tagWidth, tag(step.test).c_str(),
                    static_cast<int>(step.tests), Percent(step.right, step.right + step.wrong).c_str(),
                    step.log_loss, s == chosen ? "  kept" : "");
    }
    std::printf("\nKept: %d %s (step %zu):", static_cast<int>(keptCount), keptCount == 1 ? "test" : "tests",
                chosen);
    for (int32_t test : kept) std::printf(" %s", tag(test).c_str());
    std::printf("\n\nEach test: its mutual information with the state, and the accuracy without it alone\n");
    std::printf("   #  %-*s  Information   Without     Drop\n", tagWidth, "Test");
    for (int32_t t = 0; t < tests; ++t) {
        const veltra_test_score& score = scores[static_cast<size_t>(t)];
        std::printf("%4d  %-*s  %6.4f bits  %8s  %+7.2f\n", static_cast<int>(t + 1), tagWidth, tag(t).c_str(),
                    score.mutual_information,
                    Percent(score.right_without, score.right_without + score.wrong_without).c_str(),
                    score.accuracy_drop * 100.0);
    }
    if (request.json.empty()) return 0;

    const auto share = [](int64_t right, int64_t all) {
        return all ? JsonNumber(static_cast<double>(right) / static_cast<double>(all)) : std::string("null");
    };
    std::string json = "{\n  \"network\": " + JsonString(request.network) +
                       ",\n  \"input\": " + JsonString(request.samples) + ",\n  \"direction\": \"" +
                       (request.forward ? "forward" : "backward") +
                       "\",\n  \"folds\": " + std::to_string(request.folds.folds) +
                       ",\n  \"seed\": " + std::to_string(request.folds.seed) +
                       ",\n  \"stratified\": " + (request.folds.stratified ? "true" : "false") +
                       ",\n  \"keep\": " + (request.keep ? std::to_string(request.keep) : "null") +
                       ",\n  \"lines\": " + std::to_string(lines) + ",\n  \"steps\": [";
    for (size_t s = 0; s < steps.size(); ++s) {
        const veltra_selection_step& step = steps[s];
        json += (s ? ",\n    " : "\n    ");
        json += "{\"step\": " + std::to_string(s) +
                ", \"test\": " + (step.test < 0 ? "null" : std::to_string(step.test)) +
                ", \"tag\": " + (step.test < 0 ? "null" : JsonString(tag(step.test))) +
                ", \"tests\": " + std::to_string(step.tests) + ", \"right\": " + std::to_string(step.right) +
                ", \"wrong\": " + std::to_string(step.wrong) +
                ", \"accuracy\": " + share(step.right, step.right + step.wrong) +
                ", \"log_loss\": " + JsonNumber(step.log_loss) + "}";
    }
    json += "\n  ],\n  \"chosen_step\": " + std::to_string(chosen) + ",\n  \"kept\": [";
    for (size_t k = 0; k < kept.size(); ++k) json += (k ? ", " : "") + std::to_string(kept[k]);
    json += "],\n  \"kept_tags\": [";
    for (size_t k = 0; k < kept.size(); ++k) json += (k ? ", " : "") + JsonString(tag(kept[k]));
    json += "],\n  \"tests\": [";
    for (int32_t t = 0; t < tests; ++t) {
        const veltra_test_score& score = scores[static_cast<size_t>(t)];
        json += (t ? ",\n    " : "\n    ");
        json += "{\"test\": " + std::to_string(t) + ", \"tag\": " + JsonString(tag(t)) +
                ", \"mutual_information\": " + JsonNumber(score.mutual_information) +
                ", \"accuracy_drop\": " + JsonNumber(score.accuracy_drop) +
                ", \"right_without\": " + std::to_string(score.right_without) + ", \"accuracy_without\": " +
                share(score.right_without, score.right_without + score.wrong_without) +
                ", \"log_loss_without\": " + JsonNumber(score.log_loss_without) + "}";
    }
    json += tests ? "\n  ]\n}\n" : "]\n}\n";
    return WriteJson(console, request.json, json) ? 0 : 1;
}

}  // namespace veltra::cli
