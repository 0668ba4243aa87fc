// What training and batch evaluation do with files a careless host hands them: files that cannot
// be opened, an output that is an input, files that cannot be read twice, zero bytes and
// over-long lines, a disk that fills, and a host thread with a small stack. (CR LF line ends: the
// golden runs read them too.)
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>

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
        {"n", "s", "/dev/full", kOutputFile, "Cannot write file: ", ""},
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

// What becomes of an earlier output (kept through a link, or not, with its permissions): a run
// that ends replaces it whole with what a run into a new file writes; a run stopped at a bad line
// leaves its partial file in its place, as runs always have; a write that fails (past a
// file-size limit) keeps it through its link, byte for byte. No temporary is left beside it. (The
// limit without a link, and a full disk: interruption_test.sh, through real processes.)
TEST(FileSafety, EarlierOutputsAreReplacedWholeOrKept)
{
    const struct {
        bool train;  // or a batch evaluation of the input
        const char* input;
        bool link;         // the output is a symbolic link to the earlier file
        rlim_t limit;      // a file-size limit for the run, or 0
        const char* left;  // "": what a run into a new file writes; else the message, the earlier file kept
    } rows[] = {
        {true, "s", false, 0, ""},    {true, "s", true, 0, ""},
        {true, "bad", false, 0, ""},  {true, "s", true, 850, "Cannot write file: "},
        {false, "in", false, 0, ""},  {false, "in", true, 0, ""},
        {false, "bad", false, 0, ""},
    };
    signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails instead of ending the program
    for (const auto& row : rows) {
        Files files;
        files.dir.Write("bad", "# stops at line 3\n;TESTS\ta\tys\n;TESTS\ta\tyss\n;TESTS\tb\tnm\n");
        const std::string earlier = files.dir.Write("earlier", "an earlier output\n");
        ::chmod(earlier.c_str(), 0640);
        const std::string output = row.link ? files.Path("o") : earlier;
        if (row.link) std::filesystem::create_symlink("earlier", output);
        SCOPED_TRACE(std::string(row.train ? "Train " : "AnalyzeFile ") + row.input + " -> " + output);
        FieldClassifier engine;
        const auto run = [&](const std::string& to, rlim_t limit) {
            if (!row.train)
                test::Run([&] { engine.Train(files.network, files.samples, files.Path("t"), false); });
            rlimit saved = {};
            getrlimit(RLIMIT_FSIZE, &saved);
            const rlimit limited = {limit ? limit : saved.rlim_cur, saved.rlim_max};
            setrlimit(RLIMIT_FSIZE, &limited);
            const Outcome outcome = test::Run([&] {
                row.train ? engine.Train(files.network, files.Path(row.input), to, false)
                          : engine.AnalyzeFile(files.Path(row.input), to);
            });
            setrlimit(RLIMIT_FSIZE, &saved);
            return outcome;
        };
        const Outcome fresh = run(files.Path("fresh"), 0);
        const Outcome outcome = run(output, row.limit);
        if (*row.left) {
            EXPECT_EQ(outcome.err, row.left + output + "\n");
            EXPECT_EQ(ReadFile(earlier), "an earlier output\n");
        } else {
            EXPECT_EQ(outcome.err, fresh.err);
            EXPECT_EQ(Undated(ReadFile(earlier)), Undated(ReadFile(files.Path("fresh"))));
        }
        struct stat status = {};
        EXPECT_EQ(::stat(earlier.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0640u);
        EXPECT_EQ(std::filesystem::is_symlink(output), row.link);
        for (const auto& entry : std::filesystem::directory_iterator(files.dir.File("")))
            EXPECT_EQ(entry.path().extension(), "") << entry.path();
    }
}

// Where the output may be written but nothing may be created beside it (a directory the user may
// not write), the earlier file is kept as it is rather than rewritten in place. Run by a child
// process as an unprivileged user when the tests run as root.
TEST(FileSafety, AnOutputThatCannotBeReplacedIsKept)
{
    Files files;
    const std::string directory = files.dir.File("locked"), output = directory + "/o";
    std::filesystem::create_directory(directory);
    files.dir.Write("locked/o", "an earlier output\n");
    ::chmod(output.c_str(), 0666);
    ::chmod(directory.c_str(), 0555);
    const pid_t child = ::fork();
    if (child == 0) {
        if (::getuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(2);
        FieldClassifier engine;
        const bool refused = RaisesExactly([&] { engine.Train(files.network, files.samples, output, false); },
                                           "Cannot create a temporary file for: " + output);
        ::_exit(refused ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    ::chmod(directory.c_str(), 0755);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(ReadFile(output), "an earlier output\n");
}

// Counts, line numbers and the lines of a run stop before they would pass 2^31-1 (a count wraps
// to a negative number there): the run fails naming the file and the line. An engine derived for
// the test starts a count near the limit: its sample line "near samples" sets the sample count to
// 2^31-2, and it reads count lines among the samples. Both ways of counting refuse alike.
class NearLimitEngine : public FieldClassifier {
public:
    void ProcessSampleLine(String line, int32_t* sampleListCount) override
    {
        if (line == "near samples")
            m_totalSampleCount = INT32_MAX - 1;
        else if (line.StartsWith("C("))
            ReadCountLine(line);
        else
            FieldClassifier::ProcessSampleLine(line, sampleListCount);
    }
};

TEST(FileSafety, CountsStopBeforeTheyWrap)
{
    const struct {
        const char* samples;
        const char* message;  // after "The ", before "would pass 2147483647 at line <n> of <samples>"
        int line;
    } rows[] = {
        {"near samples\n;TESTS\tab\tys\n;TESTS\ta\tys\n", "sample count ", 2},
        {"# counts\nC(H=a) = 2147483646\n;TESTS\ta\tys\n;TESTS\tba\tn-\n", "count of H=a ", 4},
        {"C(Dig=y|H=a) = 2147483647\n;TESTS\ta\tn-\n;TESTS\ta\tym\n", "count of Dig=y|H=a ", 3},
    };
    for (const auto& row : rows)
        for (const bool fast : {true, false}) {
            Files files;
            const std::string samples = files.dir.Write("near", row.samples);
            NearLimitEngine engine;
            engine.SetFastPath(fast);
            EXPECT_TRUE(RaisesExactly([&] { engine.Train(files.network, samples, files.Path("o"), false); },
                                      std::string("The ") + row.message + "would pass 2147483647 at line " +
                                          std::to_string(row.line) + " of " + samples))
                << row.samples << " fast " << fast;
        }
    // A file of more lines than a run counts: its newlines are counted first, and a line number
    // past the limit is never read.
    std::istringstream lines("one\ntwo\n");
    EXPECT_TRUE(RaisesExactly([&] { CountNewlines(lines, "f", INT32_MAX - 2); },
                              "The line count would pass 2147483647 at line 2147483648 of f"));
    String line;
    EXPECT_TRUE(RaisesExactly([&] { String::ReadLine(lines, line, "f", int64_t{INT32_MAX} + 1); },
                              "The line count would pass 2147483647 at line 2147483648 of f"));
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
