// What training and batch evaluation do with files a careless host hands them: files that cannot
// be opened, an output that is an input, files that cannot be read twice, zero bytes and
// over-long lines, a disk that fills, and a host thread with a small stack. (CR LF line ends: the
// golden runs read them too.)
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

const std::string kNetwork = "H = Category \"a,b\"\nDig = Digits \"y,n\"\nLen = Length \"s,m,l\"\n";
// Samples with the longest lines read, ended by CR LF, by LF and by the end.
const std::string kLongest(1023, '#');
const std::string kSamples =
    kLongest + "\r\n;TESTS\ta\tys\n;TESTS\tb\tnm\n" + kLongest + "\n;TESTS\tab\ty-\n" + kLongest;

// A scratch directory with a network "n", samples "s" and a batch input "in", and what a careless
// host may pass: a hard link to the samples, a pipe without writer (opening it would wait for
// ever: it is refused before it is opened), and files whose fourth line holds a zero byte or is a
// byte too long.
struct Files {
    TempDir dir;
    std::string network = dir.Write("n", kNetwork), samples = dir.Write("s", kSamples),
                input = dir.Write("in", "# fields\n" + kSamples);
    Files()
    {
        std::filesystem::create_hard_link(samples, dir.File("link"));
        ::mkfifo(dir.File("fifo").c_str(), 0600);
        dir.Write("zero", std::string("#\n#\n#\n;TESTS\ta\ty\0s\n", 19));
        dir.Write("long", "#\n#\n#\n" + std::string(1024, '#'));
    }
    // An absolute path as it is, any other name inside the directory.
    std::string Path(const std::string& name) const { return name[0] == '/' ? name : dir.File(name); }
};

// Which of a run's files its message names.
enum Named { kNetworkFile, kInputFile, kOutputFile };

// A refused run names the file and leaves every input as it was; it opens no output, but for a
// bad line, which is met after the output was opened. Inputs are opened first, in order.
TEST(FileSafety, RefusedRunsNameTheFileAndKeepTheInputs)
{
    const struct {
        const char* network;  // "": a batch evaluation of the input
        const char* input;
        const char* output;
        Named named;
        const char* before;
        const char* after;
    } rows[] = {
        {"none", "none", "o", kNetworkFile, "Cannot open file: ", ""},
        {"n", "none", "none/o", kInputFile, "Cannot open file: ", ""},
        {"n", "s", "none/o", kOutputFile, "Cannot open file: ", ""},
        {"", "none", "o", kInputFile, "Cannot open file: ", ""},
        {"", "in", "none/o", kOutputFile, "Cannot open file: ", ""},
        {"", "in", "./in", kOutputFile, "Output would overwrite an input file: ", ""},
        {"n", "s", "n", kOutputFile, "Output would overwrite an input file: ", ""},
        {"n", "s", "link", kOutputFile, "Output would overwrite an input file: ", ""},
        {"n", ".", "o", kInputFile, "Not a regular file, cannot read it twice: ", ""},
        {"n", "fifo", "o", kInputFile, "Not a regular file, cannot read it twice: ", ""},
        {"", "/dev/zero", "o", kInputFile, "Not a regular file, cannot read it twice: ", ""},
        {"n", "s", "/dev/full", kOutputFile, "Not a regular file, cannot read it back: ", ""},
        {"n", "zero", "o", kInputFile, "Line 4 of ", " holds a zero byte"},
        {"", "zero", "o", kInputFile, "Line 4 of ", " holds a zero byte"},
        {"zero", "s", "o", kNetworkFile, "Line 4 of ", " holds a zero byte"},
        // Samples and batch inputs have their newlines counted before they are read: the count
        // refuses a line too long at once. A description is refused by the reading.
        {"n", "long", "o", kInputFile, "Line 4 of ", " is longer than 1023 bytes"},
        {"long", "s", "o", kNetworkFile, "Line 4 of ", " is longer than 1023 bytes"},
    };
    for (const auto& row : rows) {
        Files files;
        const std::string paths[] = {files.Path(row.network), files.Path(row.input), files.Path(row.output)};
        SCOPED_TRACE(paths[0] + " " + paths[1] + " " + paths[2]);
        FieldClassifier engine;
        EXPECT_TRUE(RaisesExactly(
            [&] {
                *row.network ? engine.Train(paths[0], paths[1], paths[2], false)
                             : engine.AnalyzeFile(paths[1], paths[2]);
            },
            row.before + paths[row.named] + row.after));
        EXPECT_EQ(ReadFile(files.network) + ReadFile(files.samples) + ReadFile(files.input),
                  kNetwork + kSamples + "# fields\n" + kSamples);
        EXPECT_EQ(std::filesystem::exists(files.Path("o")), std::string(row.before) == "Line 4 of ");
    }
}

// A write that fails (past a file-size limit, or to a full device) fails the run with
// "Cannot write file: <name>"; it never reports success.
TEST(FileSafety, FailedWritesFailTheRun)
{
    Files files;
    FieldClassifier engine;
    rlimit saved = {};
    getrlimit(RLIMIT_FSIZE, &saved);
    const rlimit limit = {512, saved.rlim_max};
    signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails instead of ending the program
    setrlimit(RLIMIT_FSIZE, &limit);
    const Outcome train =
        test::Run([&] { engine.Train(files.network, files.samples, files.Path("t"), false); });
    setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_EQ(train.message, "Cannot write file: " + files.Path("t"));
    EXPECT_TRUE(RaisesExactly([&] { engine.AnalyzeFile(files.network, "/dev/full"); },
                              "Cannot write file: /dev/full"));
}

// Hosts may call from threads with small stacks: nothing of a run lives in a large stack buffer.
// The run reads the longest lines, and the counts before the reading take them too.
TEST(FileSafety, RunsOnAThreadWithA64KiBStack)
{
    static Files files;
    static std::string err;  // what the run wrote to standard error
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 64 * 1024);
    pthread_t thread;
    const auto run = [](void*) -> void* {
        FieldClassifier engine;
        err = test::Run([&] {
                  engine.Train(files.network, files.samples, files.Path("t"), false);
                  engine.AnalyzeFile(files.input, files.Path("e"));
              }).err;
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, nullptr), 0);
    pthread_join(thread, nullptr);
    EXPECT_EQ(err, "");
    EXPECT_NE(ReadFile(files.Path("e")).find("Accuracy"), std::string::npos);
}

}  // namespace
}  // namespace veltra::test
