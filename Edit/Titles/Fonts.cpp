#include "Edit/Titles/Fonts.h"

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>
#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Edit {
namespace {

struct PatternDeleter {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
using PatternPtr = std::unique_ptr<FcPattern, PatternDeleter>;

constexpr std::array<std::string_view, 10> kGeneric{"sans", "sansserif", "sans-serif", "serif",     "monospace",
                                                    "mono", "cursive",   "fantasy",    "system-ui", "emoji"};

/// Font names are the same whatever their case and blanks.
std::string Simplify(std::string_view name) {
    std::string simple;
    for (char const c : name) {
        if (c != ' ') {
            simple += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
    }
    return simple;
}

char const* GetFamily(FcPattern const& pattern, int index) {
    FcChar8* name = nullptr;
    return FcPatternGetString(&pattern, FC_FAMILY, index, &name) == FcResultMatch ? reinterpret_cast<char const*>(name)
                                                                                  : nullptr;
}

PatternPtr Match(std::string const& family) {
    PatternPtr const wanted(FcPatternCreate());
    FcPatternAddString(wanted.get(), FC_FAMILY, reinterpret_cast<FcChar8 const*>(family.c_str()));
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultNoMatch;
    return PatternPtr(FcFontMatch(nullptr, wanted.get(), &result));
}

}  // namespace

void LoadFonts() {
    // Pango would do it on a thread of its own, at the same time as others.
    static bool const isLoaded = FcInit() != FcFalse && Match("sans-serif");
    if (!isLoaded) {
        Core::Throw(std::runtime_error("titles cannot be drawn: no font is installed"));
    }
}

std::string FindReplacement(std::string const& family) {
    std::string replacement;
    for (std::size_t begin = 0; begin <= family.size();) {
        std::size_t const end = std::min(family.find(',', begin), family.size());
        std::string const name = family.substr(begin, end - begin);
        std::string const simple = Simplify(name);
        begin = end + 1;
        if (simple.empty()) {
            continue;
        }
        if (std::find(kGeneric.begin(), kGeneric.end(), simple) != kGeneric.end()) {
            return {};
        }
        PatternPtr const match = Match(name);
        if (!match) {
            continue;
        }
        for (int i = 0; char const* const found = GetFamily(*match, i); ++i) {
            if (Simplify(found) == simple) {
                return {};
            }
        }
        if (char const* const found = GetFamily(*match, 0); found != nullptr && replacement.empty()) {
            replacement = found;
        }
    }
    return replacement;
}

TitleFonts::TitleFonts() {
    LoadFonts();
    map.reset(pango_cairo_font_map_new());
}

TitleFonts::~TitleFonts() = default;

std::string const& TitleFonts::FindReplacement(std::string const& family) {
    auto found = replacements.find(family);
    if (found == replacements.end()) {
        found = replacements.emplace(family, Edit::FindReplacement(family)).first;
    }
    return found->second;
}

void WarnOfMissingFamily(std::string const& family, TitleFonts& fonts, Media::WarningFn const& warn) {
    if (!warn) {
        return;
    }
    if (std::string const& replacement = fonts.FindReplacement(family); !replacement.empty()) {
        warn(fmt::format("the font \"{}\" is not installed; \"{}\" is used instead", family, replacement));
    }
}

}  // namespace Kaltor::Edit
