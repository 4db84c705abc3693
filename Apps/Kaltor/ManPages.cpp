#include "Apps/Kaltor/ManPages.h"

#include <sstream>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Console.h"

namespace Kaltor::Cli {
namespace {

/// Text that roff prints as it is.
std::string EscapeRoff(std::string_view text) {
    std::string escaped;
    for (char const letter : text) {
        if (letter == '\\') {
            escaped += "\\e";
        } else if (letter == '-') {
            escaped += "\\-";
        } else if (letter == '\'') {
            escaped += "\\(aq";
        } else if (letter == '^') {
            escaped += "\\(ha";
        } else if (letter == '~') {
            escaped += "\\(ti";
        } else {
            escaped += letter;
        }
    }
    // A dot at the beginning of a line would be a request.
    return escaped.starts_with('.') ? "\\&" + escaped : escaped;
}

std::string MakeTitle(std::string const& name, std::string const& summary) {
    return fmt::format(".TH {} 1 \"\" \"kaltor {}\" \"User Commands\"\n.SH NAME\n{} \\- {}\n",
                       boost::to_upper_copy(EscapeRoff(name)), KALTOR_VERSION, EscapeRoff(name), EscapeRoff(summary));
}

/// "-o, --output OUT".
std::string NameArgument(ArgumentDescription const& argument) {
    std::string text;
    for (std::string const& name : argument.names) {
        text += fmt::format("{}\\fB{}\\fR", text.empty() ? "" : ", ", EscapeRoff(name));
    }
    return argument.value.empty() ? text : fmt::format("{} \\fI{}\\fR", text, EscapeRoff(argument.value));
}

std::string ListArguments(std::string const& heading, std::vector<ArgumentDescription> const& arguments) {
    std::string text = arguments.empty() ? "" : fmt::format(".SH {}\n", heading);
    for (ArgumentDescription const& argument : arguments) {
        text += fmt::format(".TP\n{}\n{}\n", NameArgument(argument), EscapeRoff(argument.help));
    }
    return text;
}

/// Paragraphs, and what is indented in them as it stands; lines that introduce examples become a heading.
std::string ShowFooter(std::string const& footer) {
    std::istringstream lines(footer);
    std::string text;
    bool isInExample = false;
    bool hasHeading = false;
    for (std::string line; std::getline(lines, line);) {
        bool const isExample = line.starts_with("  ");
        if (isExample != isInExample) {
            text += isExample ? ".PP\n.nf\n.RS 2\n" : ".RE\n.fi\n";
        }
        isInExample = isExample;
        if (line == "Example:" || line == "Examples:") {
            text += ".SH EXAMPLES\n";
            hasHeading = true;
        } else if (line.empty()) {
            text += ".PP\n";
        } else {
            if (!isExample && !hasHeading) {
                text += ".SH NOTES\n";
                hasHeading = true;
            }
            text += EscapeRoff(isExample ? line.substr(2) : line) + "\n";
        }
    }
    return text + (isInExample ? ".RE\n.fi\n" : "");
}

std::string ShowVerbs(std::vector<VerbDescription> const& verbs) {
    std::string text = verbs.empty() ? "" : ".SH VERBS\n";
    for (VerbDescription const& verb : verbs) {
        text += fmt::format(".TP\n\\fB{}\\fR\n{}\n", EscapeRoff(verb.name), EscapeRoff(verb.summary));
    }
    return text;
}

/// "kaltor-farm-submit" for "farm submit".
std::string ManPageOf(std::string const& typed) {
    return "kaltor-" + boost::replace_all_copy(typed, " ", "-");
}

std::string ListManPages(std::string const& begin, std::vector<VerbDescription> const& verbs) {
    std::vector<std::string> pages;
    for (VerbDescription const& verb : verbs) {
        pages.push_back(fmt::format("\\fB{}\\fR(1)", EscapeRoff(begin + verb.name)));
    }
    return fmt::format("{}", fmt::join(pages, ",\n"));
}

constexpr char const* kExitStatus =
    ".SH EXIT STATUS\n0 where all is done, 1 where it failed, 2 where the command was used wrongly.\n";

}  // namespace

std::string MakeManPage(ProgramDescription const& program) {
    return MakeTitle("kaltor", program.summary) + ".SH SYNOPSIS\n\\fBkaltor\\fR \\fIVERB\\fR [\\fIARGUMENT\\fR...]\n" +
           ShowVerbs(program.verbs) + ListArguments("OPTIONS", program.options) + ShowFooter(program.footer) +
           kExitStatus + fmt::format(".SH SEE ALSO\n{}\n", ListManPages("kaltor-", program.verbs));
}

std::string MakeManPage(VerbDescription const& verb, std::string const& group) {
    std::string const page = ManPageOf(group + verb.name);
    std::string text = MakeTitle(page, verb.summary);
    text += fmt::format(".SH SYNOPSIS\n\\fBkaltor {}{}\\fR", group, EscapeRoff(verb.name));
    text += verb.verbs.empty() ? " [\\fIOPTION\\fR...]" : " \\fIVERB\\fR [\\fIARGUMENT\\fR...]";
    for (ArgumentDescription const& argument : verb.positionals) {
        std::string const shown =
            fmt::format("\\fI{}\\fR{}", EscapeRoff(argument.names.front()), argument.isRepeated ? "..." : "");
        text += argument.isRequired ? " " + shown : fmt::format(" [{}]", shown);
    }
    text += "\n" + ShowVerbs(verb.verbs) + ListArguments("ARGUMENTS", verb.positionals) +
            ListArguments("OPTIONS", verb.options) + ShowFooter(verb.footer) + kExitStatus;
    std::string const others = verb.verbs.empty() ? "" : ",\n" + ListManPages(page + "-", verb.verbs);
    return text + fmt::format(".SH SEE ALSO\n\\fBkaltor\\fR(1){}\n", others);
}

void WriteManPages(ProgramDescription const& program, std::string const& folder) {
    WriteFile(folder + "/kaltor.1", MakeManPage(program));
    for (VerbDescription const& verb : program.verbs) {
        WriteFile(fmt::format("{}/{}.1", folder, ManPageOf(verb.name)), MakeManPage(verb));
        for (VerbDescription const& inner : verb.verbs) {
            WriteFile(fmt::format("{}/{}.1", folder, ManPageOf(verb.name + " " + inner.name)),
                      MakeManPage(inner, verb.name + " "));
        }
    }
}

}  // namespace Kaltor::Cli
