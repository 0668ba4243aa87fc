/* A plain C host for the process-level tests: one training run, or one batch evaluation with a
 * trained network, through the exports; exit status 0 when the call returned 0, 1 when it
 * returned -1, 2 for a wrong command line.
 * Usage: RunHost train NETWORK SAMPLES OUTPUT
 *        RunHost evaluate TRAINED INPUT OUTPUT */
#include <stdio.h>
#include <string.h>

#include "Veltra.h"

int main(int argc, char** argv)
{
    BayesianEngineHandle engine = NULL;
    int32_t status = -1;
    if (argc != 5 || (strcmp(argv[1], "train") != 0 && strcmp(argv[1], "evaluate") != 0)) {
        fprintf(stderr,
                "Usage: RunHost train NETWORK SAMPLES OUTPUT | RunHost evaluate TRAINED INPUT OUTPUT\n");
        return 2;
    }
    if (CreateBayesianEngine(&engine) != 0 || !engine) return 2;
    if (strcmp(argv[1], "train") == 0)
        status = Train(engine, argv[2], argv[3], argv[4]);
    else if (InitializeThruFile(engine, argv[2]) == 0)
        status = AnalyzeFile(engine, argv[3], argv[4]);
    DestroyBayesianEngine(&engine);
    return status == 0 ? 0 : 1;
}
