#include "Apps/Kaltor/Completion.h"

#include <algorithm>
#include <array>
#include <functional>
#include <optional>

#include <boost/algorithm/string/predicate.hpp>
#include <fmt/format.h>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Core/Text.h"
#include "Media/EncoderChoice.h"

namespace Kaltor::Cli {
namespace {

using Completions = std::vector<Completion>;

/// The command as far as it is typed.
struct TypedWords {
    VerbDescription const& verb;
    std::vector<std::string> words;        ///< after the verb, without the one that is being typed
    std::vector<std::string> positionals;  ///< those among them that no option takes
    std::string output;                    ///< what -o was given
};

bool HasName(ArgumentDescription const& argument, std::string const& name) {
    return std::find(argument.names.begin(), argument.names.end(), name) != argument.names.end();
}

ArgumentDescription const* FindOption(VerbDescription const& verb, std::string const& name) {
    auto const found = std::find_if(verb.options.begin(), verb.options.end(),
                                    [&](ArgumentDescription const& option) { return HasName(option, name); });
    return found == verb.options.end() ? nullptr : &*found;
}

TypedWords SortWords(VerbDescription const& verb, std::vector<std::string> words) {
    TypedWords typed{verb, std::move(words), {}, {}};
    for (std::size_t i = 0; i < typed.words.size(); ++i) {
        std::string const& word = typed.words[i];
        if (!word.starts_with('-') || word == "-") {
            typed.positionals.push_back(word);
            continue;
        }
        ArgumentDescription const* const option = FindOption(verb, word);
        if (option != nullptr && !option->value.empty()) {
            ++i;
            if (HasName(*option, "--output") && i < typed.words.size()) {
                typed.output = typed.words[i];
            }
        }
    }
    return typed;
}

/// Those of `candidates` that go on with `start`, each with `before` in front.
Completions Pick(Completions candidates, std::string const& start, std::string const& before) {
    std::erase_if(candidates, [&](Completion const& one) { return !boost::istarts_with(one.word, start); });
    for (Completion& one : candidates) {
        one.word = before + one.word;
    }
    return candidates;
}

/// Whole names and usual ones; once something is typed, those without "Effect" or "Transition", too.
Completions OfferNames(Catalog const& catalog, std::string const& start,
                       std::function<bool(CatalogEntry const&)> const& accepts) {
    Completions names;
    for (CatalogEntry const& entry : catalog.GetEntries()) {
        if (accepts(entry) && MakePrintable(entry.name) == entry.name) {  // shells show what is offered as it is
            std::string const summary = MakePrintable(entry.defaults->GetSummary());
            names.push_back({entry.name, summary});
            if (std::string const prefix = entry.kind == Kind::Transition ? "Transition" : "Effect";
                !start.empty() && entry.name.starts_with(prefix)) {
                names.push_back({entry.name.substr(prefix.size()), summary});
            }
            for (std::string_view const usual : GetUsualNames(entry.name)) {
                names.push_back({std::string(usual), summary});
            }
        }
    }
    return names;
}

constexpr auto kAny = [](CatalogEntry const&) { return true; };

/// A field with its "=", or the values of the field before the "=".
Completions CompleteAssignment(Proc::Settings const& settings, std::string const& text, std::string const& before) {
    std::size_t const sign = text.find('=');
    Completions candidates;
    for (Proc::Field const& field : settings.GetFields()) {
        if (sign == std::string::npos) {
            candidates.push_back({fmt::format("{}=", field.key), MakePrintable(field.help)});
        } else if (field.key == std::string_view(text).substr(0, sign)) {
            for (Proc::FieldLabel const& label : field.labels) {
                candidates.push_back({std::string(label.label), ""});
            }
            if (field.type == Proc::FieldType::Flag) {
                candidates = {{"true", ""}, {"false", ""}};
            }
        }
    }
    return sign == std::string::npos ? Pick(candidates, text, before)
                                     : Pick(candidates, text.substr(sign + 1), before + text.substr(0, sign + 1));
}

/// "[INDEX:]NAME[:FIELD=VALUE...]", where the index counts `places`.
Completions CompleteSpec(Catalog const& catalog, Kind kind, std::size_t places, std::string const& text) {
    std::size_t at = text.find(':');
    std::string before;
    if (at != std::string::npos && at > 0 && text.find_first_not_of("0123456789") == at) {
        before = text.substr(0, at + 1);
    }
    std::string const rest = text.substr(before.size());
    std::size_t const last = rest.rfind(':');
    if (last != std::string::npos) {
        std::string const name = rest.substr(0, rest.find_first_of(":@"));
        CatalogEntry const& entry = kind == Kind::Transition ? catalog.FindTransition(name) : catalog.FindEffect(name);
        return CompleteAssignment(*entry.defaults, rest.substr(last + 1), before + rest.substr(0, last + 1));
    }
    Completions candidates =
        OfferNames(catalog, rest, [kind](CatalogEntry const& entry) { return entry.kind == kind; });
    if (kind == Kind::Transition) {
        candidates.insert(candidates.begin(), {"none", "a plain cut"});
    }
    for (std::size_t i = 1; before.empty() && i <= places; ++i) {
        candidates.push_back(
            {fmt::format("{}:", i), kind == Kind::Transition ? "only at this joint" : "only this clip"});
    }
    return Pick(candidates, rest, before);
}

Completions OfferCodecs(std::string const& output, AVMediaType type) {
    Completions codecs;
    for (std::string const& name : Media::ListEncoders(Media::FindContainer(output.empty() ? "a.mkv" : output), type)) {
        codecs.push_back({name, ""});
    }
    return codecs;
}

/// The values of options that take one of a few words, with spaces between.
struct Choices {
    std::string_view verb;  ///< empty: every verb that has the option
    std::string_view option;
    std::string_view values;
};
constexpr std::array kChoices{Choices{"", "--fit", "whole fill stretch blur"},
                              Choices{"", "--format", "mp4 mov mkv webm mpegts nut y4m raw"},
                              Choices{"render", "--progress", "bar json none"},
                              Choices{"bench", "--depth", "8 16f"},
                              Choices{"", "--depth", "auto 8 16f"},
                              Choices{"", "--hdr", "sdr pq hlg"},
                              Choices{"", "--alpha", "keep"},
                              Choices{"", "--engine", "slurm local"}};

Completions OfferChoices(TypedWords const& typed, std::string const& option) {
    auto const found = std::find_if(kChoices.begin(), kChoices.end(), [&](Choices const& one) {
        return one.option == option && (one.verb.empty() || one.verb == typed.verb.name);
    });
    Completions values;
    if (found != kChoices.end()) {
        for (std::string_view const value : Core::Split(found->values, ' ')) {
            values.push_back({std::string(value), ""});
        }
    }
    return values;
}

Completions CompleteValue(TypedWords const& typed, std::string const& option, std::string const& text) {
    if (Completions const choices = OfferChoices(typed, option); !choices.empty()) {
        return Pick(choices, text, "");
    }
    if (option == "--codec" || option == "--audio-codec") {
        return Pick(OfferCodecs(typed.output, option == "--codec" ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO), text, "");
    }
    if (option == "--for") {
        Completions uses;
        for (Media::Profile const& profile : Media::GetProfiles()) {
            uses.push_back({std::string(profile.name), std::string(profile.help)});
        }
        return Pick(uses, text, "");
    }
    std::size_t const clips = typed.positionals.size();
    if (option == "--effect") {
        return CompleteSpec(Catalog::Load(), Kind::Effect, clips, text);
    }
    if (option == "--transition") {
        return CompleteSpec(Catalog::Load(), Kind::Transition, clips > 0 ? clips - 1 : 0, text);
    }
    if (option == "--only") {
        return Pick(OfferNames(Catalog::Load(), text, kAny), text, "");
    }
    if (option == "--set" && !typed.positionals.empty()) {
        Catalog const catalog = Catalog::Load();
        return CompleteAssignment(*catalog.Find(typed.positionals.front()).defaults, text, "");
    }
    return {};
}

Completions OfferOptions(std::vector<ArgumentDescription> const& options) {
    Completions names;
    for (ArgumentDescription const& option : options) {
        for (std::string const& name : option.names) {
            if (name.starts_with("--")) {
                names.push_back({name, option.help});
            }
        }
    }
    return names;
}

/// The option whose value the next word is: the last one, where it takes any number of values.
ArgumentDescription const* FindOpenOption(TypedWords const& typed) {
    for (std::size_t i = typed.words.size(); i-- > 0;) {
        if (typed.words[i].starts_with("--")) {
            ArgumentDescription const* const option = FindOption(typed.verb, typed.words[i]);
            bool const isOpen = option != nullptr && !option->value.empty() &&
                                (i + 1 == typed.words.size() || HasName(*option, "--only"));
            return isOpen ? option : nullptr;
        }
    }
    return nullptr;
}

Completions CompleteInVerb(TypedWords const& typed, std::string const& word) {
    if (ArgumentDescription const* const option = FindOpenOption(typed)) {
        return CompleteValue(typed, option->names.back(), word);
    }
    if (word.starts_with("--") && word.find('=') != std::string::npos) {
        std::string const before = word.substr(0, word.find('=') + 1);
        return Pick(CompleteValue(typed, before.substr(0, before.size() - 1), word.substr(before.size())), "", before);
    }
    if (word.starts_with('-')) {
        return Pick(OfferOptions(typed.verb.options), word, "");
    }
    std::vector<ArgumentDescription> const& wanted = typed.verb.positionals;
    bool const isName =
        !wanted.empty() && HasName(wanted.front(), "NAME") && (typed.positionals.empty() || wanted.front().isRepeated);
    return isName ? Pick(OfferNames(Catalog::Load(), word, kAny), word, "") : Completions();
}

/// One of the verbs, an option of what they belong to, or what follows a verb.
Completions CompleteVerb(std::vector<VerbDescription> const& verbs, std::vector<ArgumentDescription> const& options,
                         std::vector<std::string> const& words) {
    if (words.size() < 2) {
        std::string const word = words.empty() ? "" : words.front();
        Completions candidates;
        for (VerbDescription const& verb : verbs) {
            candidates.push_back({verb.name, verb.summary});
        }
        return Pick(word.starts_with('-') ? OfferOptions(options) : candidates, word, "");
    }
    auto const verb =
        std::find_if(verbs.begin(), verbs.end(), [&](VerbDescription const& one) { return one.name == words.front(); });
    if (verb == verbs.end()) {
        return {};
    }
    if (!verb->verbs.empty()) {
        return CompleteVerb(verb->verbs, verb->options, {words.begin() + 1, words.end()});
    }
    return CompleteInVerb(SortWords(*verb, {words.begin() + 1, words.end() - 1}), words.back());
}

}  // namespace

std::vector<Completion> Complete(ProgramDescription const& program, std::vector<std::string> const& words) {
    try {
        return CompleteVerb(program.verbs, program.options, words);
    } catch (std::exception const&) {
        return {};  // a name that is not known, or no plug-in: nothing to offer, and no place for a message
    }
}

}  // namespace Kaltor::Cli
