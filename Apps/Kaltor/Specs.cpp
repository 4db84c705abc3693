#include "Apps/Kaltor/Specs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "Core/ParseNumber.h"
#include "Edit/Json.h"
#include "Edit/Time.h"

namespace Kaltor::Cli {
namespace {

using Core::ParseNumber;

constexpr std::int64_t kMicroseconds = 1'000'000;
constexpr char kFileMark = '@';

bool IsDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Digits with at most one point: no sign, no exponent, no "inf".
std::optional<double> ParsePlainDecimal(std::string_view text) {
    bool const isPlain = !text.empty() && text.find_first_not_of("0123456789.") == std::string_view::npos;
    return isPlain ? ParseNumber<double>(text) : std::nullopt;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t at = text.find(separator); at != std::string_view::npos; at = text.find(separator)) {
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    parts.push_back(text);
    return parts;
}

std::optional<std::int64_t> TryParseTime(std::string_view text) {
    constexpr double kSixty = 60.0;
    constexpr double kMost = 1e9;  // seconds; keeps the microseconds far from the end of their type
    std::vector<std::string_view> const parts = Split(text, ':');
    if (parts.size() > 3) {
        return std::nullopt;
    }
    double seconds = 0.0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        bool const isLast = i + 1 == parts.size();
        std::optional<double> const part =
            isLast || IsDigits(parts[i]) ? ParsePlainDecimal(parts[i]) : std::optional<double>();
        if (!part || (i > 0 && *part >= kSixty)) {
            return std::nullopt;
        }
        seconds = seconds * kSixty + *part;
    }
    if (seconds > kMost) {
        return std::nullopt;
    }
    return std::llround(seconds * static_cast<double>(kMicroseconds));
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
    if (!IsDigits(parts.front())) {
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
        return {std::string(text), {}, std::nullopt, std::nullopt};
    }
    std::string const path(text.substr(0, at));
    std::string_view const piece = text.substr(at + 1);
    bool const looksLikePiece = piece.find_first_not_of("0123456789:.-") == std::string_view::npos;
    if (path.empty() || (!looksLikePiece && !std::filesystem::exists(path, error))) {
        return {std::string(text), {}, std::nullopt, std::nullopt};  // the reader reports that there is no such file
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
    constexpr std::string_view kRaw = "@raw:";
    std::error_code error;
    std::size_t const at = text.rfind(kRaw);
    if (at == std::string_view::npos || at == 0 || std::filesystem::exists(text, error)) {
        return ParsePiece(text);
    }
    // The piece stands behind the form.
    std::size_t const pieceAt = text.find('@', at + 1);
    std::string const path(text.substr(0, at));
    ClipSpec clip = pieceAt == std::string_view::npos
                        ? ClipSpec{path, {}, std::nullopt, std::nullopt}
                        : ParsePiece(fmt::format("{}{}", path, text.substr(pieceAt)));
    clip.path = path;
    clip.raw = text.substr(at + kRaw.size(), pieceAt == std::string_view::npos ? pieceAt : pieceAt - at - kRaw.size());
    return clip;
}

}  // namespace Kaltor::Cli
