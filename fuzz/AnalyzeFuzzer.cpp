// Analyze through the export, on a fixed network of three states and three tests. The first byte
// of the input picks the capacity (-7 to 7); the rest, cut at newlines, is the test results of up
// to 64 fields, classified in turn by one engine and then all again, when its caches answer.
// Besides the contract of every export: the status is what the results call for (0 for one
// known value or "-" per test, full stops aside, -1 otherwise), a success ranks the three states
// with probabilities in [0, 1] summing to 1 (or all 0, when some value is impossible in every
// state), and the second round answers exactly as the first.
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"

using namespace veltra::fuzz;

namespace {

// T3's "z" has probability 0 in every state: results holding it give every state 0.
const char* const kNetwork =
    "H = Category \"a,b,c\"\n"
    "T1 = Has digits \"y,n\"\n"
    "T2 = Length class \"s,m,l\"\n"
    "T3 = Case \"u,v,z\"\n"
    "P(H=a) = 0.5\nP(H=b) = 0.3\nP(H=c) = 0.2\n"
    "P(T1=y|H=a) = 0.9\nP(T1=n|H=a) = 0.1\nP(T1=y|H=b) = 0.5\nP(T1=n|H=b) = 0.5\n"
    "P(T1=y|H=c) = 0\nP(T1=n|H=c) = 1\n"
    "P(T2=s|H=a) = 0.2\nP(T2=m|H=a) = 0.3\nP(T2=l|H=a) = 0.5\n"
    "P(T2=s|H=b) = 0.6\nP(T2=m|H=b) = 0.3\nP(T2=l|H=b) = 0.1\n"
    "P(T2=s|H=c) = 0.3\nP(T2=m|H=c) = 0.3\nP(T2=l|H=c) = 0.4\n"
    "P(T3=u|H=a) = 0.5\nP(T3=v|H=a) = 0.5\nP(T3=z|H=a) = 0\n"
    "P(T3=u|H=b) = 0.9\nP(T3=v|H=b) = 0.1\nP(T3=z|H=b) = 0\n"
    "P(T3=u|H=c) = 0.25\nP(T3=v|H=c) = 0.75\nP(T3=z|H=c) = 0\n";
const char* const kValues[] = {"yn", "sml", "uvz"};
constexpr int32_t kStates = 3;
constexpr size_t kSlots = 8;
constexpr size_t kMaxFields = 64;

// Whether the results, as Analyze sees them (up to a zero byte, full stops removed), hold one
// known value or "-" for each test.
bool Classifiable(const std::string& field, bool* impossible)
{
    std::string results = field.substr(0, field.find('\0'));
    std::string cleaned;
    for (char c : results)
        if (c != '.') cleaned += c;
    if (cleaned.size() != 3) return false;
    for (size_t t = 0; t < 3; ++t)
        if (cleaned[t] != '-' && !std::strchr(kValues[t], cleaned[t])) return false;
    *impossible = cleaned[2] == 'z';
    return true;
}

void CheckRanking(const Answer& a, bool impossible)
{
    if (a.count != kStates) Fail("Analyze: three states expected");
    double sum = 0;
    std::string seen;
    for (int32_t i = 0; i < a.count; ++i) {
        const double p = a.probabilities[static_cast<size_t>(i)];
        if (!(p >= 0.0 && p <= 1.0)) Fail("Analyze: probability outside [0, 1]");
        if (i > 0 && p > a.probabilities[static_cast<size_t>(i) - 1])
            Fail("Analyze: not most probable first");
        seen += a.categories[static_cast<size_t>(i)];
        sum += p;
    }
    if (!(seen.find('a') != std::string::npos && seen.find('b') != std::string::npos &&
          seen.find('c') != std::string::npos))
        Fail("Analyze: every state once expected, got " + seen);
    if (impossible ? sum != 0.0 : std::fabs(sum - 1.0) > 1e-9)
        Fail("Analyze: probabilities sum to " + std::to_string(sum));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > kMaxInput) return 0;
    const int32_t capacity = static_cast<int8_t>(data[0]) % 8;
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::vector<std::string> fields(1);
    for (char c : input) {
        if (c != '\n')
            fields.back() += c;
        else if (fields.size() < kMaxFields)
            fields.emplace_back();
        else
            break;
    }

    BayesianEngineHandle engine = nullptr;
    if (CreateBayesianEngine(&engine) != 0 || !engine) Fail("CreateBayesianEngine failed");
    CheckStatus("InitializeThruParam", Capture([&] { return InitializeThruParam(engine, kNetwork); }), input);
    std::vector<Answer> first;
    for (const std::string& field : fields) {
        Answer a = AnalyzeChecked(engine, field, capacity, kSlots, kStates, input);
        bool impossible = false;
        const bool classifiable = Classifiable(field, &impossible);
        if (capacity >= kStates && (a.outcome.status == 0) != classifiable)
            Fail(std::string("Analyze: ") + (classifiable ? "-1 for good results" : "0 for bad results"));
        if (a.outcome.status == 0) CheckRanking(a, impossible);
        first.push_back(a);
    }
    for (size_t i = 0; i < fields.size(); ++i)
        if (!(AnalyzeChecked(engine, fields[i], capacity, kSlots, kStates, input) == first[i]))
            Fail("Analyze: a field asked again answered otherwise");
    DestroyBayesianEngine(&engine);
    return 0;
}
