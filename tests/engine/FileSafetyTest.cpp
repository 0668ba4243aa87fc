// What training and batch evaluation do with files a careless host hands them: an output that is
// an input, files that cannot be read twice, a disk that fills, zero bytes, CR LF line ends, and a
// host thread with a small stack.
#include <filesystem>
#include <functional>
#include <string>

#if defined(__linux__)
#  include <pthread.h>
#  include <signal.h>
#  include <sys/resource.h>
#  include <sys/stat.h>
#endif

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

const std::string kNetwork = "H = Category \"a,b\"\nDig = Digits \"y,n\"\nLen = Length \"s,m,l\"\n";
const std::string kSamples = ";TESTS\ta\tys\n;TESTS\tb\tnm\n;TESTS\tab\ty-\n";
const std::string kTrained =
    kNetwork +
    "P(H=a) = 0.5\nP(H=b) = 0.5\nP(Dig=y|H=a) = 0.9\nP(Dig=n|H=a) = 0.1\n"
    "P(Dig=y|H=b) = 0.2\nP(Dig=n|H=b) = 0.8\nP(Len=s|H=a) = 0.5\nP(Len=m|H=a) = 0.3\n"
    "P(Len=l|H=a) = 0.2\nP(Len=s|H=b) = 0.1\nP(Len=m|H=b) = 0.1\nP(Len=l|H=b) = 0.8\n";

// A scratch directory with the network, samples and a batch input: "n", "s" and "in".
struct Files {
    TempDir dir;
    std::string network = dir.Write("n", kNetwork), samples = dir.Write("s", kSamples),
                input = dir.Write("in", "# fields\n" + kSamples);
    std::string Path(const std::string& name) const { return dir.File(name); }
};

// A run the engine refuses: its exact message, and every input as it was.
struct Refusal {
    const char* name;
    std::function<void(FieldClassifier&, const Files&)> run;
    std::function<std::string(const Files&)> message;
};

TEST(FileSafety, OutputsThatWouldDestroyAnInputAreRefusedBeforeAnythingIsWritten)
{
    const Refusal rows[] = {
        {"batch output is its input",
         [](FieldClassifier& e, const Files& f) { e.AnalyzeFile(f.input, f.input); },
         [](const Files& f) { return "Output would overwrite an input file: " + f.input; }},
        {"batch output, spelt otherwise",
         [](FieldClassifier& e, const Files& f) { e.AnalyzeFile(f.input, f.dir.Path() + "/./in"); },
         [](const Files& f) { return "Output would overwrite an input file: " + f.dir.Path() + "/./in"; }},
        {"trained output is the network",
         [](FieldClassifier& e, const Files& f) { e.Train(f.network, f.samples, f.network, false); },
         [](const Files& f) { return "Output would overwrite an input file: " + f.network; }},
        {"trained output is the samples",
         [](FieldClassifier& e, const Files& f) { e.Train(f.network, f.samples, f.samples, false); },
         [](const Files& f) { return "Output would overwrite an input file: " + f.samples; }},
        {"trained output links to the samples",
         [](FieldClassifier& e, const Files& f) {
             std::filesystem::create_hard_link(f.samples, f.Path("link"));
             e.Train(f.network, f.samples, f.Path("link"), false);
         },
         [](const Files& f) { return "Output would overwrite an input file: " + f.Path("link"); }},
        {"samples that are a directory",
         [](FieldClassifier& e, const Files& f) { e.Train(f.network, f.dir.Path(), f.Path("o"), false); },
         [](const Files& f) { return "Not a regular file, cannot read it twice: " + f.dir.Path(); }},
#if defined(__linux__)
        {"samples from a pipe",
         [](FieldClassifier& e, const Files& f) {
             ::mkfifo(f.Path("fifo").c_str(), 0600);  // no writer: opening it would wait for ever
             e.Train(f.network, f.Path("fifo"), f.Path("o"), false);
         },
         [](const Files& f) { return "Not a regular file, cannot read it twice: " + f.Path("fifo"); }},
        {"batch input without end",
         [](FieldClassifier& e, const Files& f) { e.AnalyzeFile("/dev/zero", f.Path("o")); },
         [](const Files&) { return std::string("Not a regular file, cannot read it twice: /dev/zero"); }},
        {"trained output that cannot be read back",
         [](FieldClassifier& e, const Files& f) { e.Train(f.network, f.samples, "/dev/full", false); },
         [](const Files&) { return std::string("Not a regular file, cannot read it back: /dev/full"); }},
#endif
    };
    for (const Refusal& row : rows) {
        SCOPED_TRACE(row.name);
        Files files;
        FieldClassifier engine;
        engine.GetNetwork().Load(kTrained);
        EXPECT_TRUE(RaisesExactly([&] { row.run(engine, files); }, row.message(files)));
        EXPECT_EQ(ReadFile(files.network) + ReadFile(files.samples) + ReadFile(files.input),
                  kNetwork + kSamples + "# fields\n" + kSamples);
        EXPECT_FALSE(std::filesystem::exists(files.Path("o")));
    }
}

// Lines the reader refuses rather than cut, and where it says they are. The newline count that
// comes before the reading refuses a line too long at once.
TEST(FileSafety, ZeroBytesAndLongLinesStopARunNamingTheLine)
{
    const std::string zero = std::string(";TESTS\ta\ty", 10) + std::string(1, '\0') + "s\n";
    const std::string longLine = ";TESTS\ta\t" + std::string(2000, 'y');
    struct Row {
        const char* name;
        bool train;
        std::string content;
        std::string message;  // after the file's path
    } rows[] = {
        {"zero byte in a sample", true, kSamples + zero, " holds a zero byte"},
        {"zero byte in a batch line", false, kSamples + zero, " holds a zero byte"},
        {"sample line too long", true, kSamples + longLine, " is longer than 1023 bytes"},
        {"batch line too long", false, kSamples + longLine + "\n", " is longer than 1023 bytes"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Files files;
        FieldClassifier engine;
        engine.GetNetwork().Load(kTrained);
        const std::string path = files.dir.Write("bad", row.content);
        EXPECT_TRUE(RaisesExactly(
            [&] {
                row.train ? engine.Train(files.network, path, files.Path("o"), false)
                          : engine.AnalyzeFile(path, files.Path("o"));
            },
            "Line 4 of " + path + row.message));
    }
    Files files;
    FieldClassifier engine;
    const std::string description = files.dir.Write("d", kNetwork + "# a " + std::string(1, '\0') + " b\n");
    EXPECT_TRUE(RaisesExactly([&] { engine.InitializeThruFile(description); },
                              "Line 4 of " + description + " holds a zero byte"));
}

// CR LF ends a line as LF does: the same file with either line end gives the same run.
TEST(FileSafety, CrLfLinesReadAsLfLines)
{
    Files files;
    std::string crlf = "# fields\n" + kSamples;
    for (size_t at = 0; (at = crlf.find('\n', at)) != std::string::npos; at += 2) crlf.insert(at, "\r");
    const std::string crlfInput = files.dir.Write("crlf", crlf);
    FieldClassifier engine;
    engine.GetNetwork().Load(kTrained);
    const Outcome lf = test::Run([&] { engine.AnalyzeFile(files.input, files.Path("lf.out")); });
    const Outcome cr = test::Run([&] { engine.AnalyzeFile(crlfInput, files.Path("crlf.out")); });
    EXPECT_EQ(cr.err, "");
    EXPECT_EQ(cr.out, lf.out);
    EXPECT_EQ(ReadFile(files.Path("crlf.out")), ReadFile(files.Path("lf.out")));
    const std::string crlfSamples = files.dir.Write("crlf.s", crlf);
    EXPECT_EQ(test::Run([&] { engine.Train(files.network, crlfSamples, files.Path("t"), false); }).err, "");
}

#if defined(__linux__)
// A write that fails (here: past a file-size limit) fails the run; it never reports success.
TEST(FileSafety, FailedWritesFailTheRun)
{
    Files files;
    FieldClassifier engine;
    engine.GetNetwork().Load(kTrained);
    EXPECT_TRUE(
        RaisesExactly([&] { engine.AnalyzeFile(files.input, "/dev/full"); }, "Cannot write file: /dev/full"));

    std::string manySamples;
    for (int i = 0; i < 300; ++i) manySamples += kSamples;
    const std::string samples = files.dir.Write("many", manySamples),
                      input = files.dir.Write("many.in", manySamples);
    struct sigaction ignore = {}, old = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &old);
    rlimit limit = {}, saved = {};
    getrlimit(RLIMIT_FSIZE, &saved);
    limit = saved;
    limit.rlim_cur = 512;
    setrlimit(RLIMIT_FSIZE, &limit);
    Outcome train = test::Run([&] { engine.Train(files.network, samples, files.Path("t"), false); });
    Outcome evaluate = test::Run([&] { engine.AnalyzeFile(input, files.Path("e")); });
    setrlimit(RLIMIT_FSIZE, &saved);
    sigaction(SIGXFSZ, &old, nullptr);
    EXPECT_EQ(train.message, "Cannot write file: " + files.Path("t"));
    EXPECT_EQ(evaluate.message, "Cannot write file: " + files.Path("e"));
}

// Hosts may call from threads with small stacks: nothing of a run lives in a large stack buffer.
TEST(FileSafety, RunsOnAThreadWithA64KiBStack)
{
    Files files;
    struct Job {
        const Files* files;
        std::string err;
    } job{&files, ""};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 64 * 1024);
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, &attributes,
                  [](void* argument) -> void* {
                      Job& j = *static_cast<Job*>(argument);
                      FieldClassifier engine;
                      j.err = test::Run([&] {
                                  engine.Train(j.files->network, j.files->samples, j.files->Path("t"), false);
                                  engine.AnalyzeFile(j.files->input, j.files->Path("e"));
                              }).err;
                      return nullptr;
                  },
                  &job),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(job.err, "");
    EXPECT_NE(ReadFile(files.Path("e")).find("Accuracy"), std::string::npos);
}
#endif

}  // namespace
}  // namespace veltra::test
