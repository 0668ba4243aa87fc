#include "cli/Engine.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "cli/NetworkOutline.h"

namespace veltra::cli {

bool Readable(const std::string& path)
{
    return std::ifstream(path).is_open();
}

bool SameFile(const std::string& a, const std::string& b)
{
    std::error_code error;
    return std::filesystem::equivalent(a, b, error);
}

bool Load(const Engine& engine, const char* command, const std::string& network)
{
    if (!engine.get()) {
        std::fprintf(stderr, "veltra %s: cannot create an engine\n", command);
        return false;
    }
    if (InitializeThruFile(engine.get(), network.c_str()) == 0) return true;
    if (Readable(network))
        std::fprintf(stderr, "veltra %s: %s is not a valid network description\n", command, network.c_str());
    return false;
}

bool LoadTrained(const Engine& engine, const char* command, const std::string& network, size_t& states)
{
    if (!Load(engine, command, network)) return false;
    NetworkOutline outline = ReadOutline(network);
    if (outline.probabilities == 0) {
        std::fprintf(stderr, "veltra %s: %s holds no probabilities; train it first\n", command,
                     network.c_str());
        return false;
    }
    states = std::max<size_t>(outline.states.size(), 1);
    return true;
}

bool ForEachResults(const std::vector<std::string>& args, const char* command,
                    const std::function<void(const std::string& results, const std::string& where)>& each)
{
    if (args.size() > 1) {
        for (size_t i = 1; i < args.size(); ++i) each(args[i], "");
        return true;
    }
    std::string line;
    for (int64_t number = 1; std::getline(std::cin, line); ++number) {
        line = Trim(line);
        if (!line.empty()) each(line, "standard input, line " + std::to_string(number) + ": ");
    }
    if (!std::cin.bad() && !std::ferror(stdin)) return true;
    std::fflush(stdout);
    std::fprintf(stderr, "veltra %s: cannot read standard input\n", command);
    return false;
}

}  // namespace veltra::cli
