// Engine: one engine of the library's host interface for the life of a command, with the
// command's console as its callbacks, the loading every command begins with, and what the
// network holds as the library tells it. Through the public header only, as any host.
#ifndef VELTRA_CLI_ENGINE_H
#define VELTRA_CLI_ENGINE_H

#include <VeltraHost.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/Console.h"

namespace veltra::cli {

// A test as the library tells it, descriptions trimmed, with the CP and DP figures the
// description states (see veltra_network_get_figures).
struct TestView {
    std::string tag;
    std::string description;
    std::vector<std::string> values;
    double cp = 0.0;
    double dp = 0.0;
    bool hasCp = false;
    bool hasDp = false;
};

struct NetworkView {
    std::string name;  // the hypothesis's, trimmed
    std::vector<std::string> states;
    std::vector<TestView> tests;
    veltra_network_info info = {};
};

class Engine {
public:
    explicit Engine(Console& console);
    ~Engine() { veltra_engine_destroy(m_engine); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    veltra_engine* get() const { return m_engine; }
    Console& console() const { return m_console; }

    // A file the library was given under another name (the copy of standard input, say), and
    // the name messages give it.
    struct Alias {
        std::string path;
        std::string shown;
    };
    // After a failed call: its reason on standard error, with the file and line at fault
    // ("veltra COMMAND: [WHERE]FILE, line N: REASON"). Returns false, for `return Failed();`.
    bool Failed(const std::vector<Alias>& aliases = {}, const std::string& where = "") const;

    // Loads NETWORK, or says why not.
    bool Load(const std::string& network);
    // Loads a network that can classify: one without probability lines loads, but cannot
    // ("NETWORK holds no probabilities; train it first").
    bool LoadTrained(const std::string& network);
    // What the loaded network holds.
    NetworkView View() const;

private:
    Console& m_console;
    veltra_engine* m_engine = nullptr;
};

// Hands every RESULTS argument after the network, or else (and for an argument "-") every
// non-blank line of standard input (trimmed), to `each`, with where it came from ("" or
// "standard input, line N: "). A line holding a zero byte, which no C string can carry whole, is
// refused ("veltra COMMAND: standard input, line N: the line holds a zero byte") and counted in
// *refused. False when standard input cannot be read ("veltra COMMAND: cannot read standard
// input").
bool ForEachResults(const std::vector<std::string>& args, Console& console, int* refused,
                    const std::function<void(const std::string& results, const std::string& where)>& each);

std::string Trim(const std::string& text);
std::string Join(const std::vector<std::string>& items, const char* separator);

}  // namespace veltra::cli

#endif  // VELTRA_CLI_ENGINE_H
