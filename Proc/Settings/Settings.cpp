#include "Proc/Settings/Settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <type_traits>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"

namespace Kaltor::Proc {
namespace {

using Core::ParseNumber;

/// The shortest text that reads back as the same number.
std::string FormatNumber(double value) {
    return fmt::format("{}", value);
}

std::optional<std::uint8_t> ParseHexByte(std::string_view text) {
    std::uint8_t value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

std::optional<Color> ParseColor(std::string_view text) {
    constexpr std::size_t kWithoutAlpha = 7;
    constexpr std::size_t kWithAlpha = 9;
    if (text.empty() || text.front() != '#' || (text.size() != kWithoutAlpha && text.size() != kWithAlpha)) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 4> channels{0, 0, 0, 255};
    for (std::size_t i = 0; 1 + 2 * i < text.size(); ++i) {
        std::optional<std::uint8_t> const byte = ParseHexByte(text.substr(1 + 2 * i, 2));
        if (!byte) {
            return std::nullopt;
        }
        channels[i] = *byte;
    }
    return Color{channels[0], channels[1], channels[2], channels[3]};
}

std::optional<bool> ParseFlag(std::string_view text) {
    static constexpr std::array<std::string_view, 4> kTrue{"true", "yes", "on", "1"};
    static constexpr std::array<std::string_view, 4> kFalse{"false", "no", "off", "0"};
    if (std::find(kTrue.begin(), kTrue.end(), text) != kTrue.end()) {
        return true;
    }
    if (std::find(kFalse.begin(), kFalse.end(), text) != kFalse.end()) {
        return false;
    }
    return std::nullopt;
}

std::optional<Numbers> ParseNumbers(std::string_view text, std::size_t count) {
    Numbers values;
    for (std::size_t i = 0; i < count; ++i) {
        bool const isLast = i + 1 == count;
        std::size_t const comma = text.find(',');
        if (isLast != (comma == std::string_view::npos)) {
            return std::nullopt;
        }
        std::optional<double> const value = ParseNumber<double>(text.substr(0, comma));
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*value);
        text.remove_prefix(isLast ? text.size() : comma + 1);
    }
    return values;
}

std::optional<FieldValue> ParseReals8(std::string_view text) {
    Reals8 values{};
    std::optional<Numbers> const numbers = ParseNumbers(text, values.size());
    if (!numbers) {
        return std::nullopt;
    }
    std::copy(numbers->begin(), numbers->end(), values.begin());
    return values;
}

/// What numbers take that have no range of their own: all that single precision holds.
constexpr double kLargest = std::numeric_limits<float>::max();

std::optional<FieldValue> ParseChoice(std::span<FieldLabel const> labels, std::string_view text) {
    std::optional<std::int32_t> const number = ParseNumber<std::int32_t>(text);
    for (FieldLabel const& label : labels) {
        if (label.label == text || label.value == number) {
            return label.value;
        }
    }
    return std::nullopt;
}

template <typename T>
bool IsInRange(Field const& field, T value) {
    // In single precision the ends are rounded to the nearest number, which may lie slightly outside the range.
    using Ends = std::conditional_t<std::is_same_v<T, float>, float, double>;
    return static_cast<double>(value) >= static_cast<Ends>(field.minimum) &&
           static_cast<double>(value) <= static_cast<Ends>(field.maximum);  // refuses NaN too
}

bool IsFinite(FieldValue const& value) {
    return std::visit(
        [](auto const& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_floating_point_v<T>) {
                return std::isfinite(v);
            } else if constexpr (std::is_same_v<T, Reals8> || std::is_same_v<T, Numbers>) {
                return std::all_of(v.begin(), v.end(), [](double number) { return std::isfinite(number); });
            } else {
                return true;
            }
        },
        value);
}

template <typename T>
std::optional<FieldValue> ToValue(std::optional<T> const& parsed) {
    return parsed ? std::optional<FieldValue>(*parsed) : std::nullopt;
}

std::size_t EditDistance(std::string_view a, std::string_view b) {
    auto const lower = [](char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); };
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t const replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

}  // namespace

std::string Field::GetTypeName() const {
    static constexpr std::array kNames{"int",    "uint",  "real",  "float", "flag", "choice",
                                       "colour", "reals", "reals", "ints",  "file"};
    std::string const name = kNames[static_cast<std::size_t>(type)];
    return IsList() ? fmt::format("{}[{}]", name, length) : name;
}

bool Field::IsList() const {
    return type == FieldType::Reals8 || type == FieldType::Reals || type == FieldType::Ints;
}

bool Field::HasRange() const {
    bool const isNumber = type == FieldType::Int || type == FieldType::Uint || type == FieldType::Real ||
                          type == FieldType::Float || IsList();
    return isNumber && minimum > -kLargest && maximum < kLargest;
}

bool Field::IsLogarithmic() const {
    constexpr double kTwoPowersOfTen = 100.0;
    return minimum > 0.0 && maximum / minimum > kTwoPowersOfTen;
}

bool Field::Accepts(FieldValue const& value) const {
    return std::visit(
        [this](auto const& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, Color> || std::is_same_v<T, std::string>) {
                return true;
            } else if constexpr (std::is_same_v<T, Numbers>) {
                return v.size() == length && std::all_of(v.begin(), v.end(), [this](double number) {
                           return IsInRange(*this, number) && (type != FieldType::Ints || number == std::floor(number));
                       });
            } else if constexpr (std::is_same_v<T, Reals8>) {
                return std::all_of(v.begin(), v.end(), [this](double number) { return IsInRange(*this, number); });
            } else if constexpr (std::is_same_v<T, std::int32_t>) {
                return type != FieldType::Choice ? IsInRange(*this, v)
                                                 : std::any_of(labels.begin(), labels.end(),
                                                               [v](auto const& label) { return label.value == v; });
            } else {
                return IsInRange(*this, v);
            }
        },
        value);
}

std::string Field::DescribeRange() const {
    switch (type) {
        case FieldType::Flag:
            return "true or false";
        case FieldType::Color:
            return "#RRGGBB or #RRGGBBAA";
        case FieldType::Choice: {
            std::string text;
            for (std::size_t i = 0; i < labels.size(); ++i) {
                text += i == 0 ? "" : i + 1 == labels.size() ? " or " : ", ";
                text += fmt::format("{} ({})", labels[i].label, labels[i].value);
            }
            return text;
        }
        case FieldType::File:
            return "the path of a picture";
        case FieldType::Reals8:
        case FieldType::Reals:
        case FieldType::Ints:
            return fmt::format("{}{} numbers {}with commas between", length, type == FieldType::Ints ? " whole" : "",
                               HasRange() ? fmt::format("{} to {} ", minimum, maximum) : "");
        case FieldType::Int:
        case FieldType::Uint:
            return fmt::format("a whole number {} to {}", minimum, maximum);
        default:
            return HasRange() ? fmt::format("{} to {}", minimum, maximum) : "a number";
    }
}

std::string Field::Format(FieldValue const& value) const {
    return std::visit(
        [this](auto const& v) -> std::string {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, Color>) {
                std::string text = fmt::format("#{:02X}{:02X}{:02X}", v.red, v.green, v.blue);
                return v.alpha == 255 ? text : text + fmt::format("{:02X}", v.alpha);
            } else if constexpr (std::is_same_v<T, std::string>) {
                return v;
            } else if constexpr (std::is_same_v<T, Reals8> || std::is_same_v<T, Numbers>) {
                std::string text;
                for (double const number : v) {
                    text.append(text.empty() ? "" : ",").append(FormatNumber(number));
                }
                return text;
            } else if constexpr (std::is_same_v<T, bool>) {
                return v ? "true" : "false";
            } else if constexpr (std::is_same_v<T, std::int32_t>) {
                for (FieldLabel const& label : labels) {
                    if (label.value == v) {
                        return std::string(label.label);
                    }
                }
                return std::to_string(v);
            } else {
                return fmt::format("{}", v);
            }
        },
        value);
}

FieldValue Field::Parse(std::string_view text) const {
    std::optional<FieldValue> value;
    switch (type) {
        case FieldType::Int:
            value = ToValue(ParseNumber<std::int32_t>(text));
            break;
        case FieldType::Uint:
            value = ToValue(ParseNumber<std::uint32_t>(text));
            break;
        case FieldType::Real:
            value = ToValue(ParseNumber<double>(text));
            break;
        case FieldType::Float:
            value = ToValue(ParseNumber<float>(text));
            break;
        case FieldType::Flag:
            value = ToValue(ParseFlag(text));
            break;
        case FieldType::Choice:
            value = ParseChoice(labels, text);
            break;
        case FieldType::Color:
            value = ToValue(ParseColor(text));
            break;
        case FieldType::Reals8:
            value = ParseReals8(text);
            break;
        case FieldType::Reals:
        case FieldType::Ints:
            value = ToValue(ParseNumbers(text, length));
            break;
        case FieldType::File:
            value = std::string(text);
            break;
    }
    if (!value || !Accepts(*value)) {
        Core::Throw(std::invalid_argument(
            fmt::format("\"{}\" is not accepted for {}: it takes {}", text, key, DescribeRange())));
    }
    return *value;
}

Field const& Settings::FindField(std::string_view key) const {
    std::vector<Field> const& fields = GetFields();
    auto const found =
        std::find_if(fields.begin(), fields.end(), [key](Field const& field) { return field.key == key; });
    if (found == fields.end()) {
        std::vector<std::string> keys;
        for (Field const& field : fields) {
            keys.emplace_back(field.key);
        }
        std::string message = fmt::format("{} has no field \"{}\"", GetClassId(), key);
        std::string const nearest = FindNearest(key, keys);
        if (!nearest.empty()) {
            message += fmt::format("; did you mean \"{}\"?", nearest);
        } else if (keys.empty()) {
            message += "; it has none to set";
        } else {
            message += fmt::format("; it has {}", fmt::join(keys, ", "));
        }
        Core::Throw(std::invalid_argument(message));
    }
    return *found;
}

void Settings::Set(std::string_view key, std::string_view text) {
    Field const& field = FindField(key);
    field.set(*this, field.Parse(text));
}

bool Settings::HasSameValues(Settings const& other) const {
    std::vector<Field> const& fields = GetFields();
    return GetClassId() == other.GetClassId() && std::all_of(fields.begin(), fields.end(), [&](Field const& field) {
               return field.get(*this) == field.get(other);
           });
}

void Settings::Validate() const {
    for (Field const& field : GetFields()) {
        FieldValue const value = field.get(*this);
        bool const isDrawable = field.outside == Outside::Defined ? IsFinite(value) : field.Accepts(value);
        if (!isDrawable) {
            Core::Throw(std::invalid_argument(fmt::format("{} {} is not accepted by {}: it takes {}", field.key,
                                                          field.Format(value), GetClassId(), field.DescribeRange())));
        }
    }
}

std::string FindNearest(std::string_view name, std::vector<std::string> const& candidates) {
    std::string nearest;
    // Up to a third of the letters may be wrong. Anything further off would be a guess.
    std::size_t best = std::max<std::size_t>(name.size() / 3, 1) + 1;
    for (std::string const& candidate : candidates) {
        std::size_t const distance = EditDistance(name, candidate);
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

}  // namespace Kaltor::Proc
