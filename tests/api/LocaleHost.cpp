// A host that sets a locale with a decimal comma, as hosts in much of Europe run: the library must
// read and write every number as in the "C" locale all the same. One job runs twice in this
// process, first in the "C" locale, then with the given locale set for C (setlocale) and, where
// the runtime has it, for C++ (the global locale and the standard streams): load a description
// from a file and from memory, classify, refuse a description whose probabilities do not sum to
// 1, train, classify again and evaluate a batch file of over a thousand lines. Both runs must give
// the same bytes: statuses, answers (probabilities to the bit), standard output and error, and
// the written files (date line aside). Exits 77, skipped, when the locale cannot be set; 1 on any
// failed check.
// Usage: LocaleHost <test data directory> <locale name>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <locale>

#include "HostSupport.h"
#include "Veltra.h"

namespace {

// Priors summing to 0.9: refused, the sum in the message.
const char* const kBadSums = "H = Kind \"x,y\"\nT = t \"a,b\"\nP(H=x) = 0.25\nP(H=y) = 0.65\n";

std::string Answers(BayesianEngineHandle engine, std::initializer_list<const char*> fields)
{
    std::string text;
    for (const char* field : fields) text += host::Analyzed(engine, field);
    return text;
}

std::string Job(const std::string& data, const std::string& name)
{
    const std::string trained = host::Scratch().File(name + ".net"),
                      judged = host::Scratch().File(name + ".txt");
    std::string lines = "# over a thousand lines: counters of four digits\n";
    for (int i = 0; i < 1200; ++i) lines += i % 2 ? ";TESTS\ta\ty.s\n" : ";TESTS\tbc\tn-\n";
    const std::string input = host::Scratch().Write("batch.txt", lines);
    const std::string description = host::ReadFile(data + "/three-states.net");
    std::string job;
    const auto [out, err] = host::Printed([&] {
        BayesianEngineHandle engine = nullptr;
        job += std::to_string(CreateBayesianEngine(&engine));
        job += std::to_string(InitializeThruFile(engine, (data + "/three-states.net").c_str()));
        job += Answers(engine, {"a.b-c", "abab", "-b-c"});
        job += std::to_string(InitializeThruParam(engine, description.c_str()));
        job += std::to_string(InitializeThruParam(engine, kBadSums));
        job += std::to_string(Train(engine, (data + "/training/network.txt").c_str(),
                                    (data + "/training/samples.txt").c_str(), trained.c_str()));
        job += Answers(engine, {"ys", "nl", "-m"});
        job += std::to_string(AnalyzeFile(engine, input.c_str(), judged.c_str()));
        job += std::to_string(DestroyBayesianEngine(&engine));
    });
    return job + "\n[out]\n" + out + "\n[err]\n" + err + "\n[trained]\n" +
           host::Normalised(host::ReadFile(trained)) + "\n[judged]\n" + host::ReadFile(judged);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::printf("Usage: LocaleHost <test data directory> <locale name>\n");
        return 1;
    }
    const std::string data = argv[1];
    const std::string inC = Job(data, "c");
    if (!std::setlocale(LC_ALL, argv[2]) || std::strcmp(std::localeconv()->decimal_point, ",") != 0) {
        std::printf("LocaleHost: skipped: no locale %s with a decimal comma on this machine\n", argv[2]);
        return 77;
    }
    // The runtime reads "0.25" as 0 now, as the library would with atof.
    host::Check(std::atof("0.25") == 0.0, "the locale does not change atof");
#if !defined(_WIN32)
    // libstdc++ knows named locales only with glibc: elsewhere the C locale alone is set.
    std::locale::global(std::locale(argv[2]));
    std::cout.imbue(std::locale());
    std::cerr.imbue(std::locale());
#endif
    const std::string withComma = Job(data, "comma");
    host::Check(withComma == inC, std::string("under ") + argv[2] + ", the job gave\n" + withComma +
                                      "\ninstead of, in the C locale,\n" + inC);
    std::setlocale(LC_ALL, "C");
    std::printf("LocaleHost: %d failed checks\n", host::g_failures);
    return host::g_failures == 0 ? 0 : 1;
}
