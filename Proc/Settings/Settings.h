#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace Kaltor::Proc {

/// Four 8-bit channels.
struct Color {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;

    bool operator==(Color const&) const = default;
};

using Reals8 = std::array<double, 8>;
/// The value of one field. A choice is held as its integer.
using FieldValue = std::variant<std::int32_t, std::uint32_t, double, float, bool, Color, Reals8>;

enum class FieldType : std::uint8_t { Int, Uint, Real, Float, Flag, Choice, Color, Reals8 };
/// "int", "uint", "real", "float", "flag", "choice", "colour", "reals[8]".
char const* GetName(FieldType type);

/// The label of one number of a choice.
struct FieldLabel {
    std::int32_t value;
    std::string_view label;
};

class Settings;

/// One field of a settings class: what a user sees of it, and access without knowing the class. A range is what the
/// user-facing tools accept; the classes hold any value of the type.
struct Field {
    std::string_view key;
    FieldType type;
    double minimum = 0.0;  ///< of numbers, both ends included
    double maximum = 0.0;
    std::vector<FieldLabel> labels;  ///< of a choice
    std::string_view help;
    std::function<FieldValue(Settings const&)> get;
    std::function<void(Settings&, FieldValue const&)> set;

    bool HasRange() const;
    /// The accepted values in words: "0 to 1", "down, up, left or right", "true or false", "#RRGGBB or #RRGGBBAA".
    std::string DescribeRange() const;
    /// What a user would type for this value.
    std::string Format(FieldValue const& value) const;
    /// Throws `std::invalid_argument` that names the field, the text and what would be accepted.
    FieldValue Parse(std::string_view text) const;
};

/// Base of all settings classes. Each has a static `CLASS_ID`, whose text is the class's short name, and a `SUMMARY`.
class Settings {
public:
    virtual ~Settings() = default;
    virtual std::string const& GetClassId() const = 0;
    /// One sentence for people: what a viewer sees.
    virtual std::string_view GetSummary() const = 0;
    /// In order of declaration.
    virtual std::vector<Field> const& GetFields() const = 0;
    virtual std::unique_ptr<Settings> Clone() const = 0;

    /// Throws `std::invalid_argument` for an unknown key; it offers the nearest one.
    Field const& FindField(std::string_view key) const;
    /// Sets a field from what a user typed. Throws as `FindField` and `Field::Parse`.
    void Set(std::string_view key, std::string_view text);

protected:
    Settings() = default;
    Settings(Settings const&) = default;
    Settings& operator=(Settings const&) = default;
};

/// Gives a class what follows from its one declaration: `static std::vector<Field> DeclareFields()`.
template <typename Derived>
class SettingsOf : public Settings {
public:
    std::string const& GetClassId() const override { return Derived::CLASS_ID; }
    std::string_view GetSummary() const override { return Derived::SUMMARY; }
    std::vector<Field> const& GetFields() const override {
        static std::vector<Field> const fields = Derived::DeclareFields();
        return fields;
    }
    std::unique_ptr<Settings> Clone() const override {
        return std::make_unique<Derived>(static_cast<Derived const&>(*this));
    }

protected:
    /// A number or a flag. The default is what a default-constructed object holds.
    template <typename T>
    static Field Declare(std::string_view key, T Derived::*member, double minimum, double maximum,
                         std::string_view help) {
        return Make(key, TypeOf<T>(), member, minimum, maximum, {}, help);
    }
    /// A flag, a colour or a list.
    template <typename T>
    static Field Declare(std::string_view key, T Derived::*member, std::string_view help) {
        return Make(key, TypeOf<T>(), member, 0.0, 0.0, {}, help);
    }
    static Field DeclareChoice(std::string_view key, std::int32_t Derived::*member,
                               std::initializer_list<FieldLabel> labels, std::string_view help) {
        return Make(key, FieldType::Choice, member, 0.0, 0.0, labels, help);
    }

private:
    template <typename T>
    static constexpr FieldType TypeOf() {
        if constexpr (std::is_same_v<T, std::int32_t>) {
            return FieldType::Int;
        } else if constexpr (std::is_same_v<T, std::uint32_t>) {
            return FieldType::Uint;
        } else if constexpr (std::is_same_v<T, double>) {
            return FieldType::Real;
        } else if constexpr (std::is_same_v<T, float>) {
            return FieldType::Float;
        } else if constexpr (std::is_same_v<T, bool>) {
            return FieldType::Flag;
        } else if constexpr (std::is_same_v<T, Color>) {
            return FieldType::Color;
        } else {
            static_assert(std::is_same_v<T, Reals8>, "a field is of one of the types of FieldValue");
            return FieldType::Reals8;
        }
    }

    template <typename T>
    static Field Make(std::string_view key, FieldType type, T Derived::*member, double minimum, double maximum,
                      std::vector<FieldLabel> labels, std::string_view help) {
        return {
            key,
            type,
            minimum,
            maximum,
            std::move(labels),
            help,
            [member](Settings const& settings) -> FieldValue { return static_cast<Derived const&>(settings).*member; },
            [member](Settings& settings, FieldValue const& value) {
                static_cast<Derived&>(settings).*member = std::get<T>(value);
            }};
    }
};

/// A default-constructed object of every settings class, in the order of the registration.
std::vector<std::unique_ptr<Settings>> MakeAllSettings();
/// One of them by its short name; null where there is none.
std::unique_ptr<Settings> MakeSettings(std::string_view classId);

/// The nearest of `candidates` to a mistyped `name`, or "" where none is near.
std::string FindNearest(std::string_view name, std::vector<std::string> const& candidates);

}  // namespace Kaltor::Proc
