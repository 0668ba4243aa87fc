#include "engine/ChosenTests.h"

#include <algorithm>
#include <map>

namespace veltra {

std::string KeepTests(const std::string& text, const std::vector<bool>& kept)
{
    // Which tests are kept, by tag: a test's probability lines follow its line.
    std::map<std::string, bool> keptTags;
    std::vector<std::pair<size_t, size_t>> dropped;  // byte ranges to leave out, in order
    size_t test = 0;
    NaiveBayesNet::ForEachLine(String(text), [&](const DescriptionLine& line) {
        bool keep = true;
        if (line.kind == DescriptionLine::Kind::kTest) {
            keep = test < kept.size() && kept[test];
            keptTags[NaiveBayesNet::TestTagOf(line).str()] = keep;
            ++test;
        } else if (line.kind == DescriptionLine::Kind::kProbability) {
            const String tag = NaiveBayesNet::TestTagOf(line);
            keep = tag.Length() == 0 || keptTags[tag.str()];
        }
        if (keep) return;
        // The line and its line end: CR LF, CR or LF.
        size_t end = line.end;
        if (end < text.size()) end += text.compare(end, 2, "\r\n") == 0 ? 2 : 1;
        dropped.emplace_back(line.begin, end);
    });
    std::string result;
    size_t at = 0;
    for (const auto& [begin, end] : dropped) {
        result.append(text, at, begin - at);
        at = end;
    }
    return result.append(text, at, std::string::npos);
}

std::vector<ChosenTest> TestsOf(const std::string& text)
{
    std::vector<ChosenTest> tests;
    NaiveBayesNet::ForEachLine(String(text), [&](const DescriptionLine& line) {
        if (line.kind == DescriptionLine::Kind::kTest)
            tests.push_back({NaiveBayesNet::TestTagOf(line), line.number});
    });
    return tests;
}

namespace {

// The fields of a line as GetTokens("\t", true) cuts them: runs of tabs separate.
std::vector<std::pair<size_t, size_t>> Fields(std::string_view text, size_t offset)
{
    std::vector<std::pair<size_t, size_t>> fields;
    for (size_t at = text.find_first_not_of('\t'); at != std::string_view::npos;
         at = text.find_first_not_of('\t', at)) {
        const size_t end = std::min(text.find('\t', at), text.size());
        fields.emplace_back(offset + at, offset + end);
        at = end;
    }
    return fields;
}

}  // namespace

std::string CutLine(const std::string& line, const std::vector<int32_t>& positions, int32_t tests, bool* cut)
{
    *cut = false;
    size_t first = 0, end = line.size();
    while (first < end && IsWhiteSpace(line[first])) ++first;
    while (end > first && IsWhiteSpace(line[end - 1])) --end;
    const std::string_view trimmed = std::string_view(line).substr(first, end - first);
    if (trimmed.compare(0, 7, ";TESTS\t") != 0) return line;
    const std::vector<std::pair<size_t, size_t>> fields = Fields(trimmed, first);
    if (fields.size() != 3) VELTRA_RAISE("Wrong format in line:\n", std::string(trimmed));
    std::string results = line.substr(fields[2].first, fields[2].second - fields[2].first);
    results.erase(std::remove(results.begin(), results.end(), '.'), results.end());
    if (results.size() != static_cast<size_t>(tests))
        VELTRA_RAISE("Expected ", tests, " test results but got ", static_cast<int32_t>(results.size()),
                     ". Test results:\n", results);
    std::string kept;
    for (int32_t position : positions) kept += results[static_cast<size_t>(position)];
    *cut = true;
    return line.substr(0, fields[2].first) + kept + line.substr(fields[2].second);
}

}  // namespace veltra
