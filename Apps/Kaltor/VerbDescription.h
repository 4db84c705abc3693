#pragma once

#include <string>
#include <vector>

namespace Kaltor::Cli {

/// One option, flag or positional argument, as the help shows it.
struct ArgumentDescription {
    std::vector<std::string> names;  ///< "-o", "--output"; one such as "CLIP" for a positional argument
    std::string value;               ///< what stands for its value, such as "SECONDS"; "" for a flag
    std::string help;
    bool isRequired;
    bool isRepeated;  ///< takes more than one value
};

/// What the command line knows about a verb: the one source of the help, the man pages and the completion.
struct VerbDescription {
    std::string name;
    std::string summary;
    std::vector<ArgumentDescription> positionals;
    std::vector<ArgumentDescription> options;
    std::string footer;
    std::vector<VerbDescription> verbs;  ///< of a group, such as "submit" of "farm"
};

struct ProgramDescription {
    std::string summary;
    std::string footer;
    std::vector<ArgumentDescription> options;
    std::vector<VerbDescription> verbs;
};

}  // namespace Kaltor::Cli
