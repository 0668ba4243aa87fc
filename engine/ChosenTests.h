// ChosenTests: a network cut down to some of its tests, and the labelled files cut to match.
//
// A description keeps the chosen tests by keeping its own lines: every comment, parameter,
// hypothesis and state probability line, the chosen tests' lines and their probability lines, in
// their places; the other tests' lines and probability lines are left out. A labelled file keeps
// every line as it is but its test lines, whose results keep the chosen tests' characters.
// Naive Bayes counts and multiplies test by test, so a network trained on cut samples classifies a
// cut field exactly as the full network trained on the full samples classifies the field with the
// other tests' results "-". Lines are told apart by the description reader itself.
#ifndef VELTRA_ENGINE_CHOSENTESTS_H
#define VELTRA_ENGINE_CHOSENTESTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "net/NaiveBayesNet.h"

namespace veltra {

// The description `text` (one the reader loads) with only the tests whose flags are set in `kept`
// (one per test, in results order): the text without the other tests' lines, each left out with
// its line end.
std::string KeepTests(const std::string& text, const std::vector<bool>& kept);

// A test of a chosen description: its tag and the number of its line there.
struct ChosenTest {
    String tag;
    int64_t line;
};
// The tests of the description `text`, in results order.
std::vector<ChosenTest> TestsOf(const std::string& text);

// A labelled line cut to the results at `positions` of a network of `tests` tests: a test line
// (";TESTS<tab>states<tab>results" once trimmed, as training reads it) with its results, full
// stops removed, replaced by the characters at those positions; any other line as it is. Raises
// "Wrong format in line:\n<line>" for a test line without exactly three fields and "Expected <n>
// test results but got <m>. Test results:\n<results>". Sets *cut when the line was a test line.
std::string CutLine(const std::string& line, const std::vector<int32_t>& positions, int32_t tests, bool* cut);

}  // namespace veltra

#endif  // VELTRA_ENGINE_CHOSENTESTS_H
