// veltra: the command-line host of the Veltra library. It uses nothing but the public header and
// the shared library, as any other host would.
//
// The library explains every failure on standard error itself. The host never repeats that
// message; it adds one line naming the file or argument at fault when the message does not, and
// says nothing more when the library could not open a file (its message names the file).
#include <Veltra.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "cli/Engine.h"
#include "cli/Explain.h"
#include "cli/FileOutput.h"
#include "cli/NetworkOutline.h"
#include "cli/Report.h"

namespace {

using namespace veltra::cli;

// The options of a command line: flags, and the files of --json and --html.
struct Options {
    bool tsv = false;
    bool report = false;
    std::string json;
    std::string html;
};

const char* const kUsage =
    "Usage: veltra COMMAND ARGUMENTS...\n"
    "\n"
    "Commands:\n"
    "  train NETWORK SAMPLES OUTPUT          train a network on labelled samples\n"
    "  classify [--tsv] NETWORK [RESULTS...] classify the test results of fields\n"
    "  evaluate [--report] [--json FILE] NETWORK INPUT OUTPUT\n"
    "                                        classify a labelled file and report the accuracy\n"
    "  explain NETWORK [RESULTS...]          show how much each observed test weighs in a field\n"
    "  report [--html FILE] [--json FILE] TRAINED INPUT\n"
    "                                        report on a labelled file, as a page with --html\n"
    "  check NETWORK                         load a network description, list its states and tests\n"
    "\n"
    "'veltra COMMAND --help' describes one command. Exit status: 0 on success, 1 on failure.\n";

const char* const kTrainHelp =
    "Usage: veltra train NETWORK SAMPLES OUTPUT\n"
    "\n"
    "Trains the network described in NETWORK on the labelled test lines of SAMPLES\n"
    "(\";TESTS<tab>states<tab>results\", one field per line) and writes the trained network\n"
    "description to OUTPUT, ready for classify and evaluate. Progress, a warning for every\n"
    "test value never seen with a state, and a summary go to standard output.\n";

const char* const kClassifyHelp =
    "Usage: veltra classify [--tsv] NETWORK [RESULTS...]\n"
    "\n"
    "Classifies the test results of one field per RESULTS argument, or per line of standard\n"
    "input when none is given: one character per test of the trained NETWORK, in the order of\n"
    "its test lines, \"-\" for a test without a result, \".\" ignored. Prints every state with\n"
    "its probability, most probable first. With --tsv, prints one line per input instead:\n"
    "the results, then each state and its probability, all separated by tabs.\n"
    "Put -- before results that could be taken for an option.\n";

const char* const kEvaluateHelp =
    "Usage: veltra evaluate [--report] [--json FILE] NETWORK INPUT OUTPUT\n"
    "\n"
    "Classifies every test line of INPUT (\";TESTS<tab>states<tab>results\") with the trained\n"
    "NETWORK and writes a copy of INPUT to OUTPUT with a result line after each test line\n"
    "(\";OK\" when the most probable state is one of the expected states, \";ERROR\" when not)\n"
    "and the accuracy at the end. Progress and the accuracy go to standard output.\n"
    "\n"
    "--report     then prints a report: the confusion matrix (lines by expected state and most\n"
    "             probable state); precision, recall, F1 and support per state, with their macro\n"
    "             and weighted averages; the accuracy; the log loss and Brier score of the\n"
    "             full-precision probabilities; and a calibration table (lines in ten bins of\n"
    "             the probability of the most probable state, with the share answered right).\n"
    "--json FILE  writes the same figures to FILE as JSON.\n"
    "\n"
    "A line that lists several expected states is right when its most probable state is any\n"
    "of them. In the report it counts once, as an example of one state: the most probable\n"
    "state when that is one of its expected states, else its first expected state. Log loss\n"
    "and Brier score take that state as the true one; log loss takes a probability of 0 as\n"
    "1e-15. Precision or recall without a line to count is shown as \"-\" and counts as 0 in\n"
    "the averages, which are over the states expected or most probable at least once.\n";

const char* const kExplainHelp =
    "Usage: veltra explain NETWORK [RESULTS...]\n"
    "\n"
    "Classifies the test results of one field per RESULTS argument, or per line of standard\n"
    "input when none is given, and prints every state with its probability, most probable\n"
    "first. Then it leaves out each observed test in turn (its result replaced by \"-\") and\n"
    "prints, largest effect first: the test's place in the results, its tag, the result seen,\n"
    "the probability of the most probable state without the test and how far that moved,\n"
    "the most probable state without the test (marked when it changes) and the test's\n"
    "description. Put -- before results that could be taken for an option.\n";

const char* const kReportHelp =
    "Usage: veltra report [--html FILE] [--json FILE] TRAINED INPUT\n"
    "\n"
    "Judges every test line of INPUT with the trained network TRAINED, as evaluate does but\n"
    "without writing a judged copy, and prints the report of 'veltra evaluate --report'\n"
    "(see 'veltra evaluate --help' for its figures).\n"
    "\n"
    "--html FILE  writes a page: the confusion matrix as a heat map, the per-state table, the\n"
    "             calibration diagram, and the CP and DP figures that training wrote into\n"
    "             TRAINED, per test, as bars. The page holds all it shows (no script, no\n"
    "             other file) and opens from disk in any browser.\n"
    "--json FILE  writes the figures to FILE as JSON.\n";

const char* const kCheckHelp =
    "Usage: veltra check NETWORK\n"
    "\n"
    "Loads the network description NETWORK and lists its states and its tests, in the order\n"
    "in which their results are written, or reports why it does not load. For a network with\n"
    "probabilities, it says after how many observed tests a product of its smallest\n"
    "probabilities underflows to 0 (every state would then get probability 0).\n";

// Only asked after the library failed a training run or an evaluation: whether the run stopped at
// a line of INPUT that does not fit the network, rather than at a file the library refused and
// named itself (an output that is an input, an input that is no regular file or holds a line the
// reader refuses, an output it could not open or write). A run that stops at a line puts its
// partial file, whole lines, in place of OUTPUT, and a training run stops there before it writes
// the trained sections; a refused run or a failed write leaves OUTPUT as it was (`before`). An
// OUTPUT that is no regular file is never read back.
bool LineDidNotFit(const std::string& input, const std::string& output, const std::string& network,
                   const FileStamp& before)
{
    std::error_code error;
    const FileStamp after = StampOf(output);
    if (!after.regular || after == before || !std::filesystem::is_regular_file(input, error) ||
        !Readable(input) || SameFile(output, input) || SameFile(output, network))
        return false;
    std::ifstream written(output, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(written)), std::istreambuf_iterator<char>());
    if (text.empty() || text.back() != '\n' ||
        text.find("\n# Trained by BayesianEngine") != std::string::npos)
        return false;
    std::FILE* in = std::fopen(input.c_str(), "rb");
    if (!in) return false;
    const bool fits =
        ForEachLine(in, [](std::string_view line, bool ended) { return !RefusedLine(line, ended); });
    std::fclose(in);
    return fits;
}

std::string Counted(size_t n, const char* noun)
{
    return std::to_string(n) + " " + noun + (n == 1 ? "" : "s");
}

int TrainCommand(const std::vector<std::string>& args, const Options&)
{
    const std::string &network = args[0], &samples = args[1], &output = args[2];
    // Loading first tells a faulty description apart from a faulty sample file.
    Engine engine;
    if (!Load(engine, "train", network)) return 1;
    const FileStamp before = StampOf(output);
    if (Train(engine.get(), network.c_str(), samples.c_str(), output.c_str()) == 0) return 0;
    std::fflush(stdout);
    if (LineDidNotFit(samples, output, network, before))
        std::fprintf(stderr, "veltra train: %s: training stopped at a line that does not fit %s\n",
                     samples.c_str(), network.c_str());
    return 1;
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
    const std::string& network = args[0];
    Engine engine;
    size_t states = 0;
    if (!LoadTrained(engine, "classify", network, states)) return 1;

    // Analyze writes one entry per state into arrays of the capacity given in `count`.
    std::vector<char> categories(states);
    std::vector<double> probabilities(states);
    int failures = 0;
    bool first = true;
    auto classify = [&](const std::string& results, const std::string& where) {
        int32_t count = static_cast<int32_t>(states);
        if (Analyze(engine.get(), results.c_str(), categories.data(), probabilities.data(), &count) != 0) {
            std::fflush(stdout);
            std::fprintf(stderr, "veltra classify: %s\"%s\" does not fit %s\n", where.c_str(),
                         results.c_str(), network.c_str());
            ++failures;
            return;
        }
        if (!tsv && !first) std::printf("\n");
        first = false;
        PrintClassification(results, categories.data(), probabilities.data(), count, tsv);
        if (count > 0 && std::all_of(probabilities.begin(), probabilities.begin() + count,
                                     [](double p) { return p == 0; })) {
            std::fflush(stdout);
            std::fprintf(
                stderr,
                "veltra classify: warning: %s\"%s\": every probability is 0, the products underflowed "
                "(see veltra check)\n",
                where.c_str(), results.c_str());
        }
    };

    if (!ForEachResults(args, "classify", classify)) return 1;
    return failures == 0 ? 0 : 1;
}

// The number of the INPUT line that stopped an evaluation, found from what reached OUTPUT: each
// input line is copied before it is judged, and a result line follows each judged test line.
int64_t StoppingLine(const std::string& output)
{
    std::ifstream in(output);
    std::string line;
    int64_t copied = 0;
    bool testLine = false;
    while (std::getline(in, line)) {
        if (testLine && (StartsWith(line, ";OK\t") || StartsWith(line, ";ERROR\t"))) {
            testLine = false;
            continue;
        }
        ++copied;
        testLine = StartsWith(line, ";TESTS\t");
    }
    // A test line left without its result line failed; otherwise the next line could not be read.
    return testLine ? copied : copied + 1;
}

// A file the command writes must not be one it reads or another it writes.
bool Overwrites(const char* command, const std::string& written, const std::vector<std::string>& others)
{
    for (const std::string& other : others)
        if (!written.empty() && (written == other || SameFile(written, other))) {
            std::fprintf(stderr, "veltra %s: writing %s would overwrite a file the command reads or writes\n",
                         command, written.c_str());
            return true;
        }
    return false;
}

int EvaluateCommand(const std::vector<std::string>& args, const Options& options)
{
    const std::string &network = args[0], &input = args[1], &output = args[2];
    // The network is no input of the evaluation, but an evaluation must not replace it either.
    if (SameFile(output, network)) {
        std::fprintf(stderr, "veltra evaluate: the output %s would overwrite the network\n", output.c_str());
        return 1;
    }
    if (Overwrites("evaluate", options.json, {network, input, output})) return 1;
    Engine engine;
    size_t states = 0;
    if (!LoadTrained(engine, "evaluate", network, states)) return 1;
    const FileStamp before = StampOf(output);
    if (AnalyzeFile(engine.get(), input.c_str(), output.c_str()) == 0) {
        if (!options.report && options.json.empty()) return 0;
        return MakeReport(engine, {"evaluate", {network, input}, options.report, options.json, ""});
    }
    std::fflush(stdout);
    if (LineDidNotFit(input, output, network, before))
        std::fprintf(stderr, "veltra evaluate: %s, line %" PRId64 ": the line does not fit %s\n",
                     input.c_str(), StoppingLine(output), network.c_str());
    return 1;
}

int ReportCommand(const std::vector<std::string>& args, const Options& options)
{
    const std::string &network = args[0], &input = args[1];
    if (Overwrites("report", options.json, {network, input, options.html}) ||
        Overwrites("report", options.html, {network, input}))
        return 1;
    Engine engine;
    size_t states = 0;
    if (!LoadTrained(engine, "report", network, states)) return 1;
    return MakeReport(engine, {"report", {network, input}, true, options.json, options.html});
}

int ExplainCommand(const std::vector<std::string>& args, const Options&)
{
    return veltra::cli::Explain(args);
}

// Products are plain doubles: a field with enough observed tests of small probability gives 0 for
// every state. Multiplies as the engine does to say after how many.
void PrintUnderflow(const NetworkOutline& outline)
{
    if (outline.smallestConditional >= 1.0) {
        std::printf("Underflow: none; no test probability is below 1\n");
        return;
    }
    int observed = 0;
    for (double product = outline.smallestPrior; product > 0.0 && observed <= 100000;
         product *= outline.smallestConditional)
        ++observed;
    std::printf(
        "Underflow: a product of the smallest probabilities (prior %g, test %g) is 0 after %d observed "
        "tests; %s\n",
        outline.smallestPrior, outline.smallestConditional, observed,
        static_cast<size_t>(observed) > outline.tests.size()
            ? "this network has fewer tests"
            : "fields with that many such results get probability 0 for every state");
}

int CheckCommand(const std::vector<std::string>& args, const Options&)
{
    const std::string& network = args[0];
    Engine engine;
    if (!Load(engine, "check", network)) return 1;

    NetworkOutline outline = ReadOutline(network);
    std::printf("%s: hypothesis %s, %s, %s\n", network.c_str(), outline.hypothesis.c_str(),
                Counted(outline.states.size(), "state").c_str(),
                Counted(outline.tests.size(), "test").c_str());
    std::printf("States: %s\n", Join(outline.states, " ").c_str());
    std::printf("Tests, one result character each, in this order:\n");
    size_t tagWidth = 0, valuesWidth = 0;
    for (const TestOutline& test : outline.tests) {
        tagWidth = std::max(tagWidth, test.tag.size());
        valuesWidth = std::max(valuesWidth, Join(test.values, ",").size());
    }
    for (size_t i = 0; i < outline.tests.size(); ++i) {
        const TestOutline& test = outline.tests[i];
        std::printf("  %2zu  %-*s  %-*s  %s\n", i + 1, static_cast<int>(tagWidth), test.tag.c_str(),
                    static_cast<int>(valuesWidth), Join(test.values, ",").c_str(), test.description.c_str());
    }
    if (outline.probabilities == 0) {
        std::printf("Probabilities: none; train the network before classifying with it\n");
    } else {
        std::printf("Probabilities: %d lines\n", outline.probabilities);
        PrintUnderflow(outline);
    }

    // Test lines and classification know one character per state and per value.
    std::fflush(stdout);
    for (const std::string& state : outline.states)
        if (state.size() != 1)
            std::fprintf(stderr, "veltra check: warning: state \"%s\" is not one character\n", state.c_str());
    for (const TestOutline& test : outline.tests)
        for (const std::string& value : test.values)
            if (value.size() != 1)
                std::fprintf(stderr, "veltra check: warning: value \"%s\" of test %s is not one character\n",
                             value.c_str(), test.tag.c_str());
    return 0;
}

struct Command {
    const char* name;
    const char* help;
    size_t minArgs;
    size_t maxArgs;
    // Its options, blank-separated; "=" after a name marks an option followed by a file name.
    const char* options;
    // Whether its arguments are test results, which may begin with "--": then only the exact
    // option names are options.
    bool takesResults;
    int (*run)(const std::vector<std::string>& args, const Options& options);
};

const Command kCommands[] = {
    {"train", kTrainHelp, 3, 3, "", false, TrainCommand},
    {"classify", kClassifyHelp, 1, SIZE_MAX, "--tsv", true, ClassifyCommand},
    {"evaluate", kEvaluateHelp, 3, 3, "--report --json=", false, EvaluateCommand},
    {"explain", kExplainHelp, 1, SIZE_MAX, "", true, ExplainCommand},
    {"report", kReportHelp, 2, 2, "--html= --json=", false, ReportCommand},
    {"check", kCheckHelp, 1, 1, "", false, CheckCommand},
};

// Whether `arg` is one of the command's options, and whether a file name follows it.
bool IsOption(const Command& command, const std::string& arg, bool& takesFile)
{
    for (const std::string& option : Split(command.options, " ")) {
        takesFile = option.back() == '=';
        if (arg == (takesFile ? option.substr(0, option.size() - 1) : option)) return true;
    }
    return false;
}

int Run(const Command& command, int argc, char** argv)
{
    std::vector<std::string> args;
    Options options;
    bool optionsEnded = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        bool takesFile = false;
        if (optionsEnded) {
            args.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "--help") {
            std::fputs(command.help, stdout);
            return 0;
        } else if (IsOption(command, arg, takesFile)) {
            if (!takesFile) {
                (arg == "--tsv" ? options.tsv : options.report) = true;
                continue;
            }
            if (i + 1 == argc) {
                std::fprintf(stderr, "veltra %s: %s needs a file name\n", command.name, arg.c_str());
                return 1;
            }
            (arg == "--json" ? options.json : options.html) = argv[++i];
        } else if (!command.takesResults && StartsWith(arg, "--")) {
            std::fprintf(stderr, "veltra %s: unknown option %s\n", command.name, arg.c_str());
            return 1;
        } else {
            args.push_back(arg);
        }
    }
    if (args.size() < command.minArgs || args.size() > command.maxArgs) {
        // The usage line: the help text up to its first line end.
        std::fprintf(stderr, "veltra %s: wrong number of arguments\n%.*s\n", command.name,
                     static_cast<int>(std::strcspn(command.help, "\n")), command.help);
        return 1;
    }
    return command.run(args, options);
}

// A command's status, unless what it wrote to standard output did not reach it: then 1. A closed
// pipe ends the program before that, quietly, as it does other command-line tools.
int Finish(int status)
{
    std::cout.flush();
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    std::fprintf(stderr, "veltra: cannot write standard output: %s\n", std::strerror(errno));
    return 1;
}

int Dispatch(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "help") == 0) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    for (const Command& command : kCommands)
        if (std::strcmp(argv[1], command.name) == 0) return Run(command, argc - 2, argv + 2);
    std::fprintf(stderr, "veltra: unknown command %s\n\n%s", argv[1], kUsage);
    return 1;
}

}  // namespace

int main(int argc, char** argv)
{
    return Finish(Dispatch(argc, argv));
}
