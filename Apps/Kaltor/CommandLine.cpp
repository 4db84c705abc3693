#include "Apps/Kaltor/CommandLine.h"

#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Completion.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/ManPages.h"
#include "Apps/Kaltor/Specs.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Cli {
namespace {

/// The verb that was being typed, or the program itself.
CLI::App const& FindTyped(CLI::App const& app) {
    std::vector<CLI::App*> const verbs = app.get_subcommands();
    return verbs.empty() ? app : FindTyped(*verbs.front());
}

/// "kaltor", "kaltor VERB" or "kaltor GROUP VERB", whichever was being typed.
std::string TypedSoFar(CLI::App const& app) {
    std::vector<CLI::App*> const verbs = app.get_subcommands();
    return verbs.empty() ? app.get_name() : app.get_name() + " " + TypedSoFar(*verbs.front());
}

/// Words of the command line that nothing takes: a mistyped option or verb, most often.
std::string DescribeUnknown(CLI::App const& app, std::string const& word) {
    CLI::App const& asked = FindTyped(app);
    bool const takesVerb = !asked.get_subcommands(nullptr).empty();
    std::vector<std::string> known;
    if (!word.empty() && word.front() == '-') {
        for (CLI::Option const* const option : asked.get_options()) {
            for (std::string const& name : option->get_lnames()) {
                known.push_back("--" + name);
            }
        }
    } else if (takesVerb) {
        for (CLI::App const* const verb : asked.get_subcommands(nullptr)) {
            known.push_back(verb->get_name());
        }
    }
    char const* const what = word.front() == '-' ? "option" : takesVerb ? "verb" : "argument";
    std::string const nearest = Proc::FindNearest(word.substr(0, word.find('=')), known);
    std::string const hint =
        nearest.empty() ? fmt::format("see {} --help", TypedSoFar(app)) : fmt::format("did you mean {}?", nearest);
    return fmt::format("there is no {} \"{}\"; {}", what, word, hint);
}

/// "list, describe, ... or doctor".
std::string ListVerbs(CLI::App const& app) {
    std::vector<std::string> names;
    for (CLI::App const* const verb : app.get_subcommands(nullptr)) {
        names.push_back(verb->get_name());
    }
    std::string const last = names.back();
    names.pop_back();
    return fmt::format("{} or {}", fmt::join(names, ", "), last);
}

std::vector<ArgumentDescription> DescribeArguments(CLI::App const& app, bool isPositional) {
    std::vector<ArgumentDescription> arguments;
    for (CLI::Option const* const option : app.get_options()) {
        if (option->get_positional() != isPositional) {
            continue;
        }
        ArgumentDescription argument{{},
                                     option->get_type_size() == 0 || isPositional ? "" : option->get_type_name(),
                                     option->get_description(),
                                     option->get_required(),
                                     option->get_items_expected_max() > 1};
        for (std::string const& name : option->get_snames()) {
            argument.names.push_back("-" + name);
        }
        for (std::string const& name : option->get_lnames()) {
            argument.names.push_back("--" + name);
        }
        if (isPositional) {
            argument.names = {option->get_name()};
        }
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

VerbDescription DescribeVerb(CLI::App const& verb) {
    VerbDescription description{verb.get_name(),
                                verb.get_description(),
                                DescribeArguments(verb, true),
                                DescribeArguments(verb, false),
                                verb.get_footer(),
                                {}};
    for (CLI::App const* const inner : verb.get_subcommands(nullptr)) {
        description.verbs.push_back(DescribeVerb(*inner));
    }
    return description;
}

std::string ShowCompletions(std::vector<Completion> const& completions) {
    std::string text;
    for (Completion const& completion : completions) {
        text += completion.help.empty() ? completion.word + "\n"
                                        : fmt::format("{}\t{}\n", completion.word, completion.help);
    }
    return text;
}

}  // namespace

Option& Option::Require() {
    option->required();
    return *this;
}

Option& Option::ShowValueAs(std::string const& placeholder) {
    option->type_name(placeholder);
    return *this;
}

Option& Option::TakeOneAtATime() {
    option->allow_extra_args(false);
    return *this;
}

Option& Option::Exclude(Option const& other) {
    option->excludes(other.option);
    return *this;
}

Option Verb::AddText(std::string const& names, std::string& target, std::string const& help) {
    return Option(verb->add_option(names, target, help));
}

Option Verb::AddTexts(std::string const& names, std::vector<std::string>& target, std::string const& help) {
    return Option(verb->add_option(names, target, help));
}

Option Verb::AddFlag(std::string const& names, bool& target, std::string const& help) {
    return Option(verb->add_flag(names, target, help));
}

Option Verb::AddFlag(std::string const& name, std::string& target, std::string const& help) {
    return Option(verb->add_flag(name, target, help));
}

Option Verb::AddParsed(std::string const& names, std::function<void(std::string const&)> const& read,
                       std::string const& help) {
    return Option(verb->add_option_function<std::string>(names, read, help));
}

void Verb::SetFooter(std::string const& text) {
    verb->footer(text);
}

void Verb::SetAction(std::function<int()> const& action) {
    verb->callback([action, target = chosen] { *target = action; });
}

CommandLine::CommandLine(std::string const& description, std::string const& footer)
    : app(std::make_unique<CLI::App>(description)) {
    app->name("kaltor");
    app->set_version_flag("--version", "kaltor " KALTOR_VERSION);
    app->require_subcommand(1);
    app->footer(footer);
}

CommandLine::~CommandLine() = default;

Verb CommandLine::AddVerb(std::string const& name, std::string const& description) {
    return {app->add_subcommand(name, description), &chosen};
}

VerbGroup CommandLine::AddGroup(std::string const& name, std::string const& description, std::string const& footer) {
    CLI::App* const group = app->add_subcommand(name, description);
    group->require_subcommand(1);
    group->footer(footer);
    return {group, &chosen};
}

Verb VerbGroup::AddVerb(std::string const& name, std::string const& description) {
    return {group->add_subcommand(name, description), chosen};
}

ProgramDescription CommandLine::Describe() const {
    ProgramDescription program{app->get_description(), app->get_footer(), DescribeArguments(*app, false), {}};
    for (CLI::App const* const verb : app->get_subcommands(nullptr)) {
        program.verbs.push_back(DescribeVerb(*verb));
    }
    return program;
}

int CommandLine::Run(int count, char const* const* words) {
    std::string const first = count > 1 ? words[1] : "";
    if (first == "--complete") {
        WriteOut(ShowCompletions(Complete(Describe(), {words + 2, words + count})));
        return 0;
    }
    if (first == "--write-man-pages" && count == 3) {
        WriteManPages(Describe(), words[2]);
        return 0;
    }
    try {
        if (count > 1 && words[1][0] != '-') {
            std::vector<CLI::App*> const verbs = app->get_subcommands(nullptr);
            bool const isVerb = std::any_of(verbs.begin(), verbs.end(),
                                            [&](CLI::App const* verb) { return verb->get_name() == words[1]; });
            if (!isVerb) {
                throw UsageError(DescribeUnknown(*app, words[1]));
            }
        }
        // "-@0-5" is a piece of standard input; to the parser it would be an option.
        constexpr std::string_view kStandardInput = "-@";
        std::vector<std::string> texts(words, words + count);
        std::vector<char const*> typed;
        for (std::string& text : texts) {
            if (text.starts_with(kStandardInput)) {
                text = "/dev/stdin" + text.substr(1);
            }
            typed.push_back(text.c_str());
        }
        app->parse(count, typed.data());
    } catch (CLI::CallForHelp const&) {
        std::string const typed = TypedSoFar(*app);
        std::size_t const last = typed.rfind(' ');
        WriteOut(last == std::string::npos ? app->help() : FindTyped(*app).help(typed.substr(0, last)));
        return 0;
    } catch (CLI::CallForVersion const& version) {
        WriteOut(std::string(version.what()) + "\n");
        return 0;
    } catch (CLI::ExtrasError const&) {
        std::vector<std::string> const extras = app->remaining(true);
        throw UsageError(DescribeUnknown(*app, extras.front()));
    } catch (CLI::RequiredError const& error) {
        if (CLI::App const& typed = FindTyped(*app); !typed.get_subcommands(nullptr).empty()) {
            std::vector<std::string> const extras = app->remaining(true);
            throw UsageError(extras.empty()
                                 ? fmt::format("say what to do: {}; see {} --help", ListVerbs(typed), TypedSoFar(*app))
                                 : DescribeUnknown(*app, extras.front()));
        }
        throw UsageError(fmt::format("{}; see {} --help", error.what(), TypedSoFar(*app)));
    } catch (CLI::ParseError const& error) {
        throw UsageError(fmt::format("{}; see {} --help", error.what(), TypedSoFar(*app)));
    }
    return chosen();
}

}  // namespace Kaltor::Cli
