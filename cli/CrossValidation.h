// CrossValidation: veltra cv and veltra select, on the library's cross-validation and test
// selection (veltra_engine_cross_validate, veltra_engine_select_tests).
//
// cv prints each fold's accuracy, their mean and standard deviation, and with --report the
// evaluation report over every out-of-fold verdict, counted as veltra evaluate --report counts
// the lines it judges. select prints the steps of the selection and each test's own figures.
// Both write their figures as JSON with --json and as a page with --html, and select the
// description of the tests it keeps with --write, each whole at the end: a run stopped before
// (Ctrl-C included) leaves an earlier file as it was.
#ifndef VELTRA_CLI_CROSSVALIDATION_H
#define VELTRA_CLI_CROSSVALIDATION_H

#include <cstdint>
#include <string>

#include "cli/StateNames.h"

namespace veltra::cli {

// The folds of a run: their number, the seed they are drawn from, and whether within each
// expected-states text.
struct FoldChoice {
    int32_t folds = 10;
    uint64_t seed = 0;
    bool stratified = false;
};

struct CrossValidationRequest {
    std::string network;
    std::string samples;  // "-": standard input
    FoldChoice folds;
    bool report = false;
    std::string json;  // "-": standard output
    std::string html;  // the page, "-": standard output
    StateNames names;
    bool quiet = false;
};

struct SelectionRequest {
    std::string network;
    std::string samples;  // "-": standard input
    FoldChoice folds;
    int32_t keep = 0;  // 0: the whole way, the best set kept
    bool forward = false;
    std::string json;   // "-": standard output
    std::string html;   // the page, "-": standard output
    std::string write;  // the description of the tests kept, "-": standard output
    bool quiet = false;
};

// Each returns the command's exit status; on failure standard error says why.
int CrossValidate(const CrossValidationRequest& request);
int SelectTests(const SelectionRequest& request);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_CROSSVALIDATION_H
