// Drives the exports of the built library as a host application does: create, initialise from
// text and from a file, classify, destroy, through success and failure paths, with the exact text
// each failure leaves on standard error. Prints one line per failed check; exits 1 on any.
// Usage: ExportHost <test data directory>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Veltra.h"

#if defined(_WIN32)
#include <io.h>
#define VELTRA_POSIX(name) _##name
#else
#include <unistd.h>
#define VELTRA_POSIX(name) name
#endif

extern "C" int32_t VeltraCreateAndDestroyFromC(void);  // HeaderIsC.c

namespace {

namespace fs = std::filesystem;

int g_failures = 0;
fs::path g_stderrFile;

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

struct Call {
    int32_t status;
    std::string err;
};

// Runs one export with file descriptor 2 redirected into a file: its status and what it wrote to
// standard error.
template <class Export>
Call Capture(Export&& call)
{
    std::fflush(stderr);
    int saved = VELTRA_POSIX(dup)(2);
    std::FILE* sink = std::fopen(g_stderrFile.string().c_str(), "wb");
    if (saved < 0 || !sink) std::exit(3);
    VELTRA_POSIX(dup2)(VELTRA_POSIX(fileno)(sink), 2);
    int32_t status = call();
    std::fflush(stderr);
    VELTRA_POSIX(dup2)(saved, 2);
    VELTRA_POSIX(close)(saved);
    std::fclose(sink);
    return {status, ReadFile(g_stderrFile)};
}

void Expect(const Call& call, int32_t status, const std::string& err, const std::string& what)
{
    Check(call.status == status, what + ": status " + std::to_string(call.status));
    Check(call.err == err, what + ": standard error [" + call.err + "], expected [" + err + "]");
}

// Analyze into arrays of `capacity` entries filled with '#' and -1 beforehand.
struct Answer {
    Call call;
    int32_t count;
    std::string categories;
    std::vector<double> probabilities;
};

Answer AnalyzeInto(BayesianEngineHandle engine, const char* results, int32_t capacity)
{
    Answer answer{{},
                  capacity,
                  std::string(static_cast<size_t>(capacity), '#'),
                  std::vector<double>(static_cast<size_t>(capacity), -1.0)};
    answer.call = Capture([&] {
        return Analyze(engine, results, &answer.categories[0], &answer.probabilities[0], &answer.count);
    });
    return answer;
}

// "a.b-c" on the three-state network: x, z, y with products 0.224, 0.025 and 0.006.
void CheckTypical(const Answer& answer, const std::string& what)
{
    const double expected[] = {0.224 / 0.255, 0.025 / 0.255, 0.006 / 0.255, -1.0};
    Expect(answer.call, 0, "", what);
    Check(answer.count == 3, what + ": count " + std::to_string(answer.count));
    Check(answer.categories == "xzy#", what + ": categories " + answer.categories);
    for (size_t i = 0; i < 4; ++i)
        Check(std::fabs(answer.probabilities[i] - expected[i]) < 1e-12,
              what + ": probability " + std::to_string(i));
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string network = argc > 1 ? ReadFile(fs::path(argv[1]) / "three-states.net") : "";
    if (network.empty()) {
        std::printf("FAILED: reading three-states.net from the test data directory (first argument)\n");
        return 1;
    }
    const fs::path dir =
        fs::temp_directory_path() / ("veltra-export-" + std::to_string(std::random_device()()));
    fs::create_directories(dir);
    g_stderrFile = dir / "stderr.txt";

    BayesianEngineHandle engine = nullptr;
    Expect(Capture([&] { return CreateBayesianEngine(&engine); }), 0, "", "create");
    Check(engine != nullptr, "create stores a handle");
    Answer early = AnalyzeInto(engine, "a.b-c", 3);
    Expect(early.call, -1, "Network has not been initialized yet\n", "analyze before initialisation");
    Check(early.count == 3 && early.categories == "###", "analyze before initialisation writes nothing");

    // Rejected null arguments: -1 at once and nothing written.
    const char* text = network.c_str();
    char c = '#';
    double p = -1;
    int32_t n = 1;
    auto rejected = [](auto call, const char* what) { Expect(Capture(call), -1, "", what); };
    rejected([&] { return InitializeThruParam(nullptr, text); }, "text, null handle");
    rejected([&] { return InitializeThruParam(engine, nullptr); }, "text, null text");
    rejected([&] { return InitializeThruFile(nullptr, "x"); }, "file, null handle");
    rejected([&] { return InitializeThruFile(engine, nullptr); }, "file, null path");
    rejected([&] { return Analyze(nullptr, "abac", &c, &p, &n); }, "analyze, null handle");
    rejected([&] { return Analyze(engine, nullptr, &c, &p, &n); }, "analyze, null results");
    rejected([&] { return Analyze(engine, "abac", nullptr, &p, &n); }, "analyze, null categories");
    rejected([&] { return Analyze(engine, "abac", &c, nullptr, &n); }, "analyze, null probabilities");
    rejected([&] { return Analyze(engine, "abac", &c, &p, nullptr); }, "analyze, null count");
    Check(n == 1 && c == '#' && p == -1, "rejected calls write nothing");

    // The typical request, then too small a capacity: -1 and nothing written, count included.
    Expect(Capture([&] { return InitializeThruParam(engine, text); }), 0, "", "initialise from text");
    CheckTypical(AnalyzeInto(engine, "a.b-c", 4), "analyze a.b-c");
    Answer small = AnalyzeInto(engine, "a.b-c", 2);
    Expect(small.call, -1, "", "analyze with capacity 2");
    Check(small.count == 2 && small.categories == "##" && small.probabilities == std::vector<double>(2, -1.0),
          "analyze with capacity 2 writes nothing");
    Expect(AnalyzeInto(engine, "ab", 3).call, -1, "Expected 4 test results but got 2. Test results:\nab\n",
           "analyze with two results");

    // A second engine: a missing file, then the file with CR LF and no final newline.
    BayesianEngineHandle second = nullptr;
    Expect(Capture([&] { return CreateBayesianEngine(&second); }), 0, "", "create the second engine");
    const std::string missing = (dir / "missing.net").string();
    Expect(Capture([&] { return InitializeThruFile(second, missing.c_str()); }), -1,
           "Cannot open file: " + missing + "\n", "initialise from a missing file");
    std::string crlf;
    for (char ch : network) crlf += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
    const std::string path = (dir / "three states.net").string();
    std::ofstream(path, std::ios::binary) << crlf.substr(0, crlf.size() - 2);
    Expect(Capture([&] { return InitializeThruFile(second, path.c_str()); }), 0, "",
           "initialise from a file");
    CheckTypical(AnalyzeInto(second, "a.b-c", 4), "analyze a.b-c on the engine from the file");

    // Destroy leaves the variable as it was; a variable holding null is accepted.
    const BayesianEngineHandle old = second;
    Expect(Capture([&] { return DestroyBayesianEngine(&second); }), 0, "", "destroy");
    Check(second == old, "destroy keeps the handle variable");
    Expect(Capture([&] { return DestroyBayesianEngine(&engine); }), 0, "", "destroy the first engine");
    BayesianEngineHandle none = nullptr;
    Expect(Capture([&] { return DestroyBayesianEngine(&none); }), 0, "", "destroy a null handle");
    Expect(Capture([] { return VeltraCreateAndDestroyFromC(); }), 0, "", "create and destroy from C");

    std::error_code ignored;
    fs::remove_all(dir, ignored);
    std::printf("ExportHost: %d failed check%s\n", g_failures, g_failures == 1 ? "" : "s");
    return g_failures == 0 ? 0 : 1;
}
