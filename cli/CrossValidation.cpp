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
#include "cli/ReportPage.h"

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

void OnVerdict(void* context, int32_t fold, int64_t line, const char* expected, const char* results,
               int32_t count, const char* states, const double* probabilities)
{
    Verdicts& verdicts = *static_cast<Verdicts*>(context);
    if (fold != verdicts.fold) verdicts.evaluation->StartModel();
    verdicts.fold = fold;
    verdicts.evaluation->Judge(expected, results, count, states, probabilities, line);
}

std::string Tag(const SelectionFigures& run, int32_t test)
{
    return test < 0 ? std::string("-") : run.tags[static_cast<size_t>(test)];
}

// The steps, the tests kept and each test's figures, as text.
void PrintSelection(const SelectionFigures& run, const NetworkView& view)
{
    int tagWidth = 6;
    for (const TestView& test : view.tests) tagWidth = std::max(tagWidth, static_cast<int>(test.tag.size()));
    const veltra_selection_step& first = run.steps.front();
    std::printf(
        "%s by %d-fold cross-validation (seed %" PRIu64 "%s) on %" PRId64 " test lines: %d tests %s %d%s\n\n",
        run.forward ? "Forward selection" : "Backward elimination", static_cast<int>(run.folds), run.seed,
        run.stratified ? ", stratified" : "", first.right + first.wrong, first.tests,
        run.forward ? "up to" : "down to", run.steps.back().tests, run.keep ? "" : ", the best set kept");
    std::printf("Step  %-*s  Tests  Accuracy  Log loss\n", tagWidth, run.forward ? "Added" : "Dropped");
    for (size_t s = 0; s < run.steps.size(); ++s) {
        const veltra_selection_step& step = run.steps[s];
        std::printf("%4zu  %-*s  %5d  %8s  %8.4f%s\n", s, tagWidth, Tag(run, step.test).c_str(),
                    static_cast<int>(step.tests), Percent(step.right, step.right + step.wrong).c_str(),
                    step.log_loss, s == run.chosen ? "  kept" : "");
    }
    std::printf("\nKept: %zu %s (step %zu):", run.kept.size(), run.kept.size() == 1 ? "test" : "tests",
                run.chosen);
    for (int32_t test : run.kept) std::printf(" %s", Tag(run, test).c_str());
    std::printf("\n\nEach test: its mutual information with the state, and the accuracy without it alone\n");
    std::printf("   #  %-*s  Information   Without     Drop\n", tagWidth, "Test");
    for (size_t t = 0; t < run.scores.size(); ++t) {
        const veltra_test_score& score = run.scores[t];
        std::printf("%4zu  %-*s  %6.4f bits  %8s  %+7.2f\n", t + 1, tagWidth, run.tags[t].c_str(),
                    score.mutual_information,
                    Percent(score.right_without, score.right_without + score.wrong_without).c_str(),
                    score.accuracy_drop * 100.0);
    }
}

std::string SelectionJson(const ReportSource& source, const SelectionFigures& run)
{
    const auto share = [](int64_t right, int64_t all) {
        return all ? JsonNumber(static_cast<double>(right) / static_cast<double>(all)) : std::string("null");
    };
    const veltra_selection_step& first = run.steps.front();
    std::string json =
        "{\n  \"network\": " + JsonString(source.network) + ",\n  \"input\": " + JsonString(source.input) +
        ",\n  \"direction\": \"" + (run.forward ? "forward" : "backward") +
        "\",\n  \"folds\": " + std::to_string(run.folds) + ",\n  \"seed\": " + std::to_string(run.seed) +
        ",\n  \"stratified\": " + (run.stratified ? "true" : "false") +
        ",\n  \"keep\": " + (run.keep ? std::to_string(run.keep) : "null") +
        ",\n  \"lines\": " + std::to_string(first.right + first.wrong) + ",\n  \"steps\": [";
    for (size_t s = 0; s < run.steps.size(); ++s) {
        const veltra_selection_step& step = run.steps[s];
        json += (s ? ",\n    " : "\n    ");
        json += "{\"step\": " + std::to_string(s) +
                ", \"test\": " + (step.test < 0 ? "null" : std::to_string(step.test)) +
                ", \"tag\": " + (step.test < 0 ? "null" : JsonString(Tag(run, step.test))) +
                ", \"tests\": " + std::to_string(step.tests) + ", \"right\": " + std::to_string(step.right) +
                ", \"wrong\": " + std::to_string(step.wrong) +
                ", \"accuracy\": " + share(step.right, step.right + step.wrong) +
                ", \"log_loss\": " + JsonNumber(step.log_loss) + "}";
    }
    json += "\n  ],\n  \"chosen_step\": " + std::to_string(run.chosen) + ",\n  \"kept\": [";
    for (size_t k = 0; k < run.kept.size(); ++k) json += (k ? ", " : "") + std::to_string(run.kept[k]);
    json += "],\n  \"kept_tags\": [";
    for (size_t k = 0; k < run.kept.size(); ++k) json += (k ? ", " : "") + JsonString(Tag(run, run.kept[k]));
    json += "],\n  \"tests\": [";
    for (size_t t = 0; t < run.scores.size(); ++t) {
        const veltra_test_score& score = run.scores[t];
        json += (t ? ",\n    " : "\n    ");
        json += "{\"test\": " + std::to_string(t) + ", \"tag\": " + JsonString(run.tags[t]) +
                ", \"mutual_information\": " + JsonNumber(score.mutual_information) +
                ", \"accuracy_drop\": " + JsonNumber(score.accuracy_drop) +
                ", \"right_without\": " + std::to_string(score.right_without) + ", \"accuracy_without\": " +
                share(score.right_without, score.right_without + score.wrong_without) +
                ", \"log_loss_without\": " + JsonNumber(score.log_loss_without) + "}";
    }
    return json + (run.scores.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

}  // namespace

int CrossValidate(const CrossValidationRequest& request)
{
    Console console("cv", request.quiet);
    Engine engine(console);
    const GivenInput samples(request.samples);
    if (!Ready(engine, request.network, samples)) return 1;
    const NetworkView view = engine.View();
    const bool figures = request.report || !request.json.empty() || !request.html.empty();
    if (figures)
        for (const std::string& state : view.states)
            if (state.size() != 1) {
                console.Error("the report tells states by one character; " + request.network +
                              " has state \"" + state + "\"");
                return 1;
            }
    const std::string unknown = request.names.Unknown(view.states, request.network);
    if (!unknown.empty()) {
        console.Error("--names: " + unknown);
        return kUsageError;
    }

    const size_t folds = static_cast<size_t>(request.folds.folds);
    FoldFigures run;
    run.folds = request.folds.folds;
    run.seed = request.folds.seed;
    run.stratified = request.folds.stratified;
    std::vector<int64_t> wrong(folds);
    run.right.resize(folds);
    Evaluation evaluation(view.states);
    Verdicts verdicts{&evaluation, -1};
    if (veltra_engine_cross_validate(engine.get(), request.network.c_str(), samples.Path().c_str(),
                                     request.folds.folds, request.folds.seed, Flags(request.folds),
                                     figures ? &OnVerdict : nullptr, &verdicts, run.right.data(),
                                     wrong.data()) != VELTRA_OK)
        return engine.Failed({{samples.Path(), samples.Shown()}}), 1;
    console.EndProgress();

    // The folds' accuracies, their mean and (sample) standard deviation over the folds with lines.
    int64_t allRight = 0, allLines = 0;
    std::vector<double> accuracies;
    std::printf("Fold      Lines      Right  Accuracy\n");
    for (size_t f = 0; f < folds; ++f) {
        const int64_t lines = run.right[f] + wrong[f];
        run.lines.push_back(lines);
        allRight += run.right[f];
        allLines += lines;
        if (lines > 0) accuracies.push_back(static_cast<double>(run.right[f]) / static_cast<double>(lines));
        std::printf("%4zu  %9" PRId64 "  %9" PRId64 "  %8s\n", f + 1, lines, run.right[f],
                    Percent(run.right[f], lines).c_str());
    }
    for (double a : accuracies) run.mean += a / static_cast<double>(accuracies.size());
    for (double a : accuracies) run.deviation += (a - run.mean) * (a - run.mean);
    if (accuracies.size() > 1)
        run.deviation = std::sqrt(run.deviation / static_cast<double>(accuracies.size() - 1));
    run.measured = !accuracies.empty();
    if (!run.measured)
        std::printf("\nNo test lines, no accuracy.\n");
    else
        std::printf("\nMean accuracy: %.2f %%, standard deviation %.2f points over %zu folds\n",
                    run.mean * 100.0, run.deviation * 100.0, accuracies.size());
    std::printf("All folds: %" PRId64 " of %" PRId64 " lines right, %s\n", allRight, allLines,
                Percent(allRight, allLines).c_str());
    if (!figures) return 0;

    EvaluationFigures evaluated = evaluation.Figures();
    for (StateFigures& state : evaluated.states) state.label = request.names.Label(state.name);
    // The verdicts came fold after fold; the misclassified lines are listed in file order.
    std::stable_sort(evaluated.misclassified.begin(), evaluated.misclassified.end(),
                     [](const Misclassified& a, const Misclassified& b) { return a.line < b.line; });
    if (request.report) {
        std::printf("\n");
        PrintReport(stdout, evaluated);
    }
    // The tests' contributions belong to one trained network, which a cross-validation has not.
    const ReportSource source{request.network, request.samples};
    if (!request.json.empty()) {
        std::string members =
            "  \"cross_validation\": {\"folds\": " + std::to_string(run.folds) +
            ", \"seed\": " + std::to_string(run.seed) +
            ", \"stratified\": " + (run.stratified ? "true" : "false") +
            ", \"mean_accuracy\": " + (run.measured ? JsonNumber(run.mean) : "null") +
            ", \"accuracy_deviation\": " + (run.measured ? JsonNumber(run.deviation) : "null") +
            ",\n    \"per_fold\": [";
        for (size_t f = 0; f < folds; ++f) {
            members += (f ? ",\n      " : "\n      ");
            members +=
                "{\"fold\": " + std::to_string(f + 1) + ", \"lines\": " + std::to_string(run.lines[f]) +
                ", \"right\": " + std::to_string(run.right[f]) + ", \"accuracy\": " +
                (run.lines[f]
                     ? JsonNumber(static_cast<double>(run.right[f]) / static_cast<double>(run.lines[f]))
                     : "null") +
                "}";
        }
        members += "\n    ]}";
        if (!WriteReportFile(console, request.json, WithMembers(ReportJson(source, evaluated, {}), members)))
            return 1;
    }
    if (!request.html.empty() &&
        !WriteReportFile(console, request.html, ReportPage(source, evaluated, {}, &run)))
        return 1;
    return 0;
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

    SelectionFigures run;
    run.forward = request.forward;
    run.folds = request.folds.folds;
    run.seed = request.folds.seed;
    run.stratified = request.folds.stratified;
    run.keep = request.keep;
    for (const TestView& test : view.tests) run.tags.push_back(test.tag);
    run.steps.resize(static_cast<size_t>(tests) + 1);
    run.scores.resize(static_cast<size_t>(std::max(tests, 1)));
    // The tests kept, by index in results order: what a description restricted to them keeps.
    run.kept.resize(run.scores.size());
    int32_t stepCount = static_cast<int32_t>(run.steps.size()),
            testCount = static_cast<int32_t>(run.scores.size());
    int32_t keptCount = 0;
    const int32_t flags = Flags(request.folds) | (request.forward ? VELTRA_SELECT_FORWARD : 0);
    if (veltra_engine_select_tests(engine.get(), request.network.c_str(), samples.Path().c_str(),
                                   request.folds.folds, request.folds.seed, flags, request.keep,
                                   run.steps.data(), &stepCount, run.scores.data(), run.kept.data(),
                                   &testCount, &keptCount) != VELTRA_OK)
        return engine.Failed({{samples.Path(), samples.Shown()}}), 1;
    console.EndProgress();
    run.steps.resize(static_cast<size_t>(stepCount));
    run.scores.resize(static_cast<size_t>(tests));
    run.kept.resize(static_cast<size_t>(keptCount));
    // The step kept: each step's set has a size of its own.
    for (size_t s = 0; s < run.steps.size(); ++s)
        if (run.steps[s].tests == keptCount) run.chosen = s;

    PrintSelection(run, view);
    const ReportSource source{request.network, request.samples};
    if (!request.json.empty() && !WriteReportFile(console, request.json, SelectionJson(source, run)))
        return 1;
    if (!request.html.empty() && !WriteReportFile(console, request.html, SelectionPage(source, run)))
        return 1;
    if (request.write.empty()) return 0;
    // The description of the kept tests, written beside its file and renamed by the library.
    const GivenOutput chosen(request.write);
    if (veltra_engine_write_tests(engine.get(), request.network.c_str(), run.kept.data(), keptCount,
                                  chosen.Path().c_str()) != VELTRA_OK)
        return engine.Failed({{chosen.Path(), chosen.Shown()}}), 1;
    if (!chosen.Deliver()) return console.Error("cannot write standard output"), 1;
    return 0;
}

}  // namespace veltra::cli
