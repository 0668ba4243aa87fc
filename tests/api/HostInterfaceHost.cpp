// The host interface through its real shared library, as a host uses it: the reason, file and
// line of every failure, as statuses; nothing on the process's streams while every text reaches
// the callbacks, the same texts the seven exports print; progress counts; what a network holds;
// classification of many fields as of one at a time; a load that replaces the network and forgets
// what was classified before it; evaluation line by line; cross-validation and test selection
// through their callbacks and arrays; the versions. (The figures themselves are the engine's
// tests'.) Prints one line per failed check; exits 1 on any.
// Usage: HostInterfaceHost <test data directory>
#include <cmath>
#include <filesystem>
#include <string>
#ifdef __GLIBC__
#  include <pthread.h>
#endif
#include <utility>
#include <vector>

#include "HostSupport.h"
#include "Veltra.h"
#include "VeltraHost.h"

namespace {

using host::Bits;
using host::Check;

// An engine of the host interface with everything its callbacks were told.
struct Host {
    veltra_engine* engine = nullptr;
    std::vector<std::pair<int32_t, std::string>> messages;
    std::vector<std::pair<int64_t, int64_t>> progress;
    // What a call made from within a callback got: the engine is inside a call then.
    veltra_status reentered = VELTRA_OK;

    Host()
    {
        veltra_engine_create(&engine);
        veltra_engine_set_message_callback(engine, &Host::OnMessage, this, VELTRA_MESSAGE_ALL);
        veltra_engine_set_progress_callback(engine, &Host::OnProgress, this);
    }
    ~Host() { veltra_engine_destroy(engine); }
    static void OnMessage(void* context, int32_t kind, const char* text)
    {
        Host& self = *static_cast<Host*>(context);
        self.messages.emplace_back(kind, text);
        veltra_network_info info;
        self.reentered = veltra_network_get_info(self.engine, &info);
    }
    static void OnProgress(void* context, int64_t done, int64_t total)
    {
        static_cast<Host*>(context)->progress.emplace_back(done, total);
    }
    // The texts of the messages of `kinds`, each followed by a line end.
    std::string Texts(int32_t kinds) const
    {
        std::string texts;
        for (const auto& [kind, text] : messages)
            if (kind & kinds) texts += text + "\n";
        return texts;
    }
    std::string Reason() const
    {
        return std::string(veltra_engine_error(engine)) + " [" + veltra_engine_error_file(engine) + ":" +
               std::to_string(veltra_engine_error_line(engine)) + "]";
    }
};

// A ranking as the host is given it: "<status> <state><bits> ...", the entries when it is OK.
std::string Ranked(int32_t status, int32_t count, const char* states, const double* levels)
{
    std::string text = std::to_string(status);
    for (int32_t i = 0; status == VELTRA_OK && i < count; ++i)
        text += std::string(" ") + states[i] + Bits(levels[i]);
    return text;
}

// One field through the host interface's single call.
std::string Classified(veltra_engine* engine, const std::string& results)
{
    char states[8];
    double probabilities[8];
    int32_t count = 8;
    const veltra_status status =
        veltra_engine_classify(engine, results.c_str(), states, probabilities, &count);
    return Ranked(status, count, states, probabilities);
}

// Failures: each row's call must give its status, reason, file and line (the scratch directory
// written as <dir>), and the same reason must reach the message callback as a failure.
void Reasons(const std::string& data)
{
    const std::string dir = host::Scratch().File(""), network = data + "/training/network.txt";
    host::Scratch().Write("zero.net", std::string("H = K \"a,b\"\n\0\n", 14));
    host::Scratch().Write("bad.net", "# a test line without its values\nH = K \"a,b\"\n\nT = t x\n");
    host::Scratch().Write("bad-samples.txt", ";TESTS\ta\tys\n# \n;TESTS\tb\tyyy\n");
    host::Scratch().Write("bad-input.txt", ";TESTS\ta\tys\n;TESTS\tb\ty.y.y\n");
    const auto trained = [&](Host& h) {
        veltra_engine_load_file(h.engine, (data + "/batch/../three-states.net").c_str());
    };
    const auto twoTests = [&](Host& h) {
        veltra_engine_train(h.engine, network.c_str(), (data + "/training/samples.txt").c_str(),
                            (dir + "twice.net").c_str(), nullptr);
    };
    const struct Row {
        const char* what;
        std::function<void(Host&)> before;
        std::function<veltra_status(Host&)> call;
        veltra_status status;
        std::string reason;  // message [file:line]
    } rows[] = {
        {"a missing description", nullptr,
         [&](Host& h) { return veltra_engine_load_file(h.engine, (dir + "missing.net").c_str()); },
         VELTRA_FAILED, "Cannot open file: <dir>missing.net [<dir>missing.net:0]"},
        {"a zero byte", nullptr,
         [&](Host& h) { return veltra_engine_load_file(h.engine, (dir + "zero.net").c_str()); },
         VELTRA_FAILED, "Line 2 of <dir>zero.net holds a zero byte [<dir>zero.net:2]"},
        {"a malformed line of a file", nullptr,
         [&](Host& h) { return veltra_engine_load_file(h.engine, (dir + "bad.net").c_str()); }, VELTRA_FAILED,
         "Wrong format in line:\nt x [<dir>bad.net:4]"},
        {"a malformed line of a text", nullptr,
         [&](Host& h) { return veltra_engine_load_text(h.engine, "H = K \"a,b\"\r\n\rT = t x"); },
         VELTRA_FAILED, "Wrong format in line:\nt x [:3]"},
        {"a sample line that does not fit", nullptr,
         [&](Host& h) {
             return veltra_engine_train(h.engine, network.c_str(), (dir + "bad-samples.txt").c_str(),
                                        (dir + "out.net").c_str(), nullptr);
         },
         VELTRA_FAILED, "Expected 2 test results but got 3 Results:yyy\n [<dir>bad-samples.txt:3]"},
        {"a test line that does not fit", twoTests,
         [&](Host& h) {
             return veltra_engine_evaluate(h.engine, (dir + "bad-input.txt").c_str(), nullptr, nullptr,
                                           nullptr, nullptr, nullptr);
         },
         VELTRA_FAILED, "Expected 2 test results but got 3. Test results:\nyyy [<dir>bad-input.txt:2]"},
        {"results of the wrong length", twoTests,
         [&](Host& h) { return static_cast<veltra_status>(Classified(h.engine, "y")[0] - '0'); },
         VELTRA_FAILED, "Expected 2 test results but got 1. Test results:\ny [:0]"},
        {"nothing loaded", nullptr,
         [&](Host& h) { return static_cast<veltra_status>(Classified(h.engine, "y")[0] - '0'); },
         VELTRA_FAILED, "Network has not been initialized yet [:0]"},
        {"no such state", trained,
         [&](Host& h) {
             int32_t size = 8;
             char name[8];
             return veltra_network_get_state(h.engine, 3, nullptr, name, &size);
         },
         VELTRA_FAILED, "No state 3: there are 3 [:0]"},
        {"a null text", nullptr, [&](Host& h) { return veltra_engine_load_text(h.engine, nullptr); },
         VELTRA_INVALID_ARGUMENT, "veltra_engine_load_text: the text is null [:0]"},
        {"one field of three that does not fit", trained,
         [&](Host& h) {
             const char* const fields[] = {"a.b-c", "abq", "----"};
             char states[9];
             double probabilities[9];
             veltra_status statuses[3];
             const veltra_status status =
                 veltra_engine_classify_many(h.engine, 3, fields, 3, states, probabilities, statuses);
             return statuses[0] == VELTRA_OK && statuses[1] == VELTRA_FAILED && statuses[2] == VELTRA_OK
                        ? status
                        : -1;
         },
         VELTRA_FAILED, "Expected 4 test results but got 3. Test results:\nabq [:2]"},
        {"a position outside the tests", nullptr,
         [&](Host& h) {
             const int32_t tests[] = {1, 2};
             return veltra_engine_write_tests(h.engine, network.c_str(), tests, 2, (dir + "out.net").c_str());
         },
         VELTRA_FAILED, "No test 2: there are 2 [" + network + ":0]"},
        {"a test line to cut that does not fit", twoTests,
         [&](Host& h) {
             return veltra_engine_cut(h.engine, network.c_str(), (dir + "bad-input.txt").c_str(),
                                      (dir + "out.txt").c_str(), nullptr);
         },
         VELTRA_FAILED, "Expected 2 test results but got 3. Test results:\nyyy [<dir>bad-input.txt:2]"},
        {"no chosen tests", nullptr,
         [&](Host& h) { return veltra_engine_write_tests(h.engine, network.c_str(), nullptr, 1, "out.net"); },
         VELTRA_INVALID_ARGUMENT,
         "veltra_engine_write_tests: a pointer is null or the count is negative [:0]"},
        {"cross-validation on a sample line that does not fit", nullptr,
         [&](Host& h) {
             return veltra_engine_cross_validate(h.engine, network.c_str(), (dir + "bad-samples.txt").c_str(),
                                                 3, 0, 0, nullptr, nullptr, nullptr, nullptr);
         },
         VELTRA_FAILED, "Expected 2 test results but got 3 Results:yyy\n [<dir>bad-samples.txt:3]"},
        {"one fold", nullptr,
         [&](Host& h) {
             return veltra_engine_cross_validate(h.engine, network.c_str(), network.c_str(), 1, 0, 0, nullptr,
                                                 nullptr, nullptr, nullptr);
         },
         VELTRA_INVALID_ARGUMENT, "veltra_engine_cross_validate: the folds are fewer than 2 [:0]"},
        {"the selection's arrays asked for", nullptr,
         [&](Host& h) {
             int32_t steps = 0, tests = 0, kept = 0;
             const veltra_status status =
                 veltra_engine_select_tests(h.engine, network.c_str(), (dir + "bad-samples.txt").c_str(), 3,
                                            0, 0, 0, nullptr, &steps, nullptr, nullptr, &tests, &kept);
             return steps == 3 && tests == 2 ? status : -1;
         },
         VELTRA_BUFFER_TOO_SMALL, " [:0]"},
#if !defined(_WIN32)
        {"a full device", twoTests,
         [&](Host& h) {
             return veltra_engine_evaluate(h.engine, (data + "/batch/input.txt").c_str(), "/dev/full",
                                           nullptr, nullptr, nullptr, nullptr);
         },
         VELTRA_FAILED, "Cannot write file: /dev/full [/dev/full:0]"},
#endif
    };
    for (const Row& row : rows) {
        Host h;
        if (row.before) row.before(h);
        h.messages.clear();
        const veltra_status status = row.call(h);
        std::string reason = row.reason;
        for (size_t at; (at = reason.find("<dir>")) != std::string::npos;) reason.replace(at, 5, dir);
        Check(status == row.status && h.Reason() == reason,
              std::string(row.what) + ": " + std::to_string(status) + " " + h.Reason());
        const std::string told =
            row.status == VELTRA_FAILED ? reason.substr(0, reason.rfind(" [")) + "\n" : "";
        Check(h.Texts(VELTRA_MESSAGE_FAILURE) == told,
              std::string(row.what) + ": told " + h.Texts(VELTRA_MESSAGE_FAILURE));
        Check(h.reentered == (told.empty() ? VELTRA_OK : VELTRA_BUSY),
              std::string(row.what) + ": a call from a callback");
    }
    // The size of a text asked first, then the text.
    Host h;
    veltra_engine_load_file(h.engine, (data + "/three-states.net").c_str());
    int32_t size = 0;
    const veltra_status asked = veltra_network_get_name(h.engine, nullptr, &size);
    std::string name(static_cast<size_t>(size), '#');
    Check(asked == VELTRA_BUFFER_TOO_SMALL && size == 6 &&
              veltra_network_get_name(h.engine, &name[0], &size) == VELTRA_OK &&
              name == std::string("Kind \0", 6),
          "the name, its size asked first: " + name);
}

// Training and evaluation tell the callbacks what the exports print, and print nothing.
void Texts(const std::string& data)
{
    Host h;
    const auto [out, err] = host::Printed([&] {
        veltra_engine_train(h.engine, (data + "/training/network.txt").c_str(),
                            (data + "/training/samples.txt").c_str(),
                            host::Scratch().File("texts.net").c_str(), nullptr);
    });
    Check(out.empty() && err.empty(), "training printed [" + out + "] [" + err + "]");
    const std::string printed = host::ReadFile(data + "/training/expected-stdout.txt");
    Check(h.Texts(VELTRA_MESSAGE_WARNING | VELTRA_MESSAGE_SUMMARY) == printed.substr(printed.find('\n') + 1),
          "training's warnings and summary:\n" + h.Texts(VELTRA_MESSAGE_WARNING | VELTRA_MESSAGE_SUMMARY));
    std::string progress, counts;
    for (size_t at = 0; (at = printed.find("Line: ", at)) != std::string::npos; at += 6)
        progress += printed.substr(at, printed.find_first_of("\b\n", at) - at) + "\n";
    // Lines read of the lines in all: the sample lines as they are read, then the end of the file.
    for (const auto& [done, total] : h.progress)
        counts += std::to_string(done) + "/" + std::to_string(total) + " ";
    Check(h.Texts(VELTRA_MESSAGE_PROGRESS) == progress &&
              counts == "2/11 3/11 4/11 5/11 6/11 7/11 8/11 10/11 11/11 ",
          "training's progress: " + counts + "\n" + h.Texts(VELTRA_MESSAGE_PROGRESS));

    // Evaluation: the accuracy as a summary, the verdicts counted, the judged copy as the exports
    // write it, and every judged line told (its ranking: Classification).
    h.messages.clear();
    int64_t right = -1, wrong = -1;
    const std::string judged = host::Scratch().File("texts.txt");
    std::string lines;  // "line expected results" of each judged line
    const auto tell = [](void* context, int64_t line, const char* expected, const char* results, int32_t,
                         const char*, const double*) {
        *static_cast<std::string*>(context) += std::to_string(line) + " " + expected + " " + results + "\n";
    };
    const veltra_status status = veltra_engine_evaluate(h.engine, (data + "/batch/input.txt").c_str(),
                                                        judged.c_str(), tell, &lines, &right, &wrong);
    Check(
        status == VELTRA_OK && right == 3 && wrong == 2 &&
            h.Texts(VELTRA_MESSAGE_SUMMARY) == "Accuracy: 60.00 %\n",
        "evaluation: " + std::to_string(status) + " " + std::to_string(right) + "/" + std::to_string(wrong));
    Check(host::SameText(judged, data + "/batch/expected-output.txt"), "the judged copy");
    Check(lines == "2 a ys\n3 b nm\n4 ab ns\n5 c y-\n8 c --\n", "judged lines:\n" + lines);
}

// What a network holds: name, states, tests, values, probability lines, the smallest
// probabilities, the underflow and the stated figures.
std::string Outline(veltra_engine* engine)
{
    veltra_network_info info = {};
    if (veltra_network_get_info(engine, &info) != VELTRA_OK) return veltra_engine_error(engine);
    const auto text = [&](auto get) {
        int32_t size = 0;
        get(nullptr, &size);
        std::string value(static_cast<size_t>(size), '\0');
        get(&value[0], &size);
        value.pop_back();
        return value;
    };
    std::string shown =
        "[" + text([&](char* t, int32_t* n) { return veltra_network_get_name(engine, t, n); }) + "]";
    for (int32_t s = 0; s < info.states; ++s) {
        char result = '?';
        shown += " " + text([&](char* t, int32_t* n) {
                     return veltra_network_get_state(engine, s, &result, t, n);
                 });
        shown += "=" + std::string(1, result);
    }
    for (int32_t t = 0; t < info.tests; ++t) {
        shown += "\n" + text([&](char* x, int32_t* n) {
                     return veltra_network_get_test(engine, t, VELTRA_TEST_TAG, x, n);
                 });
        shown += " [" + text([&](char* x, int32_t* n) {
                     return veltra_network_get_test(engine, t, VELTRA_TEST_DESCRIPTION, x, n);
                 }) +
                 "]";
        int32_t values = 0;
        veltra_network_get_value_count(engine, t, &values);
        for (int32_t v = 0; v < values; ++v)
            shown +=
                " " + text([&](char* x, int32_t* n) { return veltra_network_get_value(engine, t, v, x, n); });
        double cp = -1, dp = -1;
        int32_t known = -1;
        veltra_network_get_figures(engine, t, &cp, &dp, &known);
        if (known & 1) shown += " CP " + std::to_string(static_cast<int>(cp));
        if (known & 2) shown += " DP " + std::to_string(static_cast<int>(dp));
    }
    char smallest[64];
    std::snprintf(smallest, sizeof smallest, "%.17g %.17g", info.smallest_prior, info.smallest_conditional);
    return shown + "\n" + std::to_string(info.probability_lines) + " lines, smallest " + smallest +
           ", underflow after " + std::to_string(info.underflow_tests);
}

void Introspection(const std::string& data)
{
    const struct {
        std::string description;  // a file of the test data, or a text
        std::string outline;
    } rows[] = {
        {"three-states.net",
         "[Kind ] x=x y=y z=z\nT1 [first ] a\nT2 [second ] b\nT3 [third ] a\nT4 [fourth ] b c\n"
         "18 lines, smallest 0.25 0.080000000000000002, underflow after 295"},
        {"training/network.txt",
         "[Category ] a=a b=b c=c\nDig [Has digits] y n\nLen [Length class] s m l\n0 lines, smallest 1 1, "
         "underflow after 0"},
        {"training/expected-trained.txt",
         "[Category ] a=a b=b c=c\nDig [Has digits] y n CP 57 DP 54\nLen [Length class] s m l CP 99 DP 81\n"
         "18 lines, smallest 0.33333299999999999 0.001, underflow after 108"},
        {"H = Many \"ab, c d ,-x\"\rT = t\"1,2\"\rP(H=ab) = 1\r",
         "[Many ] ab=a c d=c -x=-\nT [t] 1 2\n1 lines, smallest 1 1, underflow after 0"},
    };
    for (const auto& row : rows) {
        Host h;
        const bool file = row.description.find('\n') == std::string::npos &&
                          row.description.find('\r') == std::string::npos;
        if (file)
            veltra_engine_load_file(h.engine, (data + "/" + row.description).c_str());
        else
            veltra_engine_load_text(h.engine, row.description.c_str());
        const std::string shown = Outline(h.engine);
        Check(shown == row.outline, row.description + ":\n" + shown);
    }
}

// Many fields at once as each alone, over every field of the three-state network's results; then
// a load of other probabilities of T4, after which a field that shows b or c for T4 answers
// otherwise, and an evaluation (which, unlike these calls, goes through the engine's caches) judges
// the fields as these calls classify them.
void Classification(const std::string& data)
{
    std::vector<std::string> fields;
    for (const char* a : {"a", "-", "q"})
        for (const char* b : {"b", "-"})
            for (const char* c : {"a", "-"})
                for (const char* d : {"b", "c", "-", "b."})
                    fields.push_back(std::string(a) + "." + b + c + d);
    fields.push_back("ab");
    const std::string description = host::ReadFile(data + "/three-states.net");
    std::string other = description;
    other.replace(other.find("P(T4=b|H=x) = 0.4"), 17, "P(T4=b|H=x) = 0.3")
        .replace(other.find("P(T4=c|H=x) = 0.6"), 17, "P(T4=c|H=x) = 0.7");
    Host h;
    std::vector<std::string> first;  // the fields as the first description classifies them
    for (const std::string* text : {&description, static_cast<const std::string*>(&other)}) {
        veltra_engine_load_text(h.engine, text->c_str());
        std::vector<const char*> results;
        for (const std::string& field : fields) results.push_back(field.c_str());
        const size_t stride = 4;
        std::vector<char> states(fields.size() * stride);
        std::vector<double> probabilities(fields.size() * stride);
        std::vector<veltra_status> statuses(fields.size());
        veltra_engine_classify_many(h.engine, static_cast<int32_t>(fields.size()), results.data(), 4,
                                    states.data(), probabilities.data(), statuses.data());
        for (size_t i = 0; i < fields.size(); ++i) {
            const std::string alone = Classified(h.engine, fields[i]),
                              many = Ranked(statuses[i], 3, &states[i * stride], &probabilities[i * stride]);
            Check(alone == many, fields[i] + ": " + alone + " / " + many);
            if (text == &description) first.push_back(alone);
            const bool changed = alone[0] == '0' && fields[i].size() > 4 && fields[i][4] != '-';
            Check(text == &description || (alone != first[i]) == changed,
                  "reloaded " + fields[i] + ": " + alone);
        }
        std::string lines;
        for (size_t i = 0; i < 8; ++i) lines += ";TESTS\tx\t" + fields[i] + "\n";
        std::vector<std::string> rankings;
        const auto tell = [](void* context, int64_t, const char*, const char*, int32_t count,
                             const char* told, const double* levels) {
            static_cast<std::vector<std::string>*>(context)->push_back(
                Ranked(VELTRA_OK, count, told, levels));
        };
        veltra_engine_evaluate(h.engine, host::Scratch().Write("fields.txt", lines).c_str(), nullptr, tell,
                               &rankings, nullptr, nullptr);
        for (size_t i = 0; i < rankings.size(); ++i)
            Check(rankings[i] == Classified(h.engine, fields[i]),
                  "evaluated " + fields[i] + ": " + rankings[i]);
        Check(rankings.size() == 8, "evaluated fields: " + std::to_string(rankings.size()));
    }
}

// Training in parts: the sample file counted in blocks of whole lines (every split of it), the
// counts added and trained from give the file that training on the whole file writes, date line
// aside; a refused line is named by its number in the whole file; a count past 32 bits is refused.
void TrainingInParts(const std::string& data)
{
    const std::string network = data + "/training/network.txt", whole = host::Scratch().File("whole.net");
    const std::string samples = host::ReadFile(data + "/training/samples.txt");
    Host reference;
    veltra_engine_train(reference.engine, network.c_str(), (data + "/training/samples.txt").c_str(),
                        whole.c_str(), nullptr);
    Host h;
    veltra_engine_load_file(h.engine, network.c_str());
    int32_t size = 0;
    veltra_engine_count_size(h.engine, &size);
    std::vector<size_t> ends;  // the end of every line
    for (size_t at = samples.find('\n'); at != std::string::npos; at = samples.find('\n', at + 1))
        ends.push_back(at + 1);
    for (size_t split = 0; split <= ends.size(); ++split) {
        const size_t cut = split == 0 ? 0 : ends[split - 1];
        std::vector<int64_t> counts(static_cast<size_t>(size), 0);
        veltra_engine_count(h.engine, samples.data(), static_cast<int64_t>(cut), "samples.txt", 1,
                            counts.data());
        veltra_engine_count(h.engine, samples.data() + cut, static_cast<int64_t>(samples.size() - cut),
                            "samples.txt", static_cast<int64_t>(split) + 1, counts.data());
        const std::string parts = host::Scratch().File("parts.net");
        const veltra_status status =
            veltra_engine_train_counts(h.engine, network.c_str(), counts.data(), parts.c_str());
        Check(status == VELTRA_OK && host::SameText(parts, whole),
              "trained in parts split at line " + std::to_string(split));
    }
    std::vector<int64_t> counts(static_cast<size_t>(size), 0);
    const std::string bad = "# block 2\n;TESTS\ta\tys\n;TESTS\tb\ty\n";
    const veltra_status refused = veltra_engine_count(h.engine, bad.data(), static_cast<int64_t>(bad.size()),
                                                      "samples.txt", 41, counts.data());
    Check(refused == VELTRA_FAILED &&
              h.Reason() == "Expected 2 test results but got 1 Results:y\n [samples.txt:43]",
          "a refused line in a block: " + h.Reason());
    counts.assign(static_cast<size_t>(size), 0);
    counts[0] = int64_t{INT32_MAX} + 1;
    const veltra_status tooMany = veltra_engine_train_counts(h.engine, network.c_str(), counts.data(),
                                                             host::Scratch().File("many.net").c_str());
    Check(tooMany == VELTRA_FAILED && h.Reason() == "The count of H=a would pass 2147483647 [:0]",
          "a count past 32 bits: " + h.Reason());
}

#ifdef __GLIBC__
// A thread that a callback ends (pthread_exit, as an interpreter ends its threads at exit) while
// training and while evaluating: it unwinds through the call, the engine is free again and the
// earlier output stays as it was, nothing beside it.
void ThreadEnded(const std::string& data)
{
    for (const bool training : {true, false}) {
        const veltra::test::TempDir directory;
        Host h;
        veltra_engine_load_file(h.engine, (data + "/training/expected-trained.txt").c_str());
        veltra_engine_set_progress_callback(
            h.engine, [](void*, int64_t, int64_t) { pthread_exit(nullptr); }, nullptr);
        struct Run {
            veltra_engine* engine;
            std::string network, input, output;
            bool training;
        } run{h.engine, data + "/training/network.txt",
              data + (training ? "/training/samples.txt" : "/batch/input.txt"),
              directory.Write("out", "earlier"), training};
        pthread_t thread;
        pthread_create(
            &thread, nullptr,
            [](void* argument) -> void* {
                const Run& r = *static_cast<Run*>(argument);
                if (r.training)
                    veltra_engine_train(r.engine, r.network.c_str(), r.input.c_str(), r.output.c_str(),
                                        nullptr);
                else
                    veltra_engine_evaluate(r.engine, r.input.c_str(), r.output.c_str(), nullptr, nullptr,
                                           nullptr, nullptr);
                return argument;  // not reached: the callback ends the thread
            },
            &run);
        void* result = &run;
        pthread_join(thread, &result);
        veltra_network_info info;
        const std::string what = training ? "training" : "evaluation";
        Check(result == nullptr, what + ": the thread went on");
        Check(veltra_network_get_info(h.engine, &info) == VELTRA_OK,
              what + ": the engine after its thread ended");
        for (const auto& entry : std::filesystem::directory_iterator(directory.File("")))
            Check(entry.path().filename() == "out",
                  what + ": left behind: " + entry.path().filename().string());
        Check(host::ReadFile(run.output) == "earlier", what + ": the earlier output replaced");
    }
}
#endif

// Cross-validation and selection on the same folds, through their callbacks and arrays: every
// test line told once, fold after fold; progress up to its total, the selection's too; the
// selection's steps and kept tests, its first set judged as cross-validation judges it.
void CrossValidation(const std::string& data)
{
    const std::string network = data + "/training/network.txt", samples = data + "/training/samples.txt";
    Host h;
    struct Seen {
        int64_t lines = 0;
        int32_t fold = 0;
        bool ordered = true;
    } seen;
    const veltra_verdict_callback verdict = [](void* context, int32_t fold, int64_t, const char*, const char*,
                                               int32_t count, const char*, const double*) {
        Seen& s = *static_cast<Seen*>(context);
        s.ordered = s.ordered && fold >= s.fold && count == 3;
        s.fold = fold;
        ++s.lines;
    };
    int64_t right[3], wrong[3];
    const veltra_status status = veltra_engine_cross_validate(
        h.engine, network.c_str(), samples.c_str(), 3, 7, VELTRA_CV_STRATIFIED, verdict, &seen, right, wrong);
    const int64_t judged = right[0] + right[1] + right[2] + wrong[0] + wrong[1] + wrong[2];
    Check(
        status == VELTRA_OK && seen.lines == 7 && judged == 7 && seen.ordered && !h.progress.empty() &&
            h.progress.back().first == h.progress.back().second,
        "cross-validation: " + h.Reason() + " " + std::to_string(seen.lines) + " " + std::to_string(judged));

    veltra_selection_step steps[3];
    veltra_test_score scores[2];
    int32_t kept[2], stepCount = 3, testCount = 2, keptCount = 0;
    h.progress.clear();
    const veltra_status selected =
        veltra_engine_select_tests(h.engine, network.c_str(), samples.c_str(), 3, 7, VELTRA_CV_STRATIFIED, 1,
                                   steps, &stepCount, scores, kept, &testCount, &keptCount);
    Check(selected == VELTRA_OK && stepCount == 2 && testCount == 2 && keptCount == 1 &&
              steps[0].test == -1 && steps[0].right == right[0] + right[1] + right[2] &&
              steps[1].tests == 1 && kept[0] != steps[1].test && !h.progress.empty() &&
              h.progress.back().first == h.progress.back().second,
          "selection: " + h.Reason());
    // Each score's fields are what their names say: the figures without the test judge the same
    // lines, the dropped test's are its step's, and the drop is the difference of the accuracies.
    const auto share = [](int64_t r, int64_t w) {
        return static_cast<double>(r) / static_cast<double>(r + w);
    };
    for (int32_t t = 0; t < 2 && selected == VELTRA_OK; ++t) {
        const veltra_test_score& score = scores[t];
        const bool dropped = steps[1].test == t;
        Check(score.right_without + score.wrong_without == steps[0].right + steps[0].wrong &&
                  std::abs(score.accuracy_drop - (share(steps[0].right, steps[0].wrong) -
                                                  share(score.right_without, score.wrong_without))) < 1e-12 &&
                  score.mutual_information >= 0 && score.mutual_information <= 1 &&
                  (!dropped ||
                   (score.right_without == steps[1].right && score.log_loss_without == steps[1].log_loss)),
              "selection score of test " + std::to_string(t));
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string data = argc > 1 ? argv[1] : ".";
    Check(std::string(veltra_version()) == VELTRA_VERSION_TEXT &&
              veltra_interface_version() == VELTRA_HOST_INTERFACE_VERSION,
          std::string("versions ") + veltra_version());
    const auto [printed, err] = host::Printed([&] {
        Reasons(data);
        Introspection(data);
        Classification(data);
        TrainingInParts(data);
        CrossValidation(data);
    });
    Check(printed.empty() && err.empty(), "printed [" + printed + "] [" + err + "]");
    Texts(data);
#ifdef __GLIBC__
    ThreadEnded(data);
#endif
    std::printf("HostInterfaceHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
