// Explain: veltra explain, which shows for one field how much each observed test weighs in its
// classification. Each observed test is left out in turn (its result replaced by "-") and the
// field classified again; the change in the probability of the most probable
// state, and whether another state becomes the most probable, measure the test's effect.
#ifndef VELTRA_CLI_EXPLAIN_H
#define VELTRA_CLI_EXPLAIN_H

#include <string>
#include <vector>

namespace veltra::cli {

// args: NETWORK, then the RESULTS of each field (none, or "-": one field per line of standard
// input). Returns the exit status.
int Explain(const std::vector<std::string>& args, bool quiet);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_EXPLAIN_H
