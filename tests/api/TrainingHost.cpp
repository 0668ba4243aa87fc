// Trains through the exports and evaluates a batch file with the trained engine; both written files
// must equal the checked-in ones (date line ignored, CR LF read as LF, so Linux and Windows agree).
// Null file names fail to open. Prints one line per failed check; exits 1 on any.
// Usage: TrainingHost <test data directory>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "Veltra.h"

#if defined(_WIN32)
#include <io.h>
#define VELTRA_DUP _dup
#define VELTRA_DUP2 _dup2
#define VELTRA_CLOSE _close
#define VELTRA_FILENO _fileno
#else
#include <unistd.h>
#define VELTRA_DUP dup
#define VELTRA_DUP2 dup2
#define VELTRA_CLOSE close
#define VELTRA_FILENO fileno
#endif

namespace {

namespace fs = std::filesystem;

int g_failures = 0;

void Check(bool ok, const std::string& what)
{
    if (ok) return;
    std::printf("FAILED: %s\n", what.c_str());
    ++g_failures;
}

std::string ReadFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// CR LF as LF, and the text of the date line dropped.
std::string Normalised(const std::string& text)
{
    std::string result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.rfind("# Date of training: ", 0) == 0) line = "# Date of training: ";
        result += line + "\n";
    }
    return result;
}

void CompareFiles(const fs::path& written, const fs::path& expected)
{
    std::string got = Normalised(ReadFile(written));
    std::string want = Normalised(ReadFile(expected));
    Check(got == want, written.filename().string() + " differs from " + expected.string());
}

struct Call {
    int32_t status;
    std::string err;
};

// Runs one export with file descriptor 2 redirected into `file`.
template <class Export>
Call Capture(const fs::path& file, Export&& call)
{
    std::fflush(stderr);
    int saved = VELTRA_DUP(2);
    std::FILE* sink = std::fopen(file.string().c_str(), "wb");
    if (saved < 0 || !sink) {
        Check(false, "redirecting standard error");
        return {call(), ""};
    }
    VELTRA_DUP2(VELTRA_FILENO(sink), 2);
    int32_t status = call();
    std::fflush(stderr);
    VELTRA_DUP2(saved, 2);
    VELTRA_CLOSE(saved);
    std::fclose(sink);
    return {status, ReadFile(file)};
}

void Expect(const Call& call, int32_t status, const std::string& err, const std::string& what)
{
    Check(call.status == status, what + ": status " + std::to_string(call.status));
    Check(Normalised(call.err) == Normalised(err),
          what + ": standard error [" + call.err + "], expected [" + err + "]");
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return 2;  // usage: TrainingHost <test data directory>
    const fs::path data = argv[1];
    const fs::path dir =
        fs::temp_directory_path() / ("veltra-training-" + std::to_string(std::random_device()()));
    fs::create_directories(dir);
    const fs::path err = dir / "stderr.txt";
    const std::string trained = (dir / "trained.txt").string(), batch = (dir / "batch.txt").string();
    const std::string network = (data / "training" / "network.txt").string();
    const std::string samples = (data / "training" / "samples.txt").string();
    const std::string input = (data / "batch" / "input.txt").string();

    BayesianEngineHandle engine = nullptr;
    Expect(Capture(err, [&] { return CreateBayesianEngine(&engine); }), 0, "", "create");

    // Training reloads the engine from the file it wrote; the batch runs on that network.
    Expect(Capture(err, [&] { return Train(engine, network.c_str(), samples.c_str(), trained.c_str()); }), 0,
           "", "train");
    CompareFiles(trained, data / "training" / "expected-trained.txt");
    Expect(Capture(err, [&] { return AnalyzeFile(engine, input.c_str(), batch.c_str()); }), 0, "",
           "analyze file");
    CompareFiles(batch, data / "batch" / "expected-output.txt");

    // Null file names are empty names, which cannot be opened.
    Expect(Capture(err, [&] { return Train(engine, nullptr, nullptr, nullptr); }), -1, "Cannot open file: \n",
           "train with null names");
    Expect(Capture(err, [&] { return AnalyzeFile(engine, nullptr, nullptr); }), -1, "Cannot open file: \n",
           "analyze file with null names");

    Check(DestroyBayesianEngine(&engine) == 0, "destroy");
    std::error_code ignored;
    fs::remove_all(dir, ignored);
    std::printf("\n%s: %d failed checks\n", g_failures ? "FAILED" : "OK", g_failures);
    return g_failures ? 1 : 0;
}
