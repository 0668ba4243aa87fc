#include "cli/Engine.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

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

}  // namespace veltra::cli
