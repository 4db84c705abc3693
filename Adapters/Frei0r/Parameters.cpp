#include "Adapters/Frei0r/Parameters.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Frei0r {
namespace {

using Proc::Field;
using Proc::FieldType;
using Proc::FieldValue;

constexpr double kByte = 255.0;
constexpr std::size_t kListSize = std::tuple_size_v<Proc::Reals8>;

/// The nearest number of nine digits: what was meant by a number that has been through a division and a text.
double RoundToNineDigits(double number) {
    constexpr int kDigits = 9;
    std::array<char, 32> text{};
    auto const [end, written] =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::scientific, kDigits - 1);
    double rounded = number;
    if (written == std::errc()) {
        std::from_chars(text.data(), end, rounded);
    }
    return rounded;
}

/// 0 to 1, or `otherwise` for what is no number.
double Clamp(double value, double otherwise) {
    return std::isnan(value) ? otherwise : std::clamp(value, 0.0, 1.0);
}

double NumberOf(FieldValue const& value) {
    return std::visit(
        [](auto const& v) -> double {
            if constexpr (std::is_arithmetic_v<std::decay_t<decltype(v)>>) {
                return static_cast<double>(v);
            } else {
                return 0.0;
            }
        },
        value);
}

/// The number as the type that the field holds.
FieldValue MakeNumber(Field const& field, double number) {
    switch (field.type) {
        case FieldType::Int:
            return static_cast<std::int32_t>(std::llround(number));
        case FieldType::Uint:
            return static_cast<std::uint32_t>(std::llround(number));
        case FieldType::Float:
            return static_cast<float>(number);
        default:
            return number;
    }
}

std::uint8_t ToByte(double share) {
    return static_cast<std::uint8_t>(std::lround(share * kByte));
}

/// Steps between the first and the last label.
double CountSteps(Field const& field) {
    return static_cast<double>(std::max<std::size_t>(field.labels.size(), 2) - 1);
}

std::string DescribeNumber(Field const& field) {
    return fmt::format("{}; 0 to 1 stand for {} to {}{}", field.help, field.minimum, field.maximum,
                       field.IsLogarithmic() ? ", in equal ratios" : "");
}

std::string DescribeChoice(Field const& field) {
    std::string text = fmt::format("{}:", field.help);
    for (std::size_t i = 0; i < field.labels.size(); ++i) {
        text += fmt::format("{} {:.4g} {}", i == 0 ? "" : ",", static_cast<double>(i) / CountSteps(field),
                            field.labels[i].label);
    }
    return text;
}

std::string JoinLabels(Field const& field) {
    std::string text;
    for (Proc::FieldLabel const& label : field.labels) {
        text.append(text.empty() ? "" : ", ").append(label.label);
    }
    return text;
}

}  // namespace

double ToUnit(Field const& field, double number) {
    if (field.IsLogarithmic()) {
        return std::log(number / field.minimum) / std::log(field.maximum / field.minimum);
    }
    return field.maximum > field.minimum ? (number - field.minimum) / (field.maximum - field.minimum) : 0.0;
}

double FromUnit(Field const& field, double unit) {
    double const number = field.IsLogarithmic() ? field.minimum * std::pow(field.maximum / field.minimum, unit)
                                                : field.minimum + unit * (field.maximum - field.minimum);
    return std::clamp(RoundToNineDigits(number), field.minimum, field.maximum);
}

Parameters::Parameters(std::string_view classId) : defaults(Proc::MakeSettings(classId)) {
    if (!defaults) {
        Core::Throw(std::invalid_argument(fmt::format("there is no effect {}", classId)));
    }
    if (defaults->RunsOnProgress()) {
        Add("progress", "how far it has come, 0 to 1; negative: from the time, over that many seconds (-1: one second)",
            kFrei0rDouble, Role::Progress, nullptr);
    }
    for (Field const& field : defaults->GetFields()) {
        std::string const key(field.key);
        switch (field.type) {
            case FieldType::Flag:
                Add(key, std::string(field.help), kFrei0rBool, Role::Flag, &field);
                break;
            case FieldType::Color:
                Add(key, std::string(field.help), kFrei0rColor, Role::Color, &field);
                Add(key + "_alpha", fmt::format("opacity of {}", key), kFrei0rDouble, Role::Alpha, &field);
                break;
            case FieldType::Choice:
                Add(key, DescribeChoice(field), kFrei0rDouble, Role::Choice, &field);
                break;
            case FieldType::Reals8:
                for (std::size_t i = 0; i < kListSize; ++i) {
                    Add(fmt::format("{}_{}", key, i + 1), fmt::format("number {} of {}", i + 1, DescribeNumber(field)),
                        kFrei0rDouble, Role::Component, &field, i);
                }
                break;
            default:
                Add(key, DescribeNumber(field), kFrei0rDouble, Role::Number, &field);
                break;
        }
    }
    if (defaults->IsRandom()) {
        Add("seed", fmt::format("another number, another course; 0 to 1 stand for 0 to {}", kLargestSeed),
            kFrei0rDouble, Role::Seed, nullptr);
    }
    for (Field const& field : defaults->GetFields()) {
        if (field.type == FieldType::Choice) {
            Add(fmt::format("{}_label", field.key),
                fmt::format("{} by its name, which counts before the number: {}", field.key, JoinLabels(field)),
                kFrei0rString, Role::Label, &field);
        }
    }
}

void Parameters::Add(std::string name, std::string help, int type, Role role, Field const* field,
                     std::size_t component) {
    list.push_back({std::move(name), std::move(help), type, role, field, component, {}});
    list.back().initial = WriteOne(list.back(), *defaults);
}

std::vector<HostValue> Parameters::GetInitial() const {
    return Write(*defaults);
}

std::vector<HostValue> Parameters::Write(Proc::Settings const& settings) const {
    std::vector<HostValue> values;
    values.reserve(list.size());
    for (Parameter const& parameter : list) {
        values.push_back(WriteOne(parameter, settings));
    }
    return values;
}

HostValue Parameters::WriteOne(Parameter const& parameter, Proc::Settings const& settings) const {
    if (parameter.field == nullptr) {
        return parameter.role == Role::Progress ? -1.0 : 0.0;
    }
    Field const& field = *parameter.field;
    FieldValue const value = field.get(settings);
    switch (parameter.role) {
        case Role::Flag:
            return std::get<bool>(value) ? 1.0 : 0.0;
        case Role::Color: {
            auto const& color = std::get<Proc::Color>(value);
            return HostColor{static_cast<float>(color.red / kByte), static_cast<float>(color.green / kByte),
                             static_cast<float>(color.blue / kByte)};
        }
        case Role::Alpha:
            return std::get<Proc::Color>(value).alpha / kByte;
        case Role::Choice: {
            auto const number = std::get<std::int32_t>(value);
            auto const found = std::find_if(field.labels.begin(), field.labels.end(),
                                            [number](auto const& label) { return label.value == number; });
            return static_cast<double>(found - field.labels.begin()) / CountSteps(field);
        }
        case Role::Component:
            return ToUnit(field, std::get<Proc::Reals8>(value)[parameter.component]);
        case Role::Label:
            return std::string();
        default:
            return ToUnit(field, NumberOf(value));
    }
}

Drawing Parameters::Read(std::vector<HostValue> const& values, std::vector<std::string>& unknown) const {
    Drawing drawing;
    drawing.settings = defaults->Clone();
    Proc::Settings& settings = *drawing.settings;
    for (std::size_t i = 0; i < list.size(); ++i) {
        Parameter const& parameter = list[i];
        if (parameter.role == Role::Progress) {
            double const progress = std::get<double>(values[i]);
            drawing.progress = std::isfinite(progress) ? std::min(progress, 1.0) : -1.0;
            continue;
        }
        if (parameter.role == Role::Seed) {
            drawing.seed =
                static_cast<std::uint32_t>(std::lround(Clamp(std::get<double>(values[i]), 0) * kLargestSeed));
            continue;
        }
        Field const& field = *parameter.field;
        double const* const number = std::get_if<double>(&values[i]);
        double const initial = number == nullptr ? 0.0 : std::get<double>(parameter.initial);
        double const unit = number == nullptr ? 0.0 : Clamp(*number, initial);
        switch (parameter.role) {
            case Role::Flag:
                field.set(settings, unit >= 0.5);
                break;
            case Role::Color: {
                auto const& wanted = std::get<HostColor>(values[i]);
                auto color = std::get<Proc::Color>(field.get(settings));
                color.red = ToByte(Clamp(wanted.red, color.red / kByte));
                color.green = ToByte(Clamp(wanted.green, color.green / kByte));
                color.blue = ToByte(Clamp(wanted.blue, color.blue / kByte));
                field.set(settings, color);
                break;
            }
            case Role::Alpha: {
                auto color = std::get<Proc::Color>(field.get(settings));
                color.alpha = ToByte(unit);
                field.set(settings, color);
                break;
            }
            case Role::Choice: {
                auto const place = static_cast<std::size_t>(std::lround(unit * CountSteps(field)));
                field.set(settings, field.labels[std::min(place, field.labels.size() - 1)].value);
                break;
            }
            case Role::Component: {
                auto numbers = std::get<Proc::Reals8>(field.get(settings));
                numbers[parameter.component] = FromUnit(field, unit);
                field.set(settings, numbers);
                break;
            }
            case Role::Label: {
                auto const& label = std::get<std::string>(values[i]);
                try {
                    if (!label.empty()) {
                        field.set(settings, field.Parse(label));
                    }
                } catch (std::invalid_argument const& error) {
                    unknown.push_back(Core::Describe(error));
                }
                break;
            }
            default:
                field.set(settings, MakeNumber(field, FromUnit(field, unit)));
                break;
        }
    }
    return drawing;
}

}  // namespace Kaltor::Frei0r
