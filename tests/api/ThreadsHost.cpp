// One host's job through the exports: create an engine, load a description from its file,
// classify fields, train and classify again, evaluate a batch file with the trained engine,
// destroy the engine. Run alone, the job must write the checked-in trained file and batch output
// (date line aside, CR LF read as LF). Separate engines share nothing: four threads each run the
// job twice into files of their own, and every status, answer (probabilities to the bit) and
// written file must equal those of the job alone. The ThreadSanitizer build runs it too; a race
// it reports fails the run. What the jobs print is left as it comes: threads interleave it.
// Prints one line per failed check; exits 1 on any.
// Usage: ThreadsHost <test data directory>
#include <thread>
#include <vector>

#include "HostSupport.h"
#include "Veltra.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2;

// Everything the job can be told by: statuses and answers in call order (probabilities as their
// bytes), then the files it wrote.
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
        for (const char* field : fields) {
            struct {
                int32_t status, count = 8;
                char categories[8] = {};
                double probabilities[8] = {};
            } answer;
            answer.status = Analyze(engine, field, answer.categories, answer.probabilities, &answer.count);
            job.append(reinterpret_cast<const char*>(&answer), sizeof answer);
        }
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
    std::printf("ThreadsHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
