/* A minimal host of the Veltra library: one engine, a small trained network given in memory,
 * and one field classified. Build it against an installed Veltra with the CMakeLists.txt
 * beside it (find_package) or with pkg-config:
 *     cc host.c $(pkg-config --cflags --libs veltra) -o host
 */
#include <Veltra.h>
#include <stdio.h>

/* Two states (d: date, n: person name) and two tests (has digits, has a blank), trained. */
static const char kNetwork[] =
    "H = Field \"d,n\"\n"
    "Digits = Has digits \"y,n\"\n"
    "Blank = Has a blank \"y,n\"\n"
    "P(H=d) = 0.5\n"
    "P(H=n) = 0.5\n"
    "P(Digits=y|H=d) = 0.98\n"
    "P(Digits=n|H=d) = 0.02\n"
    "P(Digits=y|H=n) = 0.01\n"
    "P(Digits=n|H=n) = 0.99\n"
    "P(Blank=y|H=d) = 0.2\n"
    "P(Blank=n|H=d) = 0.8\n"
    "P(Blank=y|H=n) = 0.9\n"
    "P(Blank=n|H=n) = 0.1\n";

int main(void)
{
    BayesianEngineHandle engine = NULL;
    char states[8];
    double probabilities[8];
    int32_t count = 8; /* capacity in, entries out */
    int32_t i;
    int status = 1;

    if (CreateBayesianEngine(&engine) != 0 || engine == NULL) return 1;
    /* "yn": digits, no blank, as in 14/03/2021. On -1 the reason is on standard error. */
    if (InitializeThruParam(engine, kNetwork) == 0 &&
        Analyze(engine, "yn", states, probabilities, &count) == 0) {
        for (i = 0; i < count; ++i) printf("%c %.4f\n", states[i], probabilities[i]);
        status = 0;
    }
    DestroyBayesianEngine(&engine);
    return status;
}
