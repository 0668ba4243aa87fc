// Trains through the exports, then evaluates a batch file with the trained engine; both written
// files must equal the checked-in ones (date line ignored, CR LF read as LF). Null file names
// cannot be opened. Prints one line per failed check; exits 1 on any.
// Usage: TrainingHost <test data directory>
#include <algorithm>
#include <string>

#include "HostSupport.h"
#include "Veltra.h"

namespace {

// CR LF read as LF, and the date line emptied.
std::string Normalised(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    const size_t date = text.find("# Date of training: ");
    return date == std::string::npos ? text : text.erase(date, text.find('\n', date) - date);
}

// The export call, named by its own text, must return `status` and write exactly `err`.
#define EXPECT_RUN(status, err, call) host::Expect(#call, status, err, [&] { return call; })

void ExpectSameFile(const std::string& written, const std::string& expected)
{
    host::Check(Normalised(host::ReadFile(written)) == Normalised(host::ReadFile(expected)), expected);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return 2;
    std::filesystem::current_path(argv[1]);  // the test data directory
    const std::string out = (std::filesystem::temp_directory_path() / "veltra-").string() +
                            std::to_string(std::random_device()());
    BayesianEngineHandle engine = nullptr;
    EXPECT_RUN(0, "", CreateBayesianEngine(&engine));
    EXPECT_RUN(0, "", Train(engine, "training/network.txt", "training/samples.txt", (out + ".net").c_str()));
    ExpectSameFile(out + ".net", "training/expected-trained.txt");
    EXPECT_RUN(0, "", AnalyzeFile(engine, "batch/input.txt", (out + ".txt").c_str()));
    ExpectSameFile(out + ".txt", "batch/expected-output.txt");
    EXPECT_RUN(-1, "Cannot open file: \n", Train(engine, nullptr, nullptr, nullptr));
    EXPECT_RUN(-1, "Cannot open file: \n", AnalyzeFile(engine, nullptr, nullptr));
    EXPECT_RUN(0, "", DestroyBayesianEngine(&engine));
    for (const char* end : {".net", ".txt"}) std::remove((out + end).c_str());
    std::printf("\n%s: %d failed checks\n", host::g_failures ? "FAILED" : "OK", host::g_failures);
    return host::g_failures ? 1 : 0;
}
