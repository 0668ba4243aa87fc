// Separate engines share nothing: four threads each run, twice, the job of one host (create an
// engine, load a description from its file, classify a set of fields, train and classify again,
// evaluate a batch file, destroy the engine) into files of their own, and every status, answer
// (probabilities to the bit) and written file (the date line of a trained file aside) must equal
// those of the same job run alone first. The ThreadSanitizer build runs it too, reporting into
// the captured standard error, which is shown when it holds more than the refused fields.
// Usage: ThreadsHost <test data directory>
#include <cstring>
#include <thread>
#include <vector>

#include "HostSupport.h"
#include "Veltra.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2;

// Everything a job can be told by: statuses and answers in call order, and the files it wrote.
struct Job {
    std::string answers;
    std::string trained;
    std::string evaluated;
    bool operator==(const Job& o) const
    {
        return answers == o.answers && trained == o.trained && evaluated == o.evaluated;
    }
};

// Every result string over `values` (one string of choices per test), and `extra` ones.
std::vector<std::string> Fields(const std::vector<std::string>& values, const std::vector<std::string>& extra)
{
    std::vector<std::string> fields(1);
    for (const std::string& choices : values) {
        std::vector<std::string> longer;
        for (const std::string& field : fields)
            for (char c : choices) longer.push_back(field + c);
        fields.swap(longer);
    }
    fields.insert(fields.end(), extra.begin(), extra.end());
    return fields;
}

void Append(std::string& bytes, const void* data, size_t size)
{
    bytes.append(static_cast<const char*>(data), size);
}

void Classify(BayesianEngineHandle engine, const std::vector<std::string>& fields, std::string& answers)
{
    for (const std::string& field : fields) {
        char categories[8] = {};
        double probabilities[8] = {};
        int32_t count = 8;
        const int32_t status = Analyze(engine, field.c_str(), categories, probabilities, &count);
        Append(answers, &status, sizeof status);
        Append(answers, &count, sizeof count);
        Append(answers, categories, sizeof categories);
        Append(answers, probabilities, sizeof probabilities);
    }
}

std::string WithoutDate(std::string text)
{
    const size_t date = text.find("# Date of training: ");
    return date == std::string::npos ? text : text.erase(date, text.find('\n', date) - date);
}

Job RunJob(const std::string& data, const std::string& out)
{
    // Three-states fields, some of the wrong length or with unknown values; then fields of the
    // trained network of two tests.
    static const std::vector<std::string> before = Fields({"a-", "b-", "a-", "bc-"}, {"a.b-c", "ab", "abaq"});
    static const std::vector<std::string> after = Fields({"yn-", "sml-"}, {"y.s", "yx", "n"});
    Job job;
    int32_t status[5] = {};
    BayesianEngineHandle engine = nullptr;
    status[0] = CreateBayesianEngine(&engine);
    if (!engine) return job;
    status[1] = InitializeThruFile(engine, (data + "/three-states.net").c_str());
    Classify(engine, before, job.answers);
    status[2] = Train(engine, (data + "/training/network.txt").c_str(),
                      (data + "/training/samples.txt").c_str(), (out + ".net").c_str());
    Classify(engine, after, job.answers);
    status[3] = AnalyzeFile(engine, (data + "/batch/input.txt").c_str(), (out + ".txt").c_str());
    status[4] = DestroyBayesianEngine(&engine);
    Append(job.answers, status, sizeof status);
    job.trained = WithoutDate(host::ReadFile(out + ".net"));
    job.evaluated = host::ReadFile(out + ".txt");
    return job;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string data = argc > 1 ? argv[1] : ".";
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("veltra-threads-" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(dir);

    // Progress and accuracy go to standard output, the messages of the refused fields to standard
    // error: both are only counted, since threads interleave them.
    Job alone;
    std::string aloneErr, threadsErr;
    std::vector<Job> jobs(kThreads * kRounds);
    host::CaptureDescriptor(1, [&] {
        aloneErr = host::CaptureStderr([&] { alone = RunJob(data, (dir / "alone").string()); });
        threadsErr = host::CaptureStderr([&] {
            std::vector<std::thread> threads;
            for (int t = 0; t < kThreads; ++t)
                threads.emplace_back([&, t] {
                    for (int r = 0; r < kRounds; ++r)
                        jobs[t * kRounds + r] = RunJob(
                            data, (dir / ("thread" + std::to_string(t) + "-" + std::to_string(r))).string());
                });
            for (std::thread& thread : threads) thread.join();
        });
    });

    host::Check(alone.trained.find("P(Len=l|H=c)") != std::string::npos, "the job alone trains");
    host::Check(alone.evaluated.find(";Accuracy: ") != std::string::npos, "the job alone evaluates");
    host::Check(!aloneErr.empty(), "the refused fields are explained");
    for (size_t j = 0; j < jobs.size(); ++j)
        host::Check(jobs[j] == alone, "thread " + std::to_string(j / kRounds) + ", round " +
                                          std::to_string(j % kRounds) + ": not what the job gave alone");
    // Anything else there, such as a ThreadSanitizer report, is shown.
    host::Check(threadsErr.size() == jobs.size() * aloneErr.size(),
                "standard error of the threads, besides their refused fields:\n" + threadsErr);
    std::filesystem::remove_all(dir);
    std::printf("ThreadsHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
