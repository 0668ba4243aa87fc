/* The C API's answers, for the binding tests to compare with: loads NETWORK with
 * InitializeThruFile and classifies each line of standard input, printing the line, then for each
 * entry a tab, the state character, a tab and the probability's 64 bits in hexadecimal. A line
 * that does not classify prints the line and "\t-1".
 * Usage: ReferenceHost NETWORK < RESULTS */
#include <Veltra.h>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

/* More than any test network has states. */
#define kCapacity 4096

int main(int argc, char** argv)
{
    static char categories[kCapacity];
    static double probabilities[kCapacity];
    static char line[65536];
    BayesianEngineHandle engine = NULL;
    int status = 0;

    if (argc != 2 || CreateBayesianEngine(&engine) != 0) return 2;
    if (InitializeThruFile(engine, argv[1]) != 0) {
        DestroyBayesianEngine(&engine);
        return 2;
    }
    while (fgets(line, sizeof line, stdin)) {
        int32_t count = kCapacity, i;
        line[strcspn(line, "\r\n")] = '\0';
        fputs(line, stdout);
        if (Analyze(engine, line, categories, probabilities, &count) != 0) {
            fputs("\t-1\n", stdout);
            continue;
        }
        for (i = 0; i < count; ++i) {
            uint64_t bits;
            memcpy(&bits, &probabilities[i], sizeof bits);
            printf("\t%c\t%016" PRIx64, categories[i], bits);
        }
        putchar('\n');
    }
    if (DestroyBayesianEngine(&engine) != 0) status = 2;
    return status;
}
