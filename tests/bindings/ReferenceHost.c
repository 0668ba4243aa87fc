/* The host interface's answers in C, for the binding tests to compare with: loads NETWORK and
 * classifies each line of standard input, printing the line, then for each entry a tab, the state
 * character, a tab and the probability's 64 bits in hexadecimal. A line that does not classify
 * prints the line, a tab and "classify", the call that failed.
 * Usage: ReferenceHost NETWORK < RESULTS */
#include <VeltraHost.h>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv)
{
    /* More states than any test network has. */
    static char states[4096], line[65536];
    static double probabilities[4096];
    veltra_engine* engine = NULL;

    if (argc != 2 || veltra_engine_create(&engine) != VELTRA_OK ||
        veltra_engine_load_file(engine, argv[1]) != VELTRA_OK)
        return 2;
    while (fgets(line, sizeof line, stdin)) {
        int32_t count = 4096, i;
        line[strcspn(line, "\r\n")] = '\0';
        fputs(line, stdout);
        if (veltra_engine_classify(engine, line, states, probabilities, &count) != VELTRA_OK) count = -1;
        for (i = 0; i < count; ++i) {
            uint64_t bits;
            memcpy(&bits, &probabilities[i], sizeof bits);
            printf("\t%c\t%016" PRIx64, states[i], bits);
        }
        puts(count < 0 ? "\tclassify" : "");
    }
    return veltra_engine_destroy(engine) == VELTRA_OK ? 0 : 2;
}
