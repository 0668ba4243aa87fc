#include "cli/NetworkOutline.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace veltra::cli {

std::string ReadText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool StartsWith(const std::string& text, const char* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

std::string Trim(const std::string& text)
{
    const char* const space = " \t\n\v\f\r";
    size_t first = text.find_first_not_of(space);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(space) - first + 1);
}

std::vector<std::string> Split(const std::string& text, const char* delimiters)
{
    std::vector<std::string> pieces;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find_first_of(delimiters, start);
        if (end == std::string::npos) end = text.size();
        if (end > start) pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

std::string Join(const std::vector<std::string>& items, const char* separator)
{
    std::string joined;
    for (const std::string& item : items) joined += (joined.empty() ? "" : separator) + item;
    return joined;
}

NetworkOutline ReadOutline(const std::string& path)
{
    NetworkOutline outline;
    for (const std::string& raw : Split(ReadText(path), "\r\n")) {
        std::string line = Trim(raw);
        if (line.empty() || line[0] == '#' || StartsWith(line, "PARAMETER")) continue;
        if (line[0] == 'P') {
            ++outline.probabilities;
            const size_t close = line.find(')'),
                         equals = line.find('=', close == std::string::npos ? 0 : close);
            const double value = equals == std::string::npos ? 0.0 : std::atof(line.c_str() + equals + 1);
            double& smallest = line.find('|') < close ? outline.smallestConditional : outline.smallestPrior;
            if (value > 0.0 && value < smallest) smallest = value;
            continue;
        }
        // Hypothesis and test lines: NAME = description "item,item,..."
        size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        std::vector<std::string> pieces = Split(Trim(line.substr(equals + 1)), "\"");
        if (pieces.size() != 2) continue;
        std::vector<std::string> items;
        for (const std::string& item : Split(pieces[1], ",")) items.push_back(Trim(item));
        if (line[0] == 'H') {
            outline.hypothesis = Trim(pieces[0]);
            outline.states = items;
        } else {
            outline.tests.push_back({Trim(line.substr(0, equals)), Trim(pieces[0]), items});
        }
    }
    return outline;
}

}  // namespace veltra::cli
