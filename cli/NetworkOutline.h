// NetworkOutline: what the command shows or needs of a network description and the API does not
// tell: hypothesis, states, tests and whether it holds probabilities. The format belongs to the
// library's reader (NaiveBayesNet::Load); the lines are read again here only after the library
// accepted them, cut and told apart as that reader does, and a test holds the two to the same
// outline on every description the repository keeps.
#ifndef VELTRA_CLI_NETWORKOUTLINE_H
#define VELTRA_CLI_NETWORKOUTLINE_H

#include <cstddef>
#include <string>
#include <vector>

namespace veltra::cli {

struct TestOutline {
    std::string tag;
    std::string description;
    std::vector<std::string> values;
};

struct NetworkOutline {
    std::string hypothesis;
    std::vector<std::string> states;
    std::vector<TestOutline> tests;
    int probabilities = 0;
    // The smallest probabilities above 0 of the probability lines, priors and tests' apart.
    double smallestPrior = 1.0;
    double smallestConditional = 1.0;
};

// The outline of the description file at `path`; an unreadable file gives an empty outline.
NetworkOutline ReadOutline(const std::string& path);

// The whole file at `path` as bytes; empty when it cannot be read.
std::string ReadText(const std::string& path);

bool StartsWith(const std::string& text, const char* prefix);
std::string Trim(const std::string& text);
// The non-empty pieces of `text` between any of the `delimiters`.
std::vector<std::string> Split(const std::string& text, const char* delimiters);
std::string Join(const std::vector<std::string>& items, const char* separator);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_NETWORKOUTLINE_H
