// StateNames: the names a user gives the network's one-character states on the command line
// ("--names d=date,a=amount"), which reports show in place of the characters. A state without a
// name keeps its character.
#ifndef VELTRA_CLI_STATENAMES_H
#define VELTRA_CLI_STATENAMES_H

#include <string>
#include <vector>

namespace veltra::cli {

class StateNames {
public:
    // Reads "STATE=NAME,STATE=NAME,...", blanks around each piece ignored. False, with the
    // problem in `problem`, for a piece without "=", a state of more or less than one character,
    // an empty name or a state named twice.
    bool Parse(const std::string& text, std::string& problem);
    // The first named state that is none of `states` (the network's, one character each), as the
    // problem to tell; "" when there is none.
    std::string Unknown(const std::vector<std::string>& states, const std::string& network) const;
    // The name given to `state`, else the state itself.
    std::string Label(const std::string& state) const;

private:
    std::string m_names[256];
    std::string m_order;  // the named states, in the order given
};

}  // namespace veltra::cli

#endif  // VELTRA_CLI_STATENAMES_H
