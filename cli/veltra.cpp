// veltra: the command-line host of the Veltra library. It uses nothing but the host interface's
// public header and shared library, as any other host would: the library reads every format and
// says why a call failed, with the file and line at fault; the command shows it.
//
// Results go to standard output; progress, warnings and diagnostics to standard error (see
// Console). Exit status: 0 on success, 1 on a failure, 2 on a wrong command line.
#include <VeltraHost.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/Console.h"
#include "cli/CrossValidation.h"
#include "cli/Engine.h"
#include "cli/Explain.h"
#include "cli/FileOutput.h"
#include "cli/Report.h"
#include "cli/StateNames.h"

namespace {

using namespace veltra::cli;

// The options of a command line: flags, the files of --json, --html and --write, the states'
// names and numbers.
struct Options {
    bool tsv = false;
    bool report = false;
    bool quiet = false;
    bool forward = false;
    std::string json;
    std::string html;
    std::string write;
    StateNames names;
    FoldChoice folds;
    int32_t keep = 0;
};

const char* const kUsage =
    "Usage: veltra COMMAND [--quiet] ARGUMENTS...\n"
    "\n"
    "Commands:\n"
    "  train NETWORK SAMPLES OUTPUT          train a network on labelled samples\n"
    "  classify [--tsv] NETWORK [RESULTS...] classify the test results of fields\n"
    "  evaluate [--report] [--json FILE] [--names LIST] NETWORK INPUT OUTPUT\n"
    "                                        classify a labelled file and report the accuracy\n"
    "  explain NETWORK [RESULTS...]          show how much each observed test weighs in a field\n"
    "  report [--html FILE] [--json FILE] [--names LIST] TRAINED INPUT\n"
    "                                        report on a labelled file, as a page with --html\n"
    "  check NETWORK                         load a network description, list its states and tests\n"
    "  cut NETWORK CHOSEN INPUT OUTPUT       cut a labelled file to the tests of CHOSEN\n"
    "  cv [OPTIONS] NETWORK SAMPLES          cross-validate a network on labelled samples\n"
    "  select [OPTIONS] NETWORK SAMPLES      choose the tests to keep by cross-validation\n"
    "\n"
    "Results go to standard output; progress (on a terminal), warnings and errors to standard\n"
    "error; --quiet leaves errors only. \"-\" reads standard input or writes standard output\n"
    "wherever a file is read or written. 'veltra COMMAND --help' describes one command;\n"
    "'veltra --version' gives the version. Exit status: 0 on success, 1 on failure, 2 on a\n"
    "wrong command line.\n";

const char* const kTrainHelp =
    "Usage: veltra train [--quiet] NETWORK SAMPLES OUTPUT\n"
    "\n"
    "Trains the network described in NETWORK on the labelled test lines of SAMPLES\n"
    "(\";TESTS<tab>states<tab>results\", one field per line) and writes the trained network\n"
    "description to OUTPUT, ready for classify and evaluate. A warning for every test value\n"
    "never seen with a state, and a summary, go to standard error.\n";

const char* const kClassifyHelp =
    "Usage: veltra classify [--tsv] [--quiet] NETWORK [RESULTS...]\n"
    "\n"
    "Classifies the test results of one field per RESULTS argument, or per line of standard\n"
    "input when none is given (or for \"-\"): one character per test of the trained NETWORK, in\n"
    "the order of its test lines, \"-\" for a test without a result, \".\" ignored. Prints every\n"
    "state with its probability, most probable first. With --tsv, prints one line per input\n"
    "instead: the results, then each state and its probability, all separated by tabs.\n"
    "Put -- before results that could be taken for an option.\n";

const char* const kEvaluateHelp =
    "Usage: veltra evaluate [--report] [--json FILE] [--names LIST] [--quiet] NETWORK INPUT OUTPUT\n"
    "\n"
    "Classifies every test line of INPUT (\";TESTS<tab>states<tab>results\") with the trained\n"
    "NETWORK and writes a copy of INPUT to OUTPUT with a result line after each test line\n"
    "(\";OK\" when the most probable state is one of the expected states, \";ERROR\" when not)\n"
    "and the accuracy at the end. Prints the accuracy.\n"
    "\n"
    "--report     then prints a report: the confusion matrix (lines by expected state and most\n"
    "             probable state); precision, recall, F1 and support per state, with their macro\n"
    "             and weighted averages; the accuracy; the log loss and Brier score of the\n"
    "             full-precision probabilities; and a calibration table (lines in ten bins of\n"
    "             the probability of the most probable state, with the share answered right);\n"
    "             then the misclassified lines: line number, expected states, the most probable\n"
    "             state and the runner-up with their probabilities, and the results (the first\n"
    "             20; the JSON lists them all).\n"
    "--json FILE  writes the same figures to FILE as JSON, with what each test contributed\n"
    "             (see 'veltra report --help').\n"
    "--names LIST names the states in the report, LIST as d=date,a=amount: one character,\n"
    "             \"=\", its name; states left out keep their character.\n"
    "\n"
    "A line that lists several expected states is right when its most probable state is any\n"
    "of them. In the report it counts once, as an example of one state: the most probable\n"
    "state when that is one of its expected states, else its first expected state. Log loss\n"
    "and Brier score take that state as the true one; log loss takes a probability of 0 as\n"
    "1e-15. Precision or recall without a line to count is shown as \"-\" and counts as 0 in\n"
    "the averages, which are over the states expected or most probable at least once.\n";

const char* const kExplainHelp =
    "Usage: veltra explain [--quiet] NETWORK [RESULTS...]\n"
    "\n"
    "Classifies the test results of one field per RESULTS argument, or per line of standard\n"
    "input when none is given (or for \"-\"), and prints every state with its probability, most\n"
    "probable first. Then it leaves out each observed test in turn (its result replaced by\n"
    "\"-\") and prints, largest effect first: the test's place in the results, its tag, the\n"
    "result seen, the probability of the most probable state without the test and its\n"
    "change (how far it moves, in percentage points, as the report's page gives it per test),\n"
    "the most probable state without the test (marked when it changes) and the test's\n"
    "description. Put -- before results that could be taken for an option.\n";

const char* const kReportHelp =
    "Usage: veltra report [--html FILE] [--json FILE] [--names LIST] [--quiet] TRAINED INPUT\n"
    "\n"
    "Judges every test line of INPUT with the trained network TRAINED, as evaluate does but\n"
    "without writing a judged copy, and prints the report of 'veltra evaluate --report'\n"
    "(see 'veltra evaluate --help' for its figures).\n"
    "\n"
    "--html FILE  writes a page: the confusion matrix as a heat map, the per-state table, the\n"
    "             calibration diagram, the tests, and the misclassified lines (the first\n"
    "             200). Per test it shows the CP and DP figures that training wrote into\n"
    "             TRAINED, and what the test contributed to the lines where it was observed:\n"
    "             the mean size of its change, how far the most probable state's probability\n"
    "             moves when its result is left out (the figure 'veltra explain' shows for one\n"
    "             field), and the share of lines whose most probable state is another without\n"
    "             it. The page holds all it shows (no script, no other file) and opens from\n"
    "             disk in any browser, a phone's included.\n"
    "--json FILE  writes the figures to FILE as JSON.\n"
    "--names LIST names the states, as in evaluate.\n";

const char* const kCheckHelp =
    "Usage: veltra check [--quiet] NETWORK\n"
    "\n"
    "Loads the network description NETWORK and lists its states and its tests, in the order\n"
    "in which their results are written, or reports why it does not load. For a network with\n"
    "probabilities, it says after how many observed tests a product of its smallest\n"
    "probabilities underflows to 0 (every state would then get probability 0).\n";

const char* const kCutHelp =
    "Usage: veltra cut [--quiet] NETWORK CHOSEN INPUT OUTPUT\n"
    "\n"
    "Cuts the labelled file INPUT (samples, or fields to evaluate) down to the tests of CHOSEN\n"
    "and writes it to OUTPUT. CHOSEN is a description of some of the tests of NETWORK, by tag\n"
    "and in the same order: NETWORK cut down to them (whose other lines it keeps or not). The\n"
    "results of every test line (\";TESTS<tab>states<tab>results\", full stops removed) keep\n"
    "the characters of CHOSEN's tests; every other line is copied as it is. A summary goes to\n"
    "standard error.\n"
    "\n"
    "CHOSEN trained on cut samples classifies a cut field exactly as NETWORK, trained on the\n"
    "full samples, classifies the field with the other tests' results \"-\".\n";
const char* const kCvHelp =
    "Usage: veltra cv [--folds K] [--seed N] [--stratified] [--report] [--json FILE] [--html FILE]\n"
    "                 [--names LIST] [--quiet] NETWORK SAMPLES\n"
    "\n"
    "Cross-validates the network described in NETWORK on the labelled test lines of SAMPLES:\n"
    "the lines are split into K folds (10 unless --folds), and each fold is judged by the\n"
    "network trained on the other folds, exactly as 'veltra train' on a file of their lines\n"
    "and 'veltra evaluate' of the fold would judge it. The samples are read once. Prints each\n"
    "fold's lines and accuracy, the mean accuracy and its standard deviation over the folds,\n"
    "and the lines right over all folds.\n"
    "\n"
    "--folds K     the number of folds, at least 2.\n"
    "--seed N      draws the folds from N (0 unless given): the lines go to the folds K at a\n"
    "              time, in file order, each block shuffled. The same file and seed give the\n"
    "              same folds on every platform.\n"
    "--stratified  draws the folds within each expected-states text apart, so that every fold\n"
    "              holds its share of each.\n"
    "--report      then prints the report of 'veltra evaluate --report' over every out-of-fold\n"
    "              verdict (see 'veltra evaluate --help').\n"
    "--json FILE   writes the report's figures and each fold's to FILE as JSON.\n"
    "--html FILE   writes them as a page: the report's (see 'veltra report --help') with a chart\n"
    "              of the folds' accuracies in place of the tests' contributions.\n"
    "--names LIST  names the states in the report, as in 'veltra evaluate'.\n"
    "The misclassified lines of the report are the sample file's, in file order.\n";

const char* const kSelectHelp =
    "Usage: veltra select [--folds K] [--seed N] [--stratified] [--keep N] [--forward]\n"
    "                     [--json FILE] [--html FILE] [--write FILE] [--quiet] NETWORK SAMPLES\n"
    "\n"
    "Chooses which tests of the network described in NETWORK to keep, by cross-validated\n"
    "accuracy on the labelled test lines of SAMPLES (folds as in 'veltra cv'). Backward\n"
    "elimination drops, step after step, the test whose leaving out gives the best accuracy;\n"
    "ties go to the lower log loss, then to the earlier test. Prints every step (the test\n"
    "dropped, the tests left, the accuracy and log loss of cross-validating the network\n"
    "restricted to them), the tests kept, and for each test its mutual information with the\n"
    "state (in bits, from the counts of all samples) and the accuracy without it alone, with\n"
    "how far that drops.\n"
    "\n"
    "--keep N      stops at N tests and keeps them. Without it, elimination goes down to one\n"
    "              test and the best set on the way is kept (the highest accuracy, then the\n"
    "              lowest log loss, then the fewest tests).\n"
    "--forward     forward selection instead: from no test, adds the test whose adding gives\n"
    "              the best accuracy, up to N tests (every test without --keep).\n"
    "--folds K, --seed N, --stratified\n"
    "              the folds, as for 'veltra cv'.\n"
    "--json FILE   writes the steps, the tests kept (by place in the results, from 0) and each\n"
    "              test's figures to FILE as JSON.\n"
    "--html FILE   writes them as a page, the steps as a chart.\n"
    "--write FILE  writes the description of the network with the tests kept only, in their\n"
    "              order, its other lines as NETWORK has them; 'veltra cut NETWORK FILE ...'\n"
    "              then cuts sample and evaluation files to its tests.\n";

// Whether the two names are one and the same file, however spelt or linked.
bool SameFile(const std::string& a, const std::string& b)
{
    std::error_code error;
    return a != "-" && b != "-" && std::filesystem::equivalent(a, b, error);
}

std::string Counted(size_t n, const char* noun)
{
    return std::to_string(n) + " " + noun + (n == 1 ? "" : "s");
}

int TrainCommand(const std::vector<std::string>& args, const Options& options)
{
    Console console("train", options.quiet);
    Engine engine(console);
    const GivenInput samples(args[1]);
    const GivenOutput output(args[2]);
    if (!samples.Ready()) return console.Error("cannot read standard input"), 1;
    if (veltra_engine_train(engine.get(), args[0].c_str(), samples.Path().c_str(), output.Path().c_str(),
                            nullptr) != VELTRA_OK)
        return engine.Failed({{samples.Path(), samples.Shown()}, {output.Path(), output.Shown()}}), 1;
    console.EndProgress();
    if (!output.Deliver()) return console.Error("cannot write standard output"), 1;
    return 0;
}

void PrintClassification(const std::string& results, const char* categories, const double* probabilities,
                         int32_t count, bool tsv)
{
    if (tsv) {
        std::printf("%s", results.c_str());
        for (int32_t i = 0; i < count; ++i) std::printf("\t%c\t%.6f", categories[i], probabilities[i]);
        std::printf("\n");
        return;
    }
    std::printf("%s\n", results.c_str());
    for (int32_t i = 0; i < count; ++i)
        std::printf("  %c %7.2f %%\n", categories[i], probabilities[i] * 100.0);
}

int ClassifyCommand(const std::vector<std::string>& args, const Options& options)
{
    const bool tsv = options.tsv;
    Console console("classify", options.quiet);
    Engine engine(console);
    if (!engine.LoadTrained(args[0])) return 1;
    const size_t states = std::max<size_t>(engine.View().states.size(), 1);

    // One entry per state, into arrays of the capacity given in `count`.
    std::vector<char> categories(states);
    std::vector<double> probabilities(states);
    int failures = 0;
    bool first = true;
    auto classify = [&](const std::string& results, const std::string& where) {
        int32_t count = static_cast<int32_t>(states);
        if (veltra_engine_classify(engine.get(), results.c_str(), categories.data(), probabilities.data(),
                                   &count) != VELTRA_OK) {
            std::fflush(stdout);
            engine.Failed({}, where);
            ++failures;
            return;
        }
        if (!tsv && !first) std::printf("\n");
        first = false;
        PrintClassification(results, categories.data(), probabilities.data(), count, tsv);
        if (!options.quiet && count > 0 &&
            std::all_of(probabilities.begin(), probabilities.begin() + count,
                        [](double p) { return p == 0; })) {
            std::fflush(stdout);
            console.Error("warning: " + where + "\"" + results +
                          "\": every probability is 0, the products underflowed (see veltra check)");
        }
    };

    if (!ForEachResults(args, console, &failures, classify)) return 1;
    return failures == 0 ? 0 : 1;
}

// A file the command writes must not be one it reads or another it writes.
bool Overwrites(Console& console, const std::string& written, const std::vector<std::string>& others)
{
    for (const std::string& other : others)
        if (!written.empty() && written != "-" && (written == other || SameFile(written, other))) {
            console.Error("writing " + written + " would overwrite a file the command reads or writes");
            return true;
        }
    return false;
}

int EvaluateCommand(const std::vector<std::string>& args, const Options& options)
{
    const std::string &network = args[0], &input = args[1], &output = args[2];
    Console console("evaluate", options.quiet);
    // The accuracy is the result of an evaluation.
    console.SummariesAreResults();
    // The network is no input of the evaluation, but an evaluation must not replace it either.
    if (SameFile(output, network))
        return console.Error("the output " + output + " would overwrite the network"), 1;
    if (Overwrites(console, options.json, {network, input, output})) return 1;
    Engine engine(console);
    if (!engine.LoadTrained(network)) return 1;
    if (options.report || !options.json.empty())
        return MakeReport(engine,
                          {{network, input}, output, options.report, options.json, "", options.names});
    const GivenInput in(input);
    const GivenOutput out(output);
    if (!in.Ready()) return console.Error("cannot read standard input"), 1;
    if (veltra_engine_evaluate(engine.get(), in.Path().c_str(), out.Path().c_str(), nullptr, nullptr, nullptr,
                               nullptr) != VELTRA_OK)
        return engine.Failed({{in.Path(), in.Shown()}, {out.Path(), out.Shown()}}), 1;
    console.EndProgress();
    if (!out.Deliver()) return console.Error("cannot write standard output"), 1;
    console.ShowResults();
    return 0;
}

int ReportCommand(const std::vector<std::string>& args, const Options& options)
{
    const std::string &network = args[0], &input = args[1];
    Console console("report", options.quiet);
    // The report holds the accuracy.
    console.DropSummaries();
    if (Overwrites(console, options.json, {network, input, options.html}) ||
        Overwrites(console, options.html, {network, input}))
        return 1;
    Engine engine(console);
    if (!engine.LoadTrained(network)) return 1;
    return MakeReport(engine, {{network, input}, "", true, options.json, options.html, options.names});
}

int ExplainCommand(const std::vector<std::string>& args, const Options& options)
{
    return veltra::cli::Explain(args, options.quiet);
}

// Products are plain doubles: a field with enough observed tests of small probability gives 0 for
// every state.
void PrintUnderflow(const NetworkView& view)
{
    if (view.info.underflow_tests == 0) {
        std::printf("Underflow: none; no test probability is below 1\n");
        return;
    }
    std::printf(
        "Underflow: a product of the smallest probabilities (prior %g, test %g) is 0 after %d observed "
        "tests; %s\n",
        view.info.smallest_prior, view.info.smallest_conditional, static_cast<int>(view.info.underflow_tests),
        view.info.underflow_tests > view.info.tests
            ? "this network has fewer tests"
            : "fields with that many such results get probability 0 for every state");
}

int CheckCommand(const std::vector<std::string>& args, const Options& options)
{
    const std::string& network = args[0];
    Console console("check", options.quiet);
    Engine engine(console);
    if (!engine.Load(network)) return 1;

    const NetworkView view = engine.View();
    std::printf("%s: hypothesis %s, %s, %s\n", network.c_str(), view.name.c_str(),
                Counted(view.states.size(), "state").c_str(), Counted(view.tests.size(), "test").c_str());
    std::printf("States: %s\n", Join(view.states, " ").c_str());
    std::printf("Tests, one result character each, in this order:\n");
    size_t tagWidth = 0, valuesWidth = 0;
    for (const TestView& test : view.tests) {
        tagWidth = std::max(tagWidth, test.tag.size());
        valuesWidth = std::max(valuesWidth, Join(test.values, ",").size());
    }
    for (size_t i = 0; i < view.tests.size(); ++i) {
        const TestView& test = view.tests[i];
        std::printf("  %2zu  %-*s  %-*s  %s\n", i + 1, static_cast<int>(tagWidth), test.tag.c_str(),
                    static_cast<int>(valuesWidth), Join(test.values, ",").c_str(), test.description.c_str());
    }
    if (view.info.probability_lines == 0) {
        std::printf("Probabilities: none; train the network before classifying with it\n");
    } else {
        std::printf("Probabilities: %d lines\n", static_cast<int>(view.info.probability_lines));
        PrintUnderflow(view);
    }

    // Test lines and classification know one character per state and per value.
    if (options.quiet) return 0;
    std::fflush(stdout);
    for (const std::string& state : view.states)
        if (state.size() != 1) console.Error("warning: state \"" + state + "\" is not one character");
    for (const TestView& test : view.tests)
        for (const std::string& value : test.values)
            if (value.size() != 1)
                console.Error("warning: value \"" + value + "\" of test " + test.tag +
                              " is not one character");
    return 0;
}

int CutCommand(const std::vector<std::string>& args, const Options& options)
{
    const std::string &network = args[0], &chosen = args[1], &input = args[2], &output = args[3];
    Console console("cut", options.quiet);
    // The network is no input of the cut, but a cut must not replace it either.
    if (SameFile(output, network))
        return console.Error("the output " + output + " would overwrite the network"), 1;
    Engine engine(console);
    if (!engine.Load(network)) return 1;
    const GivenInput in(input);
    const GivenOutput out(output);
    if (!in.Ready()) return console.Error("cannot read standard input"), 1;
    if (veltra_engine_cut(engine.get(), chosen.c_str(), in.Path().c_str(), out.Path().c_str(), nullptr) !=
        VELTRA_OK)
        return engine.Failed({{in.Path(), in.Shown()}, {out.Path(), out.Shown()}}), 1;
    console.EndProgress();
    if (!out.Deliver()) return console.Error("cannot write standard output"), 1;
    return 0;
}

int CvCommand(const std::vector<std::string>& args, const Options& options)
{
    Console console("cv", options.quiet);
    if (Overwrites(console, options.json, {args[0], args[1], options.html}) ||
        Overwrites(console, options.html, {args[0], args[1]}))
        return 1;
    return CrossValidate({args[0], args[1], options.folds, options.report, options.json, options.html,
                          options.names, options.quiet});
}

int SelectCommand(const std::vector<std::string>& args, const Options& options)
{
    Console console("select", options.quiet);
    if (Overwrites(console, options.json, {args[0], args[1], options.html, options.write}) ||
        Overwrites(console, options.html, {args[0], args[1], options.write}) ||
        Overwrites(console, options.write, {args[0], args[1]}))
        return 1;
    return SelectTests({args[0], args[1], options.folds, options.keep, options.forward, options.json,
                        options.html, options.write, options.quiet});
}

struct Command {
    const char* name;
    const char* help;
    size_t minArgs;
    size_t maxArgs;
    // Its options besides --quiet, blank-separated; "=" after a name marks an option followed by
    // a value: a file name or the list of --names; "#" one followed by a number.
    const char* options;
    // Whether its arguments are test results, which may begin with "--": then only the exact
    // option names are options.
    bool takesResults;
    int (*run)(const std::vector<std::string>& args, const Options& options);
};

const Command kCommands[] = {
    {"train", kTrainHelp, 3, 3, "", false, TrainCommand},
    {"classify", kClassifyHelp, 1, SIZE_MAX, "--tsv", true, ClassifyCommand},
    {"evaluate", kEvaluateHelp, 3, 3, "--report --json= --names=", false, EvaluateCommand},
    {"explain", kExplainHelp, 1, SIZE_MAX, "", true, ExplainCommand},
    {"report", kReportHelp, 2, 2, "--html= --json= --names=", false, ReportCommand},
    {"check", kCheckHelp, 1, 1, "", false, CheckCommand},
    {"cut", kCutHelp, 4, 4, "", false, CutCommand},
    {"cv", kCvHelp, 2, 2, "--folds# --seed# --stratified --report --json= --html= --names=", false,
     CvCommand},
    {"select", kSelectHelp, 2, 2,
     "--folds# --seed# --stratified --keep# --forward --json= --html= --write=", false, SelectCommand},
};

// Whether `arg` is one of the command's options, and what follows it: nothing, a file name ('=')
// or a number ('#').
bool IsOption(const Command& command, const std::string& arg, char& takes)
{
    takes = ' ';
    if (arg == "--quiet" || arg == "-q") return true;
    const std::string options = command.options;
    for (size_t at = 0; at < options.size();) {
        size_t end = options.find(' ', at);
        if (end == std::string::npos) end = options.size();
        std::string option = options.substr(at, end - at);
        at = end + 1;
        takes = option.back() == '=' || option.back() == '#' ? option.back() : ' ';
        if (takes != ' ') option.pop_back();
        if (arg == option) return true;
    }
    takes = ' ';
    return false;
}

// A whole number in decimal digits alone, from `least` up to `most`.
bool ReadWhole(const std::string& text, uint64_t least, uint64_t most, uint64_t& value)
{
    if (text.empty() || text.size() > 20 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    errno = 0;
    value = std::strtoull(text.c_str(), nullptr, 10);
    return errno == 0 && value >= least && value <= most;
}

// Sets the number option `option` from `text`; false when it does not take it.
bool SetNumber(Options& options, const std::string& option, const std::string& text)
{
    uint64_t value = 0;
    if (option == "--seed") return ReadWhole(text, 0, UINT64_MAX, options.folds.seed);
    if (!ReadWhole(text, option == "--folds" ? 2 : 1, INT32_MAX, value)) return false;
    (option == "--folds" ? options.folds.folds : options.keep) = static_cast<int32_t>(value);
    return true;
}

int Usage(const Command& command, const std::string& problem)
{
    // The problem, then the usage line: the help text up to its first line end.
    std::fprintf(stderr, "veltra %s: %s\n%.*s\n", command.name, problem.c_str(),
                 static_cast<int>(std::strcspn(command.help, "\n")), command.help);
    return kUsageError;
}

int Run(const Command& command, int argc, char** argv)
{
    std::vector<std::string> args;
    Options options;
    bool optionsEnded = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        char takes = ' ';
        if (optionsEnded) {
            args.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "--help" || arg == "-h") {
            std::fputs(command.help, stdout);
            return 0;
        } else if (IsOption(command, arg, takes)) {
            if (takes == ' ') {
                (arg == "--tsv"          ? options.tsv
                 : arg == "--report"     ? options.report
                 : arg == "--stratified" ? options.folds.stratified
                 : arg == "--forward"    ? options.forward
                                         : options.quiet) = true;
                continue;
            }
            if (i + 1 == argc)
                return Usage(command, arg + (takes == '#'       ? " needs a number"
                                             : arg == "--names" ? " needs a list of names"
                                                                : " needs a file name"));
            if (takes == '#') {
                if (!SetNumber(options, arg, argv[++i]))
                    return Usage(command, arg + " takes a whole number" +
                                              (arg == "--folds"  ? " from 2"
                                               : arg == "--keep" ? " from 1"
                                                                 : "") +
                                              ", not " + argv[i]);
                continue;
            }
            if (arg == "--names") {
                std::string problem;
                if (!options.names.Parse(argv[++i], problem)) return Usage(command, "--names: " + problem);
                continue;
            }
            (arg == "--json" ? options.json : arg == "--html" ? options.html : options.write) = argv[++i];
        } else if (!command.takesResults && arg.size() > 1 && arg[0] == '-') {
            return Usage(command, "unknown option " + arg);
        } else {
            args.push_back(arg);
        }
    }
    if (args.size() < command.minArgs || args.size() > command.maxArgs)
        return Usage(command, "wrong number of arguments");
    return command.run(args, options);
}

// A command's status, unless what it wrote to standard output did not reach it: then 1. A closed
// pipe ends the program before that, quietly, as it does other command-line tools.
int Finish(int status)
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    std::fprintf(stderr, "veltra: cannot write standard output: %s\n", std::strerror(errno));
    return 1;
}

int Dispatch(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return kUsageError;
    }
    const std::string first = argv[1];
    if (first == "--help" || first == "-h" || first == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (first == "--version") {
        std::printf("veltra %s (host interface %d)\n", veltra_version(),
                    static_cast<int>(veltra_interface_version()));
        return 0;
    }
    for (const Command& command : kCommands)
        if (first == command.name) return Run(command, argc - 2, argv + 2);
    std::fprintf(stderr, "veltra: unknown command %s\n\n%s", argv[1], kUsage);
    return kUsageError;
}

}  // namespace

int main(int argc, char** argv)
{
    return Finish(Dispatch(argc, argv));
}
