#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Apps/Kaltor/VerbDescription.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

// The command line without the library that reads it: that takes long to compile, and only one source file does.

namespace Kaltor::Cli {

/// One option, flag or positional argument of a verb. Lives as long as its `CommandLine`.
class Option {
public:
    /// It has to be given.
    Option& Require();
    /// What stands for its value in the help, such as "SECONDS".
    Option& ShowValueAs(std::string const& placeholder);
    /// Takes one value each time that it is given, so that arguments may follow. For options with a list.
    Option& TakeOneAtATime();
    /// Only one of the two may be given.
    Option& Exclude(Option const& other);

private:
    friend class Verb;
    explicit Option(CLI::Option* newOption) : option(newOption) {}

    CLI::Option* option;  ///< owned by the command line
};

/// One verb, such as `render`. Names of options are written "-o,--output", those of positional arguments "CLIP".
/// Targets have to outlive the parsing; they keep their values where an option is not given.
class Verb {
public:
    Option AddText(std::string const& names, std::string& target, std::string const& help);
    Option AddTexts(std::string const& names, std::vector<std::string>& target, std::string const& help);
    Option AddFlag(std::string const& names, bool& target, std::string const& help);
    /// A flag that may have a value after "="; "true" where it has none.
    Option AddFlag(std::string const& name, std::string& target, std::string const& help);
    /// `read` gets what was typed, and throws `UsageError` where that is not accepted. For numbers see NumberOption.h.
    Option AddParsed(std::string const& names, std::function<void(std::string const&)> const& read,
                     std::string const& help);

    /// What follows the options in the help, such as examples.
    void SetFooter(std::string const& text);

    /// What the verb does once the whole command line is read; gives the exit status.
    void SetAction(std::function<int()> const& action);

private:
    friend class CommandLine;
    friend class VerbGroup;
    Verb(CLI::App* newVerb, std::function<int()>* newChosen) : verb(newVerb), chosen(newChosen) {}

    CLI::App* verb;  ///< owned by the command line
    std::function<int()>* chosen;
};

/// A verb that has verbs of its own: `kaltor farm VERB`.
class VerbGroup {
public:
    Verb AddVerb(std::string const& name, std::string const& description);

private:
    friend class CommandLine;
    VerbGroup(CLI::App* newGroup, std::function<int()>* newChosen) : group(newGroup), chosen(newChosen) {}

    CLI::App* group;  ///< owned by the command line
    std::function<int()>* chosen;
};

/// The program's command line: `kaltor VERB ...`.
class CommandLine {
public:
    CommandLine(std::string const& description, std::string const& footer);
    ~CommandLine();
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;

    Verb AddVerb(std::string const& name, std::string const& description);
    VerbGroup AddGroup(std::string const& name, std::string const& description, std::string const& footer);

    /// All verbs with their options, as the help shows them.
    ProgramDescription Describe() const;

    /// Reads the arguments of `main` and does what they say, or shows the help or the version. Gives the exit status.
    /// What the build and the shells ask for is understood, too: `--write-man-pages FOLDER`, `--complete WORD...`.
    /// Throws `UsageError` for what nothing takes, and what the verb's action throws.
    int Run(int count, char const* const* words);

private:
    std::unique_ptr<CLI::App> app;
    std::function<int()> chosen;  ///< the action of the verb that was typed
};

}  // namespace Kaltor::Cli
