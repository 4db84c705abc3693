#include "Apps/Kaltor/List.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Text.h"
#include "Edit/Json.h"
#include "Proc/Effects/ShaderFiles/ShaderFile.h"

namespace Kaltor::Cli {
namespace {

using nlohmann::ordered_json;
using Proc::Field;
using Proc::FieldType;

/// Numbers as they are typed, so that a float's 0.1 stays 0.1.
ordered_json NumberOf(Field const& field, Proc::FieldValue const& value) {
    return ordered_json::parse(field.Format(value));
}

ordered_json DefaultOf(Field const& field, Proc::FieldValue const& value) {
    switch (field.type) {
        case FieldType::Choice:
        case FieldType::Color:
        case FieldType::File:
            return field.Format(value);
        case FieldType::Reals8:
            return std::get<Proc::Reals8>(value);
        case FieldType::Reals:
        case FieldType::Ints:
            return std::get<Proc::Numbers>(value);
        default:
            return NumberOf(field, value);  // a flag's text is JSON too
    }
}

ordered_json RangeOf(Field const& field) {
    if (field.type == FieldType::Int || field.type == FieldType::Uint) {
        return {static_cast<std::int64_t>(field.minimum), static_cast<std::int64_t>(field.maximum)};
    }
    return field.HasRange() ? ordered_json{field.minimum, field.maximum} : ordered_json(nullptr);
}

/// Where it comes from.
char const* OriginOf(CatalogEntry const& entry, Proc::Settings const& settings) {
    if (!settings.GetOrigin().empty()) {
        return "shader";
    }
    return Proc::FindRowKind(entry.name) ? "standard" : "plug-in";
}

}  // namespace

ordered_json DescribeEntry(CatalogEntry const& entry) {
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(entry, {});
    ordered_json fields = ordered_json::array();
    for (Field const& field : settings->GetFields()) {
        ordered_json labels = ordered_json::array();
        for (Proc::FieldLabel const& label : field.labels) {
            labels.push_back({{"value", label.value}, {"label", label.label}});
        }
        fields.push_back({{"name", field.key},
                          {"type", field.GetTypeName()},
                          {"default", DefaultOf(field, field.get(*settings))},
                          {"range", RangeOf(field)},
                          {"labels", labels},
                          {"help", field.help}});
    }
    return {{"name", entry.name},
            {"kind", GetName(entry.kind)},
            {"summary", settings->GetSummary()},
            {"usualNames", GetUsualNames(entry.name)},
            {"inputs", entry.isTwoInput ? 2 : 1},
            {"moreInputs", entry.takesMore},
            {"origin", OriginOf(entry, *settings)},
            {"file", settings->GetOrigin().empty() ? ordered_json(nullptr) : ordered_json(settings->GetOrigin())},
            {"fields", fields}};
}

namespace {

/// One row for each field: key, type, default, accepted values, help.
std::string DescribeFields(CatalogEntry const& entry, std::string_view indent) {
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(entry, {});
    std::vector<std::array<std::string, 5>> rows;
    std::array<std::size_t, 5> widths{};
    for (Field const& field : settings->GetFields()) {
        rows.push_back({std::string(field.key), field.GetTypeName(), field.Format(field.get(*settings)),
                        field.DescribeRange(), MakePrintable(field.help)});
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], rows.back()[i].size());
        }
    }
    // A long list of labels would push the help of all rows off the screen.
    constexpr std::size_t kWidest = 40;
    widths[3] = std::min(widths[3], kWidest);
    std::string text;
    for (auto const& [key, type, value, range, help] : rows) {
        text += fmt::format("{}{:{}}  {:{}}  {:{}}  {:{}}  {}\n", indent, key, widths[0], type, widths[1], value,
                            widths[2], range, widths[3], help);
    }
    return text;
}

std::string InputsOf(CatalogEntry const& entry) {
    if (entry.takesMore) {
        return "a base picture and one or more overlays";
    }
    return entry.isTwoInput ? "two pictures, the outgoing and the incoming one" : "one picture";
}

/// Another one that the same text names where only effects or only transitions are wanted.
CatalogEntry const* FindOther(Catalog const& catalog, CatalogEntry const& entry, std::string const& asked) {
    for (CatalogEntry const& other : catalog.GetEntries()) {
        std::vector<std::string_view> const names = GetUsualNames(other.name);
        if (other.kind != entry.kind && std::find(names.begin(), names.end(), asked) != names.end()) {
            return &other;
        }
    }
    return nullptr;
}

std::string Describe(Catalog const& catalog, CatalogEntry const& entry, std::string const& asked) {
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(entry, {});
    std::string text = fmt::format("{} ({}): takes {}\n{}\n", Bold(MakePrintable(entry.name)), GetName(entry.kind),
                                   InputsOf(entry), MakePrintable(settings->GetSummary()));
    if (std::vector<std::string_view> const names = GetUsualNames(entry.name); !names.empty()) {
        text += fmt::format("Usual names: {}\n", fmt::join(names, ", "));
    }
    if (std::string const file = settings->GetOrigin(); !file.empty()) {
        text += fmt::format("Shader file: {}\n", MakePrintable(file));
    }
    if (CatalogEntry const* const other = FindOther(catalog, entry, asked)) {
        text += fmt::format("As {} {}, {} is {}.\n", other->kind == Kind::Effect ? "an" : "a", GetName(other->kind),
                            asked, other->name);
    }
    std::string const fields = DescribeFields(entry, "  ");
    text += fields.empty() ? "It has nothing to set.\n"
                           : "\nWhat can be set, its type, its default and what it takes:\n" + fields;

    std::string example = fmt::format("kaltor apply {} {} -o OUT.png", MakePrintable(entry.name),
                                      entry.takesMore    ? "BASE.png OVERLAY.png"
                                      : entry.isTwoInput ? "A.png B.png --progress 0.5"
                                                         : "IN.png");
    if (!settings->GetFields().empty()) {
        Field const& first = settings->GetFields().front();
        std::string const value = first.Format(first.get(*settings));
        bool const isQuoted = first.type == FieldType::Color;  // '#' begins a comment in a shell
        example += fmt::format(" --set {0}{1}={2}{0}", isQuoted ? "'" : "", first.key, value);
    }
    return text + fmt::format("\nExample: {}\n", example);
}

struct ListOptions {
    std::vector<std::string> words;
    bool hasNamesOnly = false;
    bool isJson = false;
    bool isLong = false;
};

/// One line for each: name, kind, summary, usual names; cut off at the terminal's edge.
std::string ListBriefly(std::vector<CatalogEntry const*> const& entries) {
    std::size_t widest = 0;
    for (CatalogEntry const* const entry : entries) {
        widest = std::max(widest, MakePrintable(entry->name).size());
    }
    std::optional<std::size_t> const columns = OutputColumns();
    std::string text;
    for (CatalogEntry const* const entry : entries) {
        std::string const name = MakePrintable(entry->name);
        std::string line =
            fmt::format("{:10}  {}", GetName(entry->kind), MakePrintable(MakeSettings(*entry, {})->GetSummary()));
        if (std::vector<std::string_view> const names = GetUsualNames(entry->name); !names.empty()) {
            line += fmt::format(" Also: {}.", fmt::join(names, ", "));
        }
        std::size_t const before = widest + 2;
        constexpr std::string_view kEllipsis = "...";
        constexpr std::size_t kLeast = 20;
        if (columns && before + line.size() > *columns && *columns >= before + kLeast) {
            line = std::string(Core::BeginningOf(line, *columns - before - kEllipsis.size())).append(kEllipsis);
        }
        text += fmt::format("{}{:{}}  {}\n", Bold(name), "", widest - name.size(), line);
    }
    return text;
}

std::string ListWithFields(std::vector<CatalogEntry const*> const& entries) {
    std::string text;
    for (CatalogEntry const* const entry : entries) {
        text += fmt::format("{} ({}): {}\n{}", Bold(MakePrintable(entry->name)), GetName(entry->kind),
                            MakePrintable(MakeSettings(*entry, {})->GetSummary()), DescribeFields(*entry, "    "));
    }
    return text;
}

/// What has all the words; or shader files, where all of them name such.
std::vector<CatalogEntry const*> FindListed(Catalog const& catalog, std::vector<std::string> const& words) {
    if (words.empty() || !std::all_of(words.begin(), words.end(), &Proc::IsShaderFile)) {
        return catalog.Search(words);
    }
    std::vector<CatalogEntry const*> files;
    for (std::string const& word : words) {
        files.push_back(&catalog.Find(word));
    }
    return files;
}

int List(ListOptions const& options) {
    Catalog const catalog = LoadCatalog();
    std::vector<CatalogEntry const*> const found = FindListed(catalog, options.words);
    if (options.isJson) {
        ordered_json all = ordered_json::array();
        for (CatalogEntry const* const entry : found) {
            all.push_back(DescribeEntry(*entry));
        }
        WriteOut(Edit::ShowJson(all, 2) + "\n");
        return 0;
    }
    if (found.empty()) {
        throw std::runtime_error(
            fmt::format("nothing has \"{}\" in its name, kind or summary", fmt::join(options.words, "\" and \"")));
    }
    if (options.hasNamesOnly) {
        for (CatalogEntry const* const entry : found) {
            WriteOut(MakePrintable(entry->name) + "\n");
        }
        return 0;
    }
    WriteOut(options.isLong ? ListWithFields(found) : ListBriefly(found));
    return 0;
}

}  // namespace

void AddList(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("list", "Show every effect, transition and service");
    auto const options = std::make_shared<ListOptions>();
    verb.AddTexts("WORD", options->words,
                  "only what has all of these in its name, kind or summary; or shader files by their paths");
    Option const names = verb.AddFlag("--names", options->hasNamesOnly, "only the names, each on its own line");
    Option json = verb.AddFlag("--json", options->isJson, "for machines");
    verb.AddFlag("--long", options->isLong, "with what can be set").Exclude(names).Exclude(json);
    json.Exclude(names);
    verb.SetFooter(
        "Examples:\n"
        "  kaltor list blur\n"
        "  kaltor list blur --long\n"
        "  kaltor list transition --names\n"
        "  kaltor list --json | jq -r '.[] | select(.inputs == 2) | .name'");
    verb.SetAction([options] { return List(*options); });
}

void AddDescribe(CommandLine& commandLine) {
    struct Options {
        std::string name;
        bool isJson = false;
    };
    Verb verb = commandLine.AddVerb("describe", "Show one effect, transition or service");
    auto const options = std::make_shared<Options>();
    verb.AddText("NAME", options->name, "a name that \"kaltor list\" shows; Effect or Transition may be left out")
        .Require();
    verb.AddFlag("--json", options->isJson, "for machines");
    verb.SetFooter("Example:\n  kaltor describe EffectBlurGaussian");
    verb.SetAction([options] {
        Catalog const catalog = LoadCatalog();
        CatalogEntry const& entry = catalog.Find(options->name);
        WriteOut(options->isJson ? Edit::ShowJson(DescribeEntry(entry), 2) + "\n"
                                 : Describe(catalog, entry, options->name));
        return 0;
    });
}

}  // namespace Kaltor::Cli
