#include "Apps/Kaltor/Specs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "Core/ParseNumber.h"
#include "Core/Text.h"
#include "Edit/Json.h"
#include "Edit/Time.h"

namespace Kaltor::Cli {
namespace {

using Core::ParseNumber;
using Core::Split;

constexpr char kFileMark = '@';

/// A time from the beginning of something whose rate and length are not known yet.
std::optional<std::int64_t> TryParseTime(std::string_view text) {
    try {
        Edit::Time const time = Edit::ParseTime(text);
        bool const isPlain = time.seconds >= 0.0 && time == Edit::Time::Seconds(time.seconds) && !text.starts_with('-');
        constexpr double kPerSecond = 1e6;
        return isPlain ? std::optional(std::llround(time.seconds * kPerSecond)) : std::nullopt;
    } catch (std::invalid_argument const&) {
        return std::nullopt;
    }
}

/// A JSON value as a user would type it.
std::string ToText(nlohmann::ordered_json const& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (!value.is_array()) {
        return value.dump();
    }
    std::vector<std::string> texts;
    for (nlohmann::ordered_json const& part : value) {
        texts.push_back(ToText(part));
    }
    return fmt::format("{}", fmt::join(texts, ","));
}

std::vector<Assignment> ReadSettings(std::string const& path) {
    nlohmann::ordered_json fields;
    try {
        fields = Edit::ReadJson(path);
    } catch (std::runtime_error const& error) {
        throw UsageError(error.what());
    }
    if (!fields.is_object()) {
        throw UsageError(
            fmt::format("{}: is no JSON object of fields and their values, such as {{\"scale\": 0.02}}", path));
    }
    std::vector<Assignment> values;
    for (auto const& [field, value] : fields.items()) {
        values.emplace_back(field, ToText(value));
    }
    return values;
}

NameSpec ParseNameParts(std::vector<std::string_view> const& parts, std::size_t first, std::string_view whole) {
    if (first >= parts.size() || parts[first].empty()) {
        throw UsageError(fmt::format("\"{}\" names nothing: it takes NAME[:field=value...]", whole));
    }
    NameSpec spec{std::string(parts[first]), {}};
    for (std::size_t i = first + 1; i < parts.size(); ++i) {
        if (parts[i].find('=') == std::string_view::npos && !parts[i].starts_with(kFileMark)) {
            throw UsageError(
                fmt::format("\"{}\" in \"{}\" is not field=value: it takes NAME[:field=value...]", parts[i], whole));
        }
        std::vector<Assignment> const values = ParseAssignments(parts[i]);
        spec.values.insert(spec.values.end(), values.begin(), values.end());
    }
    return spec;
}

}  // namespace

std::int64_t ParseTime(std::string_view text) {
    std::optional<std::int64_t> const time = TryParseTime(text);
    if (!time) {
        throw UsageError(fmt::format("\"{}\" is not a time: it takes seconds (12.5) or [HH:]MM:SS (1:02.5)", text));
    }
    return *time;
}

Size ParseSize(std::string_view text) {
    std::size_t const cross = text.find_first_of("xX");
    std::optional<std::uint32_t> const width = ParseNumber<std::uint32_t>(text.substr(0, cross));
    std::optional<std::uint32_t> const height =
        cross == std::string_view::npos ? std::nullopt : ParseNumber<std::uint32_t>(text.substr(cross + 1));
    if (!width || !height || *width == 0 || *height == 0) {
        throw UsageError(fmt::format("\"{}\" is not a size: it takes WIDTHxHEIGHT, such as 1280x720", text));
    }
    return {*width, *height};
}

Rate ParseRate(std::string_view text) {
    try {
        AVRational const rate = Edit::ParseFrameRate(text);
        return {rate.num, rate.den};
    } catch (std::invalid_argument const& error) {
        throw UsageError(error.what());
    }
}

std::vector<Assignment> ParseAssignments(std::string_view text) {
    if (text.starts_with(kFileMark)) {
        return ReadSettings(std::string(text.substr(1)));
    }
    std::size_t const equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        throw UsageError(fmt::format("\"{}\" is not field=value", text));
    }
    return {{std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))}};
}

NameSpec ParseNameSpec(std::string_view text) {
    return ParseNameParts(Split(text, ':'), 0, text);
}

IndexedSpec ParseIndexedSpec(std::string_view text) {
    std::vector<std::string_view> const parts = Split(text, ':');
    if (!Core::IsDigits(parts.front())) {
        return {std::nullopt, ParseNameParts(parts, 0, text)};
    }
    std::optional<std::size_t> const index = ParseNumber<std::size_t>(parts.front());
    if (!index || *index == 0) {
        throw UsageError(fmt::format("\"{}\" in \"{}\" is no index: the first one is 1", parts.front(), text));
    }
    return {index, ParseNameParts(parts, 1, text)};
}

namespace {

ClipSpec ParsePiece(std::string_view text) {
    std::error_code error;
    std::size_t const at = text.rfind('@');
    if (at == std::string_view::npos || std::filesystem::exists(text, error)) {
        return {std::string(text), {}, {}, {}};
    }
    std::string const path(text.substr(0, at));
    std::string_view const piece = text.substr(at + 1);
    bool const looksLikePiece = piece.find_first_not_of("0123456789:.-") == std::string_view::npos;
    if (path.empty() || (!looksLikePiece && !std::filesystem::exists(path, error))) {
        return {std::string(text), {}, {}, {}};  // the reader reports that there is no such file
    }

    std::size_t const dash = piece.find('-');
    std::string_view const startText = piece.substr(0, dash);
    std::string_view const endText = dash == std::string_view::npos ? std::string_view() : piece.substr(dash + 1);
    ClipSpec clip{path, {}, TryParseTime(startText), TryParseTime(endText)};
    bool const isRight = dash != std::string_view::npos && (clip.start || startText.empty()) &&
                         (clip.end || endText.empty()) && (clip.start || clip.end);
    if (!isRight) {
        throw UsageError(
            fmt::format("\"@{}\" in \"{}\" is no piece: it takes @START-END, @START- or @-END, in seconds "
                        "(12.5) or [HH:]MM:SS (1:02.5)",
                        piece, text));
    }
    if (clip.end && *clip.end <= clip.start.value_or(0)) {
        throw UsageError(fmt::format("\"@{}\" in \"{}\" ends before it has started", piece, text));
    }
    return clip;
}

}  // namespace

ClipSpec ParseClip(std::string_view text) {
    if (text.empty()) {
        throw UsageError("a clip has no name: a variable of a script may be empty");
    }
    std::string rest(text);
    // The piece stands behind what says how the file is read.
    auto const take = [&rest](std::string_view key) -> std::optional<std::string> {
        std::size_t const at = rest.rfind(key);
        if (at == std::string::npos || at == 0) {
            return std::nullopt;
        }
        std::size_t const end = std::min(rest.find('@', at + 1), rest.size());
        std::string value = rest.substr(at + key.size(), end - at - key.size());
        rest.erase(at, end - at);
        return value;
    };
    std::error_code error;
    std::optional<std::string> raw;
    std::optional<std::string> alpha;
    if (!std::filesystem::exists(text, error)) {
        alpha = take("@alpha:");
        raw = take("@raw:");
    }
    ClipSpec clip = ParsePiece(rest);
    clip.path = clip.path == "/dev/stdin" ? "-" : clip.path;
    clip.raw = raw.value_or("");
    if (alpha) {
        if (*alpha != "straight" && *alpha != "premultiplied") {
            throw UsageError(fmt::format("\"@alpha:{}\" in \"{}\": it takes straight or premultiplied", *alpha, text));
        }
        using Alpha = Media::InputRules::Alpha;
        clip.alpha = *alpha == "straight" ? Alpha::Straight : Alpha::Premultiplied;
    }
    return clip;
}

}  // namespace Kaltor::Cli
