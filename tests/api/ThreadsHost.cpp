// One host's job through the exports: create an engine, load a description from its file,
// classify fields, train and classify again, evaluate a batch file with the trained engine,
// destroy the engine. Run alone, the job must write the checked-in trained file and batch output
// (date line aside, CR LF read as LF). Separate engines share nothing: four threads each run the
// job twice into files of their own, and every status, answer (probabilities to the bit) and
// written file must equal those of the job alone. One engine serves one thread at a time: while
// one thread is inside a batch evaluation, every call of a second thread on that engine is
// refused with -1 and the message, and changes nothing; the evaluation writes what it writes
// alone. The ThreadSanitizer build runs it too; a race it reports fails the run. What the jobs
// print is left as it comes: threads interleave it. Prints one line per failed check; exits 1 on
// any.
// Usage: ThreadsHost <test data directory>
#include <atomic>
#include <thread>
#include <vector>

#include "HostSupport.h"
#include "Veltra.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2;

// Everything the job can be told by: statuses and answers in call order (probabilities to the
// bit), then the files it wrote.
std::string RunJob(const std::string& data, const std::string& out)
{
    // Fields of three-states.net, two of the wrong length or with an unknown value; then fields of
    // the trained network, of two tests.
    static const char* const before[] = {"a.b-c", "abab", "-b-c", "----", "ab", "abaq"};
    static const char* const after[] = {"ys", "nl", "-m", "y.s", "--", "yx", "n"};
    std::string job;
    int32_t status[5] = {};
    BayesianEngineHandle engine = nullptr;
    const auto classify = [&](const auto& fields) {
        for (const char* field : fields) job += host::Analyzed(engine, field);
    };
    status[0] = CreateBayesianEngine(&engine);
    if (!engine) return job;
    status[1] = InitializeThruFile(engine, (data + "/three-states.net").c_str());
    classify(before);
    status[2] = Train(engine, (data + "/training/network.txt").c_str(),
                      (data + "/training/samples.txt").c_str(), (out + ".net").c_str());
    classify(after);
    status[3] = AnalyzeFile(engine, (data + "/batch/input.txt").c_str(), (out + ".txt").c_str());
    status[4] = DestroyBayesianEngine(&engine);
    job.append(reinterpret_cast<const char*>(status), sizeof status);
    return job + host::Normalised(host::ReadFile(out + ".net")) + host::ReadFile(out + ".txt");
}

const char* const kRefused =
    "Engine is already in a call on another thread: one engine serves one thread at a time";

// A second thread's calls on an engine inside a batch evaluation of many lines.
void SecondCaller(const std::string& data, const veltra::test::TempDir& dir)
{
    BayesianEngineHandle engine = nullptr;
    CreateBayesianEngine(&engine);
    const std::string network = data + "/training/network.txt", samples = data + "/training/samples.txt";
    Train(engine, network.c_str(), samples.c_str(), dir.File("second.net").c_str());
    std::string lines;
    for (int i = 0; i < 50000; ++i) lines += i % 3 ? ";TESTS\ta\tys\n" : ";TESTS\tb\tn-\n";
    const std::string input = dir.Write("long.txt", lines);
    AnalyzeFile(engine, input.c_str(), dir.File("long-alone.txt").c_str());

    std::atomic<bool> inside{false}, done{false};
    int32_t evaluated = -2;
    int refused = 0, firstRefused = 0;
    std::vector<int32_t> others;
    const std::string err = host::Capture(2, [&] {
        // The second thread begins as the first calls; the first is refused, and tries again,
        // while a call of the second is inside.
        std::thread first([&] {
            inside = true;
            while ((evaluated = AnalyzeFile(engine, input.c_str(), dir.File("long-shared.txt").c_str())) !=
                       0 &&
                   firstRefused < 1000000)
                ++firstRefused;
            done = true;
        });
        while (!inside) std::this_thread::yield();
        while (!done) {
            int32_t count = 8;
            char categories[8] = {};
            double probabilities[8] = {};
            if (Analyze(engine, "ys", categories, probabilities, &count) == 0) continue;
            ++refused;
            host::Check(count == 8 && categories[0] == 0, "a refused Analyze wrote its arrays");
            if (!others.empty()) continue;
            BayesianEngineHandle same = engine;
            others = {AnalyzeFile(engine, input.c_str(), dir.File("refused.txt").c_str()),
                      Train(engine, network.c_str(), samples.c_str(), dir.File("refused.net").c_str()),
                      InitializeThruFile(engine, network.c_str()),
                      InitializeThruParam(engine, "H = X \"a\"\n"), DestroyBayesianEngine(&same)};
        }
        first.join();
    });
    host::Check(evaluated == 0 &&
                    host::ReadFile(dir.File("long-shared.txt")) == host::ReadFile(dir.File("long-alone.txt")),
                "the evaluation beside a second caller: status " + std::to_string(evaluated) +
                    ", not what it writes alone; standard error:\n" + err.substr(0, 500));
    host::Check(refused > 0, "no call of the second thread met the evaluation");
    host::Check(others == std::vector<int32_t>(5, -1), "a second caller's other calls were not all refused");
    host::Check(
        host::ReadFile(dir.File("refused.txt")).empty() && host::ReadFile(dir.File("refused.net")).empty(),
        "a refused call wrote a file");
    std::string told;
    for (int i = 0; i < refused + firstRefused + 5; ++i) told += kRefused + std::string("\n");
    host::Check(err == told, "not the message once per refused call:\n" + err.substr(0, 500));
    int32_t count = 8;
    char categories[8];
    double probabilities[8];
    host::Check(Analyze(engine, "ys", categories, probabilities, &count) == 0,
                "the engine after the evaluation");
    DestroyBayesianEngine(&engine);
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string data = argc > 1 ? argv[1] : ".";
    const veltra::test::TempDir dir;
    const std::string alone = RunJob(data, dir.File("alone"));
    std::vector<std::string> jobs(kThreads * kRounds);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; ++r)
                jobs[t * kRounds + r] = RunJob(data, dir.File(std::to_string(t * kRounds + r)));
        });
    for (std::thread& thread : threads) thread.join();

    host::Check(host::SameText(dir.File("alone.net"), data + "/training/expected-trained.txt"),
                "trained file");
    host::Check(host::SameText(dir.File("alone.txt"), data + "/batch/expected-output.txt"), "batch output");
    for (size_t j = 0; j < jobs.size(); ++j)
        host::Check(jobs[j] == alone, "job " + std::to_string(j) + ": not what the job gave alone");
    SecondCaller(data, dir);
    std::printf("ThreadsHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
