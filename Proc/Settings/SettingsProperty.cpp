#include "Proc/Settings/SettingsProperty.h"

#include <stdexcept>
#include <type_traits>
#include <variant>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Proc {
namespace {

using Core::Property;

template <typename Whole>
Whole Narrow(Field const& field, Property const& property) {
    using Wide = std::conditional_t<std::is_signed_v<Whole>, std::int64_t, std::uint64_t>;
    Wide const value = property.Get<Wide>();
    auto const narrow = static_cast<Whole>(value);
    if (static_cast<Wide>(narrow) != value) {
        Core::Throw(std::invalid_argument(
            fmt::format("{} = {} does not fit: it takes {}", field.key, value, field.DescribeRange())));
    }
    return narrow;
}

}  // namespace

Property ToProperty(Settings const& settings) {
    Property result(settings.GetClassId());
    for (Field const& field : settings.GetFields()) {
        FieldValue const value = field.get(settings);
        Property child;
        switch (field.type) {
            case FieldType::Int:
            case FieldType::Choice:
                child = Property::Of(std::int64_t{std::get<std::int32_t>(value)});
                break;
            case FieldType::Uint:
                child = Property::Of(std::uint64_t{std::get<std::uint32_t>(value)});
                break;
            case FieldType::Real:
                child = Property::Of(std::get<double>(value));
                break;
            case FieldType::Float:
                child = Property::Of(static_cast<double>(std::get<float>(value)));
                break;
            case FieldType::Flag:
                child = Property::Of(std::get<bool>(value));
                break;
            case FieldType::Color:
            case FieldType::Reals8:
            case FieldType::Reals:
            case FieldType::Ints:
            case FieldType::File:
                child = Property::Of(field.Format(value));
                break;
        }
        result.SetChild(std::string(field.key), child);
    }
    return result;
}

void FromProperty(Settings& settings, Property const& property) {
    if (property.GetClassId() != settings.GetClassId()) {
        Core::Throw(std::invalid_argument(
            fmt::format("these are settings of \"{}\", not of \"{}\"", property.GetClassId(), settings.GetClassId())));
    }
    for (Field const& field : settings.GetFields()) {
        std::string const key(field.key);
        if (!property.HasChild(key)) {
            continue;
        }
        Property const& child = property.GetChild(key);
        switch (field.type) {
            case FieldType::Int:
            case FieldType::Choice:
                field.set(settings, Narrow<std::int32_t>(field, child));
                break;
            case FieldType::Uint:
                field.set(settings, Narrow<std::uint32_t>(field, child));
                break;
            case FieldType::Real:
                field.set(settings, child.Get<double>());
                break;
            case FieldType::Float:
                field.set(settings, static_cast<float>(child.Get<double>()));
                break;
            case FieldType::Flag:
                field.set(settings, child.Get<bool>());
                break;
            case FieldType::Color:
            case FieldType::Reals8:
            case FieldType::Reals:
            case FieldType::Ints:
            case FieldType::File:
                field.set(settings, field.Parse(child.Get<std::string>()));
                break;
        }
    }
}

}  // namespace Kaltor::Proc
