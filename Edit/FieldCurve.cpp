#include "Edit/FieldCurve.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <type_traits>

namespace Kaltor::Edit {

std::vector<double> Components(Proc::FieldValue const& value) {
    return std::visit(
        [](auto const& v) -> std::vector<double> {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, Proc::Color>) {
                return {static_cast<double>(v.red), static_cast<double>(v.green), static_cast<double>(v.blue),
                        static_cast<double>(v.alpha)};
            } else if constexpr (std::is_same_v<T, Proc::Reals8>) {
                return {v.begin(), v.end()};
            } else if constexpr (std::is_same_v<T, Proc::Numbers>) {
                return v;
            } else if constexpr (std::is_same_v<T, std::string>) {
                return {};
            } else {
                return {static_cast<double>(v)};
            }
        },
        value);
}

Proc::FieldValue FromComponents(Proc::Field const& field, std::vector<double> const& components) {
    using Proc::FieldType;
    auto const limited = [&field](double value) { return std::clamp(value, field.minimum, field.maximum); };
    auto const channel = [&components](std::size_t i) {
        constexpr double kMost = 255.0;
        return static_cast<std::uint8_t>(std::lround(std::clamp(components[i], 0.0, kMost)));
    };
    switch (field.type) {
        case FieldType::Color:
            return Proc::Color{channel(0), channel(1), channel(2), channel(3)};
        case FieldType::Reals8: {
            Proc::Reals8 list{};
            std::transform(components.begin(), components.end(), list.begin(), limited);
            return list;
        }
        case FieldType::Reals:
        case FieldType::Ints: {
            Proc::Numbers list(components.size());
            std::transform(components.begin(), components.end(), list.begin(), [&](double value) {
                return field.type == FieldType::Ints ? std::round(limited(value)) : limited(value);
            });
            return list;
        }
        case FieldType::File:
            throw std::logic_error("the path of a file has no components");
        case FieldType::Int:
            return static_cast<std::int32_t>(std::llround(limited(components[0])));
        case FieldType::Uint:
            return static_cast<std::uint32_t>(std::llround(limited(components[0])));
        case FieldType::Float:
            return static_cast<float>(limited(components[0]));
        case FieldType::Flag:
            return components[0] != 0.0;
        case FieldType::Choice:
            return static_cast<std::int32_t>(std::llround(components[0]));
        case FieldType::Real:
            break;
    }
    return limited(components[0]);
}

}  // namespace Kaltor::Edit
