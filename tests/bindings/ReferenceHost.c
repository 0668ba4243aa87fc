/* The C API's answers, for the binding tests to compare with: loads NETWORK with
 * InitializeThruFile and classifies each line of standard input, printing the line, then for each
 * entry a tab, the state character, a tab and the probability's 64 bits in hexadecimal. A line
 * that does not classify prints the line, a tab and "Analyze", the call that failed.
 * Usage: ReferenceHost NETWORK < RESULTS */
#include <Veltra.h>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv)
{
    /* More states than any test network has. */
    static char categories[4096], line[65536];
    static double probabilities[4096];
    BayesianEngineHandle engine = NULL;

    if (argc != 2 || CreateBayesianEngine(&engine) != 0 || InitializeThruFile(engine, argv[1]) != 0) return 2;
    while (fgets(line, sizeof line, stdin)) {
        int32_t count = 4096, i;
        line[strcspn(line, "\r\n")] = '\0';
        fputs(line, stdout);
        if (Analyze(engine, line, categories, probabilities, &count) != 0) count = -1;
        for (i = 0; i < count; ++i) {
            uint64_t bits;
            memcpy(&bits, &probabilities[i], sizeof bits);
            printf("\t%c\t%016" PRIx64, categories[i], bits);
        }
        puts(count < 0 ? "\tAnalyze" : "");
    }
    return DestroyBayesianEngine(&engine) == 0 ? 0 : 2;
}
