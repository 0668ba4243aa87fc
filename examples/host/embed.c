/* A host on the host interface of Veltra (VeltraHost.h): it trains a network, showing the
 * library's progress and warnings its own way, classifies a batch of fields in one call, and
 * reports a failure with its reason, file and line. Nothing reaches the console but what this
 * program prints. Build it against an installed Veltra with the CMakeLists.txt beside it
 * (find_package) or with pkg-config:
 *     cc embed.c $(pkg-config --cflags --libs veltra-host) -o embed
 * Usage: embed NETWORK SAMPLES TRAINED [RESULTS...]
 */
#include <VeltraHost.h>
#include <stdio.h>
#include <stdlib.h>

/* Warnings are counted, the summary shown, failures shown as they come. */
static void on_message(void* context, int32_t kind, const char* text)
{
    if (kind == VELTRA_MESSAGE_WARNING)
        ++*(int*)context;
    else
        fprintf(kind == VELTRA_MESSAGE_FAILURE ? stderr : stdout, "  %s\n", text);
}

/* A percentage on standard error, at each whole per cent. */
static void on_progress(void* context, int64_t done, int64_t total)
{
    int* shown = (int*)context;
    const int percent = total > 0 ? (int)(done * 100 / total) : 100;
    if (percent > 100 || percent <= *shown) return;
    *shown = percent;
    fprintf(stderr, "\r%3d %%", percent);
    if (percent == 100) fprintf(stderr, "\n");
}

static int fail(veltra_engine* engine, const char* what)
{
    fprintf(stderr, "%s: %s (%s, line %lld)\n", what, veltra_engine_error(engine),
            veltra_engine_error_file(engine), (long long)veltra_engine_error_line(engine));
    veltra_engine_destroy(engine);
    return 1;
}

int main(int argc, char** argv)
{
    veltra_engine* engine = NULL;
    veltra_network_info info;
    int warnings = 0, shown = -1, i;
    int64_t samples = 0;
    const int fields = argc - 4;
    char* states;
    double* probabilities;
    veltra_status* statuses;

    if (argc < 4) {
        fprintf(stderr, "Usage: embed NETWORK SAMPLES TRAINED [RESULTS...]\n");
        return 2;
    }
    if (veltra_engine_create(&engine) != VELTRA_OK) return 1;
    veltra_engine_set_message_callback(
        engine, on_message, &warnings,
        VELTRA_MESSAGE_WARNING | VELTRA_MESSAGE_SUMMARY | VELTRA_MESSAGE_FAILURE);
    veltra_engine_set_progress_callback(engine, on_progress, &shown);
    printf("Veltra %s, host interface %d\n", veltra_version(), (int)veltra_interface_version());

    if (veltra_engine_train(engine, argv[1], argv[2], argv[3], &samples) != VELTRA_OK)
        return fail(engine, "training");
    printf("Trained on %lld samples, %d warnings\n", (long long)samples, warnings);
    if (veltra_network_get_info(engine, &info) != VELTRA_OK) return fail(engine, "the network");

    /* Every field in one call: field i's answers from entry i * info.states on. */
    states = malloc((size_t)(fields > 0 ? fields : 1) * (size_t)info.states);
    probabilities = malloc((size_t)(fields > 0 ? fields : 1) * (size_t)info.states * sizeof(double));
    statuses = malloc((size_t)(fields > 0 ? fields : 1) * sizeof(veltra_status));
    if (!states || !probabilities || !statuses) return 1;
    if (veltra_engine_classify_many(engine, fields, (const char* const*)(argv + 4), info.states, states,
                                    probabilities, statuses) != VELTRA_OK)
        fprintf(stderr, "field %lld: %s\n", (long long)veltra_engine_error_line(engine),
                veltra_engine_error(engine));
    for (i = 0; i < fields; ++i) {
        const int32_t first = i * info.states;
        if (statuses[i] == VELTRA_OK)
            printf("%s: %c %.4f\n", argv[4 + i], states[first], probabilities[first]);
        else
            printf("%s: not classified\n", argv[4 + i]);
    }
    free(states);
    free(probabilities);
    free(statuses);
    veltra_engine_destroy(engine);
    return 0;
}
