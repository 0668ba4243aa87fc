/*
 * VeltraHost: the host interface of Veltra, beside the seven exports of Veltra.h.
 *
 * The seven exports stay the stable compatibility interface of Veltra.dll. This interface is for
 * programs that embed Veltra: it says why a call failed, writes nothing on the process's console,
 * tells what a network holds, classifies many fields in one call and reports evaluations line by
 * line. It is its own shared library (libVeltraHost.so, VeltraHost.dll) built from the same
 * engine.
 *
 * Conventions
 *  1. Every function that can fail returns a veltra_status: VELTRA_OK (0), or a failure. After a
 *     failure other than VELTRA_BUSY the engine keeps the reason until its next call:
 *     veltra_engine_error gives the full message (the text the seven exports write to standard
 *     error), veltra_engine_error_file and veltra_engine_error_line the file and the line at
 *     fault where there is one ("" and 0 where there is none).
 *  2. Nothing is written to the process's standard output or error. A host that wants the
 *     library's messages registers a message callback (failures, warnings, progress texts,
 *     summaries: each kind on request) and, for progress in numbers, a progress callback. Both
 *     are called on the calling thread during the call, with the context the host registered,
 *     and must not call into the same engine (such a call returns VELTRA_BUSY). A callback may
 *     end its thread (pthread_exit, as an interpreter ends its threads at exit): the call then
 *     unwinds, leaving the engine free and an earlier output file as it was.
 *  3. Texts are NUL-terminated byte strings, UTF-8 or any other 8-bit encoding: the library
 *     compares bytes. Texts the library returns go into buffers the caller owns: *size carries
 *     the buffer's capacity in bytes in, and the size the text needs (its NUL included) out.
 *     With a null or too small buffer the call returns VELTRA_BUFFER_TOO_SMALL, writing only
 *     *size: a host may ask the size first. Arrays work alike, counted in entries.
 *  4. One engine serves one thread at a time: a call made while another call runs on the same
 *     engine returns VELTRA_BUSY at once and changes nothing, the reason of the earlier failure
 *     included. Separate engines share nothing. No C++ type or exception crosses this interface.
 *  5. Loading a description, or training, answers from the network just loaded: nothing
 *     classified before is remembered after it. (The seven exports keep their caches across
 *     loads, as their hosts expect.)
 *  6. Training and evaluation read and write files as the seven exports do: inputs must be
 *     regular files; outputs are replaced whole at the end of the call, never left half written;
 *     counts stay within 32 bits; numbers are read and written in the "C" locale's form
 *     whatever locale the host has set.
 */
#ifndef VELTRA_HOST_H
#define VELTRA_HOST_H

#include <stdint.h>

#if defined(_WIN32)
#  define VELTRA_HOST_CALL __cdecl
#  if defined(VELTRA_BUILDING_HOST_LIBRARY)
#    define VELTRA_HOST_API __declspec(dllexport)
#  else
#    define VELTRA_HOST_API __declspec(dllimport)
#  endif
#else
#  define VELTRA_HOST_CALL
#  if defined(VELTRA_BUILDING_HOST_LIBRARY)
#    define VELTRA_HOST_API __attribute__((visibility("default")))
#  else
#    define VELTRA_HOST_API
#  endif
#endif

/* The version of this interface that this header describes; veltra_interface_version gives the
 * library's. A library of a higher version serves hosts built for a lower one. */
#define VELTRA_HOST_INTERFACE_VERSION 2

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t veltra_status;
#define VELTRA_OK 0
#define VELTRA_FAILED 1           /* the library failed: the engine keeps the reason */
#define VELTRA_INVALID_ARGUMENT 2 /* a null pointer, an index out of range: the reason says which */
#define VELTRA_BUFFER_TOO_SMALL 3 /* *size (or *count) says how much is needed */
#define VELTRA_BUSY 4             /* another call is running on this engine */
#define VELTRA_OUT_OF_MEMORY 5

/* An engine: opaque to the host, created and destroyed by the library. */
typedef struct veltra_engine veltra_engine;

/* The library's version ("2.6.0") and the version of this interface it implements. */
VELTRA_HOST_API const char* VELTRA_HOST_CALL veltra_version(void);
VELTRA_HOST_API int32_t VELTRA_HOST_CALL veltra_interface_version(void);

/* Creates an engine in *engine (left unwritten on failure). */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_create(veltra_engine** engine);
/* Destroys an engine; a null engine is accepted and ignored. VELTRA_BUSY while a call runs on it. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_destroy(veltra_engine* engine);

/* The reason of the engine's last failure: the message, and the file and line at fault. The
 * texts belong to the engine and stay until its next call; "" and 0 where there are none. */
VELTRA_HOST_API const char* VELTRA_HOST_CALL veltra_engine_error(const veltra_engine* engine);
VELTRA_HOST_API const char* VELTRA_HOST_CALL veltra_engine_error_file(const veltra_engine* engine);
VELTRA_HOST_API int64_t VELTRA_HOST_CALL veltra_engine_error_line(const veltra_engine* engine);

/* Kinds of messages, as bits. */
#define VELTRA_MESSAGE_FAILURE 1  /* why a call fails, and clean-up reports */
#define VELTRA_MESSAGE_WARNING 2  /* training's zero counts */
#define VELTRA_MESSAGE_PROGRESS 4 /* "Line: <n> / <total>", once per line a run counts */
#define VELTRA_MESSAGE_SUMMARY 8  /* the end of training, the accuracy of an evaluation */
#define VELTRA_MESSAGE_ALL 15

/* `text` is the message without a line end; it lives until the callback returns. */
typedef void(VELTRA_HOST_CALL* veltra_message_callback)(void* context, int32_t kind, const char* text);
/* Lines done of the lines in all, as a training run or an evaluation counts them. */
typedef void(VELTRA_HOST_CALL* veltra_progress_callback)(void* context, int64_t done, int64_t total);

/* Registers the callback for the message kinds in `kinds` (a null callback: none). */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_set_message_callback(
    veltra_engine* engine, veltra_message_callback callback, void* context, int32_t kinds);
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL
veltra_engine_set_progress_callback(veltra_engine* engine, veltra_progress_callback callback, void* context);

/* Loads a network description from a file, or from the text itself. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_load_file(veltra_engine* engine,
                                                                       const char* path);
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_load_text(veltra_engine* engine,
                                                                       const char* text);

/* What the loaded network holds. */
typedef struct veltra_network_info {
    int32_t states;
    int32_t tests;
    int32_t probability_lines; /* read by the load: 0 for a description that cannot classify */
    int32_t underflow_tests;   /* after how many observed tests the product of the smallest
                                  probabilities is 0; 0 when no test probability is below 1 */
    double smallest_prior;     /* the smallest above 0 the probability lines give; 1 if none */
    double smallest_conditional;
} veltra_network_info;
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_info(veltra_engine* engine,
                                                                       veltra_network_info* info);
/* The hypothesis's name, as the description gives it. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_name(veltra_engine* engine, char* name,
                                                                       int32_t* size);
/* State `index` (in state order): the character classification answers with, and its full name. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_state(veltra_engine* engine, int32_t index,
                                                                        char* result, char* name,
                                                                        int32_t* size);
/* Test `index` (in result order): its tag or its description, and its number of values. */
#define VELTRA_TEST_TAG 0
#define VELTRA_TEST_DESCRIPTION 1
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_test(veltra_engine* engine, int32_t index,
                                                                       int32_t field, char* text,
                                                                       int32_t* size);
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_value_count(veltra_engine* engine,
                                                                              int32_t test, int32_t* count);
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_value(veltra_engine* engine, int32_t test,
                                                                        int32_t value, char* text,
                                                                        int32_t* size);
/* The per-test figures a trained description states (or the training run just wrote): CP, how
 * far one value can separate two states, and DP, how far a value can move one state, in whole
 * percentage points. *known holds 1 for a CP figure, 2 for a DP figure, 3 for both, 0 none. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_network_get_figures(veltra_engine* engine, int32_t test,
                                                                          double* cp, double* dp,
                                                                          int32_t* known);

/* Classifies the test results of one field ("a.b-c": a character per test, "-" for no result,
 * "." ignored) into arrays of *count entries: states[i] the state's character and
 * probabilities[i] its probability, most probable first; *count becomes the number of states.
 * Every probability equals, to the bit, what Analyze gives on a freshly loaded engine. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_classify(veltra_engine* engine,
                                                                      const char* results, char* states,
                                                                      double* probabilities, int32_t* count);
/* Classifies `fields` fields: field i's answers go to states and probabilities from entry
 * i * stride on (stride at least the number of states), its status to statuses[i]: VELTRA_OK,
 * VELTRA_FAILED where its results do not fit, VELTRA_BUFFER_TOO_SMALL where the stride is below
 * the number of states. Returns VELTRA_OK when every field was classified, else the status and
 * reason of the first field that was not (its number, from 1, as the error line). */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL
veltra_engine_classify_many(veltra_engine* engine, int32_t fields, const char* const* results, int32_t stride,
                            char* states, double* probabilities, veltra_status* statuses);

/* Trains the network of `network` on `samples`, writes the trained description to `output` and
 * loads it. *samples_counted (if not null) receives the number of samples counted. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_train(veltra_engine* engine, const char* network,
                                                                   const char* samples, const char* output,
                                                                   int64_t* samples_counted);

/* Training in parts: sample lines counted where they are (on the machines of a cluster, say),
 * the counts added, and the trained description written from the sums. The counts are int64_t,
 * veltra_engine_count_size of them for the loaded network: one per count of the trained file, in
 * its order, then the samples counted, then 1 once any sample line was counted. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_count_size(veltra_engine* engine, int32_t* size);
/* Counts the `length` bytes of sample lines at `lines`, read as the lines of a sample file from
 * its line `first_line` on (`file` names it in reasons), and adds them to `counts`. A line that
 * training would refuse fails the call, naming `file` and the line. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_count(veltra_engine* engine, const char* lines,
                                                                   int64_t length, const char* file,
                                                                   int64_t first_line, int64_t* counts);
/* Writes to `output` the description of `network` trained on the counted samples, as
 * veltra_engine_train on them would (the date line aside), and loads it. A count that the
 * trained file cannot hold (past 2147483647) fails the call. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_train_counts(veltra_engine* engine,
                                                                          const char* network,
                                                                          const int64_t* counts,
                                                                          const char* output);

/* Told of each test line an evaluation judges: its line number in the input, its expected
 * states and its results (full stops removed), and the ranking: `count` states' characters and
 * probabilities, at full precision, most probable first. The texts live until it returns. */
typedef void(VELTRA_HOST_CALL* veltra_judged_callback)(void* context, int64_t line, const char* expected,
                                                       const char* results, int32_t count, const char* states,
                                                       const double* probabilities);
/* Judges every test line of `input` and writes the judged copy to `output` (null: no copy).
 * `judged` (may be null) is told of every judged line; *right and *wrong (may be null) receive
 * the lines judged right and wrong. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_evaluate(veltra_engine* engine,
                                                                      const char* input, const char* output,
                                                                      veltra_judged_callback judged,
                                                                      void* context, int64_t* right,
                                                                      int64_t* wrong);

/* Since version 2 of this interface: cutting a network to chosen tests, cross-validation and test
 * selection (the four functions below). */

/* A network cut down to chosen tests. Naive Bayes counts and multiplies test by test: a network
 * trained on cut samples classifies a cut field exactly as the full network, trained on the full
 * samples, classifies the field with the other tests' results "-".
 *
 * Writes to `output` the network description file `network` holding only the tests at the
 * `count` positions `tests` (in the order of the results, from 0, in any order, each once). The
 * file's lines are kept as they are and where they are: comments, parameters, the hypothesis
 * line, the probability lines of the states and of the chosen tests, the chosen tests' lines; the
 * other tests' lines and probability lines are left out. A description that does not load, a
 * position outside its tests or listed twice, or no position at all fails the call. The engine's
 * network stays as it is. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_write_tests(veltra_engine* engine,
                                                                         const char* network,
                                                                         const int32_t* tests, int32_t count,
                                                                         const char* output);
/* Cuts the labelled file `input` (a sample or evaluation file) to the tests of the description
 * file `chosen` and writes it to `output`. The loaded network is the full one: every test of
 * `chosen` must be one of its tests (by tag), in the same order. The results of every test line
 * (";TESTS\t", as training reads it; full stops removed) keep the characters of the chosen tests;
 * every other line is copied as it is. A test line whose results do not fit the loaded network
 * fails the call, naming `input` and the line. *cut (may be null) receives the number of test
 * lines cut. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_cut(veltra_engine* engine, const char* chosen,
                                                                 const char* input, const char* output,
                                                                 int64_t* cut);
/* Cross-validation: the network of `network` trained and judged K times (K = `folds`, at least
 * 2) on the test lines of `samples`, each time trained on all folds but one and judged on that
 * one. The test lines go to the folds in blocks: in file order, K lines at a time, each block to
 * the K folds in an order shuffled by SplitMix64 from `seed`; with VELTRA_CV_STRATIFIED, within
 * each expected-states text apart. The same file and seed give the same folds everywhere. Each
 * fold's model is exactly the description that veltra_engine_train writes and loads for a
 * sample file holding the other folds' lines, and judges the fold's lines as veltra_engine_classify
 * and veltra_engine_evaluate would, to the bit. The samples are read once, and refused as
 * training refuses them (the file and line at fault as the error file and line); the test lines
 * are held in memory meanwhile. Afterwards the engine holds the description of `network` as
 * veltra_engine_load_file loads it. */
#define VELTRA_CV_STRATIFIED 1
/* veltra_engine_select_tests: forward selection instead of backward elimination. */
#define VELTRA_SELECT_FORWARD 2

/* Told of each out-of-fold verdict, fold after fold (`fold` from 0), each fold's lines in file
 * order: as veltra_judged_callback, with the line's fold. */
typedef void(VELTRA_HOST_CALL* veltra_verdict_callback)(void* context, int32_t fold, int64_t line,
                                                        const char* expected, const char* results,
                                                        int32_t count, const char* states,
                                                        const double* probabilities);
/* `verdict` (may be null) is told of every judged line; right[f] and wrong[f] (arrays of `folds`
 * entries, may be null) receive the lines of fold f judged right and wrong. Progress counts the
 * sample file's lines, then the test lines judged. `flags`: 0 or VELTRA_CV_STRATIFIED. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_cross_validate(
    veltra_engine* engine, const char* network, const char* samples, int32_t folds, uint64_t seed,
    int32_t flags, veltra_verdict_callback verdict, void* context, int64_t* right, int64_t* wrong);

/* Test selection by cross-validated accuracy, on the folds of veltra_engine_cross_validate (same
 * `folds`, `seed` and VELTRA_CV_STRATIFIED). Greedy backward elimination drops, step after step,
 * the test whose leaving out gives the best accuracy; with VELTRA_SELECT_FORWARD, forward
 * selection adds the test whose adding gives the best accuracy. Ties go to the lower log loss,
 * then to the earlier test. A test left out is a test without a result ("-") in every field:
 * the figures of a set are exactly those of cross-validating the network restricted to it,
 * trained on the samples cut to its columns. The selection stops at `keep` tests; with `keep`
 * 0 it goes down to one test (up to every test) and keeps the best set on the way (the highest
 * accuracy, then the lowest log loss, then the fewest tests). */
typedef struct veltra_selection_step {
    int32_t test;  /* the test dropped or added, in results order from 0; -1 for the first set */
    int32_t tests; /* the tests in the set after the step */
    int64_t right; /* out-of-fold test lines judged right and wrong with the set */
    int64_t wrong;
    double log_loss; /* the mean of -ln p of the true state (the most probable state when it is
                        expected, else the first expected state), p at least 1e-15 */
} veltra_selection_step;
typedef struct veltra_test_score {
    double mutual_information; /* in bits, between the test's value and the state, over the samples
                                  in which the test was observed (all samples) */
    double accuracy_drop;      /* the accuracy of every test less that of every test but this one,
                                  as a share (0.01: one point) */
    int64_t right_without;     /* the figures of every test but this one, as a step's */
    int64_t wrong_without;
    double log_loss_without;
} veltra_test_score;
/* *step_count: the capacity of `steps` in, the steps written out (the first set, then one per
 * step). *test_count: the capacity of `scores` and of `kept` in, the network's tests out.
 * `scores` receives one entry per test, `kept` the tests of the set kept in results order, and
 * *kept_count their number. With a null or too small array the call returns
 * VELTRA_BUFFER_TOO_SMALL once the network is loaded, before the samples are read, and writes
 * only *step_count (the tests plus one suffice) and *test_count. Progress counts the sample
 * file's lines, then passes over the test lines. The engine holds the description of `network`
 * afterwards. `flags`: VELTRA_CV_STRATIFIED, VELTRA_SELECT_FORWARD. */
VELTRA_HOST_API veltra_status VELTRA_HOST_CALL veltra_engine_select_tests(
    veltra_engine* engine, const char* network, const char* samples, int32_t folds, uint64_t seed,
    int32_t flags, int32_t keep, veltra_selection_step* steps, int32_t* step_count, veltra_test_score* scores,
    int32_t* kept, int32_t* test_count, int32_t* kept_count);

#ifdef __cplusplus
}
#endif

#endif /* VELTRA_HOST_H */
