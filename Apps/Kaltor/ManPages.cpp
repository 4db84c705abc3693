#include "Apps/Kaltor/ManPages.h"

#include <sstream>

#include <boost/algorithm/string/case_conv.hpp>
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

constexpr char const* kExitStatus =
    ".SH EXIT STATUS\n0 where all is done, 1 where it failed, 2 where the command was used wrongly.\n";

}  // namespace

std::string MakeManPage(ProgramDescription const& program) {
    std::string text = MakeTitle("kaltor", program.summary) +
                       ".SH SYNOPSIS\n\\fBkaltor\\fR \\fIVERB\\fR [\\fIARGUMENT\\fR...]\n.SH VERBS\n";
    std::vector<std::string> pages;
    for (VerbDescription const& verb : program.verbs) {
        text += fmt::format(".TP\n\\fB{}\\fR\n{}\n", EscapeRoff(verb.name), EscapeRoff(verb.summary));
        pages.push_back(fmt::format("\\fBkaltor\\-{}\\fR(1)", EscapeRoff(verb.name)));
    }
    text += ListArguments("OPTIONS", program.options) + ShowFooter(program.footer) + kExitStatus;
    return text + fmt::format(".SH SEE ALSO\n{}\n", fmt::join(pages, ",\n"));
}

std::string MakeManPage(VerbDescription const& verb) {
    std::string text = MakeTitle("kaltor-" + verb.name, verb.summary);
    text += fmt::format(".SH SYNOPSIS\n\\fBkaltor {}\\fR [\\fIOPTION\\fR...]", EscapeRoff(verb.name));
    for (ArgumentDescription const& argument : verb.positionals) {
        std::string const shown =
            fmt::format("\\fI{}\\fR{}", EscapeRoff(argument.names.front()), argument.isRepeated ? "..." : "");
        text += argument.isRequired ? " " + shown : fmt::format(" [{}]", shown);
    }
    text += "\n" + ListArguments("ARGUMENTS", verb.positionals) + ListArguments("OPTIONS", verb.options) +
            ShowFooter(verb.footer) + kExitStatus;
    return text + ".SH SEE ALSO\n\\fBkaltor\\fR(1)\n";
}

void WriteManPages(ProgramDescription const& program, std::string const& folder) {
    WriteFile(folder + "/kaltor.1", MakeManPage(program));
    for (VerbDescription const& verb : program.verbs) {
        WriteFile(fmt::format("{}/kaltor-{}.1", folder, verb.name), MakeManPage(verb));
    }
}

}  // namespace Kaltor::Cli
