/*
 * Veltra: a naive Bayes categorisation engine behind seven C functions.
 *
 * Conventions
 *  1. Every function returns a 32-bit status: 0 for success, -1 for failure, nothing else.
 *     A -1 is explained only on standard error, where the failing code wrote its message
 *     (for example "Network has not been initialized yet") before failing. No exception and
 *     no C++ type ever crosses this interface.
 *  2. InitializeThruFile, InitializeThruParam and Analyze return -1 at once for a null
 *     handle or a null text or array. Train and AnalyzeFile deliberately check nothing: a null
 *     file name is taken as the empty name (which fails to open), and a null handle is not
 *     guarded. CreateBayesianEngine and DestroyBayesianEngine take the address of the host's
 *     handle variable, which must not be null; DestroyBayesianEngine accepts a handle variable
 *     holding null and does nothing.
 *  3. Analyze writes into arrays the caller owns: *count carries their capacity in and the
 *     number of entries written out. With too small a capacity it returns -1 and writes nothing.
 *  4. DestroyBayesianEngine does not reset the caller's handle variable: do not use it again.
 *  5. One engine, one thread at a time. A call on an engine made from a second thread while
 *     another call runs on it is refused with -1 ("Engine is already in a call on another
 *     thread: one engine serves one thread at a time") and changes nothing, whichever the call
 *     (DestroyBayesianEngine included). Separate engines share nothing.
 *  6. Texts are NUL-terminated 8-bit strings; lines of network descriptions, sample files and
 *     batch input files must stay under 1024 bytes, hold no zero byte, and end in LF or CR LF
 *     (on every platform). A longer line or a zero byte fails the call, naming file and line.
 *  7. Train and AnalyzeFile never destroy an input: an output that is one of the call's input
 *     files (by file, whatever the spelling or link) is refused with -1 before anything is
 *     written. Inputs they read twice (the network and sample files of Train, the input of
 *     AnalyzeFile) must be regular files: a pipe, device or directory is refused, unread.
 *     InitializeThruFile reads once and takes any file.
 *  8. Train and AnalyzeFile replace their output whole: they write a temporary file beside it
 *     (".<name>.<random>.tmp", same directory), sync it and rename it over the output when the
 *     call ends. An interrupted call leaves the earlier output intact. A write that fails (a
 *     full disk, a file-size limit) returns -1 ("Cannot write file: <name>") and keeps the
 *     earlier output; a 0 means every byte was written (and, when replaced, synced). A call
 *     stopped by a line it cannot take leaves its partial output, as described with each
 *     format. The output keeps its permissions, and a symbolic link its target. Where no file
 *     can be created beside an output the user may write, the call returns -1 ("Cannot create
 *     a temporary file for: <name>") and leaves it untouched. An output that is no regular file
 *     (a terminal, a pipe, /dev/null) is written directly.
 *  9. Counts, line numbers and tallies are 32-bit: a call that would pass 2147483647 returns -1
 *     before it does, naming the file and line. Numbers are read and written in the "C"
 *     locale's form, whatever locale the host has set.
 */
#ifndef VELTRA_H
#define VELTRA_H

#include <stdint.h>

#if defined(_WIN32)
#  define VELTRA_CALL __stdcall
#  if defined(VELTRA_BUILDING_LIBRARY)
#    define VELTRA_API __declspec(dllexport)
#  else
#    define VELTRA_API __declspec(dllimport)
#  endif
#else
#  define VELTRA_CALL
#  if defined(VELTRA_BUILDING_LIBRARY)
#    define VELTRA_API __attribute__((visibility("default")))
#  else
#    define VELTRA_API
#  endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* An engine: opaque to the host, created and destroyed by the library. */
typedef struct VeltraEngine VeltraEngine;
typedef VeltraEngine* BayesianEngineHandle;

/* Creates an engine and stores it in *engine. On failure *engine is left unwritten. */
VELTRA_API int32_t VELTRA_CALL CreateBayesianEngine(BayesianEngineHandle* engine);

/* Deletes the engine held in *engine, if it is not null. *engine keeps its old value. */
VELTRA_API int32_t VELTRA_CALL DestroyBayesianEngine(BayesianEngineHandle* engine);

/* Loads the network description file at `path` into the engine. */
VELTRA_API int32_t VELTRA_CALL InitializeThruFile(BayesianEngineHandle engine, const char* path);

/* Loads the network description held in `text` (the same format as the file) into the engine. */
VELTRA_API int32_t VELTRA_CALL InitializeThruParam(BayesianEngineHandle engine, const char* text);

/* Trains the network described in `networkFile` from the samples in `sampleFile`, writes the
 * trained network description to `outputFile`, and reloads the engine from it. Progress and the
 * closing summary go to standard output. */
VELTRA_API int32_t VELTRA_CALL Train(BayesianEngineHandle engine, const char* networkFile,
                                     const char* sampleFile, const char* outputFile);

/* Classifies the test results of one field ("a.b-c": one character per test, "-" for no result,
 * "." ignored). On success *count holds the number of states, categories[i] the first character
 * of the i-th state and probabilities[i] its probability, most probable first. */
VELTRA_API int32_t VELTRA_CALL Analyze(BayesianEngineHandle engine, const char* testResults, char* categories,
                                       double* probabilities, int32_t* count);

/* Classifies every test line of `inputFile` and writes a copy with a result line after each test
 * line and the accuracy at the end to `outputFile`; the accuracy also goes to standard output. */
VELTRA_API int32_t VELTRA_CALL AnalyzeFile(BayesianEngineHandle engine, const char* inputFile,
                                           const char* outputFile);

#ifdef __cplusplus
}
#endif

#endif /* VELTRA_H */
