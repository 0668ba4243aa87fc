#include "cli/Engine.h"

#include <cinttypes>
#include <cstdio>
#include <iostream>

namespace veltra::cli {

std::string Trim(const std::string& text)
{
    const char* const space = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(space);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(space) - first + 1);
}

std::string Join(const std::vector<std::string>& items, const char* separator)
{
    std::string joined;
    for (const std::string& item : items) joined += (joined.empty() ? "" : separator) + item;
    return joined;
}

Engine::Engine(Console& console) : m_console(console)
{
    if (veltra_engine_create(&m_engine) != VELTRA_OK) return;
    veltra_engine_set_message_callback(m_engine, &Console::OnMessage, &console, VELTRA_MESSAGE_ALL);
    veltra_engine_set_progress_callback(m_engine, &Console::OnProgress, &console);
}

bool Engine::Failed(const std::vector<Alias>& aliases, const std::string& where) const
{
    std::string reason = m_engine ? veltra_engine_error(m_engine) : "cannot create an engine";
    std::string file = m_engine ? veltra_engine_error_file(m_engine) : "";
    const int64_t line = m_engine ? veltra_engine_error_line(m_engine) : 0;
    // A file the library was given under another name is named as the user named it.
    for (const Alias& alias : aliases)
        for (std::string* text : {&reason, &file})
            for (size_t at = 0; !alias.path.empty() && (at = text->find(alias.path, at)) != std::string::npos;
                 at += alias.shown.size())
                text->replace(at, alias.path.size(), alias.shown);
    while (!reason.empty() && reason.back() == '\n') reason.pop_back();
    // The file and line before the reason, unless the reason names the file itself.
    if (file.empty() || reason.find(file) != std::string::npos)
        file.clear();
    else if (line > 0)
        file += ", line " + std::to_string(line) + ": ";
    else
        file += ": ";
    m_console.Error(where + file + reason);
    return false;
}

bool Engine::Load(const std::string& network)
{
    if (!m_engine) return Failed();
    return veltra_engine_load_file(m_engine, network.c_str()) == VELTRA_OK || Failed();
}

bool Engine::LoadTrained(const std::string& network)
{
    if (!Load(network)) return false;
    if (View().info.probability_lines > 0) return true;
    m_console.Error(network + " holds no probabilities; train it first");
    return false;
}

namespace {

// A text of the network through the size-first convention.
template <class Get>
std::string Text(Get get)
{
    int32_t size = 0;
    get(nullptr, &size);
    std::string text(static_cast<size_t>(size > 0 ? size : 1), '\0');
    if (get(&text[0], &size) != VELTRA_OK) return std::string();
    text.resize(static_cast<size_t>(size - 1));
    return text;
}

}  // namespace

NetworkView Engine::View() const
{
    NetworkView view;
    if (veltra_network_get_info(m_engine, &view.info) != VELTRA_OK) return view;
    veltra_engine* e = m_engine;
    view.name = Trim(Text([&](char* t, int32_t* n) { return veltra_network_get_name(e, t, n); }));
    for (int32_t s = 0; s < view.info.states; ++s)
        view.states.push_back(
            Text([&](char* t, int32_t* n) { return veltra_network_get_state(e, s, nullptr, t, n); }));
    for (int32_t t = 0; t < view.info.tests; ++t) {
        TestView test;
        test.tag =
            Text([&](char* x, int32_t* n) { return veltra_network_get_test(e, t, VELTRA_TEST_TAG, x, n); });
        test.description = Trim(Text([&](char* x, int32_t* n) {
            return veltra_network_get_test(e, t, VELTRA_TEST_DESCRIPTION, x, n);
        }));
        int32_t values = 0;
        veltra_network_get_value_count(e, t, &values);
        for (int32_t v = 0; v < values; ++v)
            test.values.push_back(
                Text([&](char* x, int32_t* n) { return veltra_network_get_value(e, t, v, x, n); }));
        int32_t known = 0;
        veltra_network_get_figures(e, t, &test.cp, &test.dp, &known);
        test.hasCp = (known & 1) != 0;
        test.hasDp = (known & 2) != 0;
        view.tests.push_back(test);
    }
    return view;
}

bool ForEachResults(const std::vector<std::string>& args, Console& console, int* refused,
                    const std::function<void(const std::string& results, const std::string& where)>& each)
{
    const auto fromInput = [&] {
        std::string line;
        for (int64_t number = 1; std::getline(std::cin, line); ++number) {
            line = Trim(line);
            if (line.empty()) continue;
            const std::string where = "standard input, line " + std::to_string(number) + ": ";
            if (line.find('\0') != std::string::npos) {
                std::fflush(stdout);
                console.Error(where + "the line holds a zero byte");
                ++*refused;
                continue;
            }
            each(line, where);
        }
        if (!std::cin.bad() && !std::ferror(stdin)) return true;
        console.Error("cannot read standard input");
        return false;
    };
    if (args.size() == 1) return fromInput();
    for (size_t i = 1; i < args.size(); ++i)
        if (args[i] == "-") {
            if (!fromInput()) return false;
        } else {
            each(args[i], "");
        }
    return true;
}

}  // namespace veltra::cli
