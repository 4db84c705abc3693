#include "Apps/Kaltor/Gallery/Page.h"

#include <algorithm>
#include <cctype>
#include <kainjow/mustache.hpp>
#include <string_view>

#include <fmt/format.h>

#include "Apps/Kaltor/Gallery/Assets.h"

namespace Kaltor::Cli {
namespace {

namespace mustache = kainjow::mustache;

mustache::data MakeFields(Proc::Settings const& settings) {
    mustache::data rows(mustache::data::type::list);
    for (Proc::Field const& field : settings.GetFields()) {
        std::string const value = field.Format(field.get(settings));
        mustache::data row;
        row.set("key", std::string(field.key));
        row.set("default", value);
        row.set("range", field.DescribeRange());
        row.set("help", std::string(field.help));
        row.set("isColor", field.type == Proc::FieldType::Color);
        rows.push_back(row);
    }
    return rows;
}

/// What the page's search looks through.
std::string MakeKeywords(GalleryItem const& item, Proc::Settings const& settings) {
    std::string text = fmt::format("{} {} {}", item.entry.name, MakeTitle(item.entry.name), settings.GetSummary());
    for (Proc::Field const& field : settings.GetFields()) {
        text += fmt::format(" {}", field.key);
        for (Proc::FieldLabel const& label : field.labels) {
            text += fmt::format(" {}", label.label);
        }
    }
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

mustache::data MakeCard(GalleryItem const& item) {
    std::unique_ptr<Proc::Settings> const settings = MakeSettings(item.entry, {});
    std::size_t const fields = settings->GetFields().size();
    mustache::data card;
    card.set("name", item.entry.name);
    card.set("title", MakeTitle(item.entry.name));
    card.set("kind", GetName(item.entry.kind));
    card.set("summary", std::string(settings->GetSummary()));
    card.set("keywords", MakeKeywords(item, *settings));
    card.set("hasVideo", !item.preview.video.empty());
    card.set("video", item.preview.video);
    card.set("poster", item.preview.poster);
    card.set("command", item.preview.command);
    card.set("hasFields", fields > 0);
    card.set("fieldCount", fmt::format("{} setting{}", fields, fields == 1 ? "" : "s"));
    card.set("fields", MakeFields(*settings));
    return card;
}

mustache::data MakeKinds(std::vector<GalleryItem> const& items) {
    mustache::data kinds(mustache::data::type::list);
    for (auto const& [kind, label] : {std::pair(Kind::Effect, "Effects"), std::pair(Kind::Transition, "Transitions"),
                                      std::pair(Kind::Service, "Services")}) {
        auto const count = std::count_if(items.begin(), items.end(),
                                         [kind = kind](GalleryItem const& item) { return item.entry.kind == kind; });
        mustache::data entry;
        entry.set("kind", GetName(kind));
        entry.set("label", label);
        entry.set("count", std::to_string(count));
        if (count > 0) {
            kinds.push_back(entry);
        }
    }
    return kinds;
}

}  // namespace

std::string MakeTitle(std::string const& name) {
    std::string_view rest = name;
    for (std::string_view const prefix : {"Effect", "Transition"}) {
        if (rest.size() > prefix.size() && rest.substr(0, prefix.size()) == prefix) {
            rest.remove_prefix(prefix.size());
            break;
        }
    }
    std::string title;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        auto const isUpper = [&rest](std::size_t at) {
            return at < rest.size() && std::isupper(static_cast<unsigned char>(rest[at])) != 0;
        };
        // Initials such as VHS stay together.
        bool const isWord = i > 0 && isUpper(i) && !isUpper(i - 1);
        bool const isInitial = isUpper(i + 1) || (i > 0 && i + 1 == rest.size() && isUpper(i - 1));
        title += isWord ? " " : "";
        title += isWord && !isInitial ? static_cast<char>(std::tolower(static_cast<unsigned char>(rest[i]))) : rest[i];
    }
    return title;
}

std::string MakePage(std::vector<GalleryItem> const& items, Conf::FrameInfo const& size) {
    mustache::data cards(mustache::data::type::list);
    for (GalleryItem const& item : items) {
        cards.push_back(MakeCard(item));
    }
    mustache::data page;
    page.set("version", KALTOR_VERSION);
    page.set("count", std::to_string(items.size()));
    page.set("width", std::to_string(size.width));
    page.set("height", std::to_string(size.height));
    page.set("kinds", MakeKinds(items));
    page.set("cards", cards);
    mustache::mustache layout{std::string(Assets::kPageHtml)};
    if (!layout.is_valid()) {
        throw std::logic_error(layout.error_message());
    }
    return layout.render(page);
}

}  // namespace Kaltor::Cli
