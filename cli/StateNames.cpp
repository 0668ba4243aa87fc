#include "cli/StateNames.h"

#include "cli/Engine.h"

namespace veltra::cli {

bool StateNames::Parse(const std::string& text, std::string& problem)
{
    size_t at = 0;
    do {
        size_t end = text.find(',', at);
        if (end == std::string::npos) end = text.size();
        const std::string piece = Trim(text.substr(at, end - at));
        at = end + 1;
        const size_t equals = piece.find('=');
        if (equals == std::string::npos) {
            problem = "\"" + piece + "\" is not STATE=NAME";
            return false;
        }
        const std::string state = Trim(piece.substr(0, equals)), name = Trim(piece.substr(equals + 1));
        if (state.size() != 1) {
            problem = "\"" + piece + "\": a state is one character";
            return false;
        }
        if (name.empty()) {
            problem = "\"" + piece + "\": the name is empty";
            return false;
        }
        std::string& slot = m_names[static_cast<unsigned char>(state[0])];
        if (!slot.empty()) {
            problem = state + " is named twice";
            return false;
        }
        slot = name;
        m_order += state;
    } while (at <= text.size());
    return true;
}

std::string StateNames::Unknown(const std::vector<std::string>& states, const std::string& network) const
{
    for (char named : m_order) {
        bool known = false;
        for (const std::string& state : states) known = known || state == std::string(1, named);
        if (!known)
            return std::string(1, named) + " is no state of " + network +
                   " (its states: " + Join(states, " ") + ")";
    }
    return "";
}

std::string StateNames::Label(const std::string& state) const
{
    if (state.size() != 1 || m_names[static_cast<unsigned char>(state[0])].empty()) return state;
    return m_names[static_cast<unsigned char>(state[0])];
}

}  // namespace veltra::cli
