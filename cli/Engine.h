// Engine: one engine of the library for the life of a command, and the loading every command
// begins with. Through the public header only, as any host.
#ifndef VELTRA_CLI_ENGINE_H
#define VELTRA_CLI_ENGINE_H

#include <Veltra.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace veltra::cli {

class Engine {
public:
    Engine() { CreateBayesianEngine(&m_handle); }
    ~Engine() { DestroyBayesianEngine(&m_handle); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    BayesianEngineHandle get() const { return m_handle; }

private:
    BayesianEngineHandle m_handle = nullptr;
};

bool Readable(const std::string& path);
// Whether the two names are one and the same file, however spelt or linked.
bool SameFile(const std::string& a, const std::string& b);

// Loads NETWORK into the engine; on failure names the file unless the library already did
// ("veltra COMMAND: NETWORK is not a valid network description").
bool Load(const Engine& engine, const char* command, const std::string& network);

// Loads a network that can classify; a description without probability lines loads, but cannot
// ("veltra COMMAND: NETWORK holds no probabilities; train it first"). Sets `states` to its number
// of states, the capacity Analyze needs (at least 1).
bool LoadTrained(const Engine& engine, const char* command, const std::string& network, size_t& states);

// Hands every RESULTS argument after the network, or else every non-blank line of standard input
// (trimmed), to `each`, with where it came from ("" or "standard input, line N: "). False when
// standard input cannot be read ("veltra COMMAND: cannot read standard input").
bool ForEachResults(const std::vector<std::string>& args, const char* command,
                    const std::function<void(const std::string& results, const std::string& where)>& each);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_ENGINE_H
