#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
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
/// Some numbers, as many as their field says.
using Numbers = std::vector<double>;
/// The value of one field. A choice is held as its integer, the path of a file as its text.
using FieldValue = std::variant<std::int32_t, std::uint32_t, double, float, bool, Color, Reals8, Numbers, std::string>;

enum class FieldType : std::uint8_t { Int, Uint, Real, Float, Flag, Choice, Color, Reals8, Reals, Ints, File };

/// The label of one number of a choice.
struct FieldLabel {
    std::int32_t value;
    std::string_view label;
};

class Settings;

/// How an algorithm treats values that a field does not offer: it refuses them, or it defines what they draw.
enum class Outside : std::uint8_t { Refused, Defined };

/// One field of a settings class: its description for users, and access to it without knowing the class. A range is
/// what the user-facing tools accept; an object of the class holds any value of the type.
struct Field {
    std::string_view key;
    FieldType type;
    double minimum = 0.0;  ///< for numbers; both ends are included
    double maximum = 0.0;
    std::span<FieldLabel const> labels;  ///< for a choice
    std::string_view help;
    std::function<FieldValue(Settings const&)> get;
    std::function<void(Settings&, FieldValue const&)> set;
    Outside outside = Outside::Refused;
    std::size_t length = 1;   ///< of a list
    bool isOptional = false;  ///< a file without which there is something to draw

    /// "int", "uint", "real", "float", "flag", "choice", "colour", "reals[8]", "ints[2]", "file".
    std::string GetTypeName() const;
    bool IsList() const;
    /// Whether it takes a number, or a list of them, between two ends.
    bool HasRange() const;
    /// Whether equal steps of a slider should be equal ratios: the range begins above zero and spans more than two
    /// powers of ten.
    bool IsLogarithmic() const;
    /// Whether the field offers this value: a number within the range, a choice that has a label. Never NaN.
    bool Accepts(FieldValue const& value) const;
    /// The accepted values in words: "0 to 1", "down, up, left or right", "true or false", "#RRGGBB or #RRGGBBAA".
    std::string DescribeRange() const;
    /// The text that a user would type for this value.
    std::string Format(FieldValue const& value) const;
    /// Throws `std::invalid_argument` with the field, the text and the accepted values.
    FieldValue Parse(std::string_view text) const;
};

/// Base of all settings classes. Each has a static `CLASS_ID`, whose text is the class's short name, and a `SUMMARY`;
/// those that can leave a picture as it is say how in `NEUTRAL`. `RUNS_ON_PROGRESS`, `IS_RANDOM` and `KEEPS_LAYOUT` are
/// declared where they are true; transitions run on progress without saying so.
class Settings {
public:
    virtual ~Settings() = default;
    virtual std::string const& GetClassId() const = 0;
    /// One sentence for users: what a viewer sees.
    virtual std::string_view GetSummary() const = 0;
    /// What a user would type to have every picture left as it is, to the byte: "key=value ..."; "" where nothing does.
    virtual std::string_view GetNeutral() const = 0;
    /// Whether the picture depends on progress: every transition, and the effects that have an end.
    virtual bool RunsOnProgress() const = 0;
    /// Whether the picture depends on the seed, at least with some settings.
    virtual bool IsRandom() const = 0;
    /// Whether the effect lays out its picture once, with the settings of its first frame: a host that changes fields
    /// from frame to frame resets it each time.
    virtual bool KeepsLayout() const = 0;
    /// In order of declaration. Objects of one class may differ in their fields, not those with one class id.
    virtual std::vector<Field> const& GetFields() const = 0;
    virtual std::unique_ptr<Settings> Clone() const = 0;
    /// An object with the same fields at their defaults.
    virtual std::unique_ptr<Settings> MakeDefault() const = 0;
    /// The file that declares the fields, where it is not the program.
    virtual std::string GetOrigin() const { return {}; }

    /// Throws `std::invalid_argument` for an unknown key; the message suggests the nearest one.
    Field const& FindField(std::string_view key) const;
    /// Sets a field from the text that a user typed. Throws like `FindField` and `Field::Parse`.
    void Set(std::string_view key, std::string_view text);
    /// Whether the other one is of the same class and all fields have the same values.
    bool HasSameValues(Settings const& other) const;
    /// Throws `std::invalid_argument` with the name of the first field whose value cannot be drawn: a value that is not
    /// finite, or one that the field does not offer and the algorithm does not define.
    void Validate() const;

protected:
    Settings() = default;
    Settings(Settings const&) = default;
    Settings& operator=(Settings const&) = default;
};

/// The compiler's name for a function that is instantiated for a member ends with the member's name. GCC: "[with auto
/// Member = &Class::name; ...]", clang: "[Member = &Class::name]".
template <auto Member>
constexpr std::string_view GetMemberName() {
    std::string_view const text = __PRETTY_FUNCTION__;
    std::string_view const upToName = text.substr(0, text.find_first_of(";]", text.rfind("Member = ")));
    return upToName.substr(upToName.rfind(':') + 1);
}

/// Implements a settings class from its one declaration: `static std::vector<Field> DeclareFields()`. Its public
/// members are the fields. Only the classes whose accessors are part of the interface with hosts have accessors
/// besides.
template <typename Derived>
class SettingsOf : public Settings {
public:
    std::string const& GetClassId() const override { return Derived::CLASS_ID; }
    std::string_view GetSummary() const override { return Derived::SUMMARY; }
    std::string_view GetNeutral() const override {
        if constexpr (requires { Derived::NEUTRAL; }) {
            return Derived::NEUTRAL;
        } else {
            return {};
        }
    }
    bool RunsOnProgress() const override {
        if constexpr (requires { Derived::RUNS_ON_PROGRESS; }) {
            return Derived::RUNS_ON_PROGRESS;
        } else {
            return Derived::CLASS_ID.starts_with("Transition");
        }
    }
    bool IsRandom() const override {
        if constexpr (requires { Derived::IS_RANDOM; }) {
            return Derived::IS_RANDOM;
        } else {
            return false;
        }
    }
    bool KeepsLayout() const override {
        return requires {
            Derived::KEEPS_LAYOUT;
        };
    }
    std::vector<Field> const& GetFields() const override {
        static std::vector<Field> const fields = Derived::DeclareFields();
        return fields;
    }
    std::unique_ptr<Settings> Clone() const override {
        return std::make_unique<Derived>(static_cast<Derived const&>(*this));
    }
    std::unique_ptr<Settings> MakeDefault() const override { return std::make_unique<Derived>(); }

protected:
    using This = Derived;

    template <auto Member>
    using TypeOf = std::remove_reference_t<decltype(std::declval<Derived&>().*Member)>;

    // The key of a field is its member's name. Its default is the value in a default-constructed object.

    /// A number, or a list of numbers.
    template <auto Member>
    static Field Declare(double minimum, double maximum, std::string_view help, Outside outside = Outside::Refused) {
        return Make<Member>(minimum, maximum, {}, help, outside);
    }
    /// A flag or a colour.
    template <auto Member>
    static Field Declare(std::string_view help) {
        return Make<Member>(0.0, 0.0, {}, help, Outside::Refused);
    }
    template <typename Enumeration>
    struct Label {
        Enumeration value;
        std::string_view label;
    };
    /// A choice: an enumeration of 32 bits.
    template <auto Member>
    static Field Declare(std::initializer_list<Label<TypeOf<Member>>> labels, std::string_view help,
                         Outside outside = Outside::Refused) {
        // A class declares its fields only once, so what is written here does not change later.
        static std::vector<FieldLabel> numbered;
        numbered.clear();
        for (auto const& [value, label] : labels) {
            numbered.push_back({static_cast<std::int32_t>(value), label});
        }
        return Make<Member>(0.0, 0.0, numbered, help, outside);
    }

private:
    template <typename T>
    static constexpr FieldType FieldTypeOf() {
        if constexpr (std::is_enum_v<T>) {
            static_assert(std::is_same_v<std::underlying_type_t<T>, std::int32_t>, "a choice is held in 32 bits");
            return FieldType::Choice;
        } else if constexpr (std::is_same_v<T, std::int32_t>) {
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

    template <auto Member>
    static FieldValue ReadMember(Settings const& settings) {
        auto const& value = static_cast<Derived const&>(settings).*Member;
        if constexpr (std::is_enum_v<TypeOf<Member>>) {
            return static_cast<std::int32_t>(value);
        } else {
            return value;
        }
    }
    template <auto Member>
    static void WriteMember(Settings& settings, FieldValue const& value) {
        using T = TypeOf<Member>;
        if constexpr (std::is_enum_v<T>) {
            static_cast<Derived&>(settings).*Member = static_cast<T>(std::get<std::int32_t>(value));
        } else {
            static_cast<Derived&>(settings).*Member = std::get<T>(value);
        }
    }
    template <auto Member>
    static Field Make(double minimum, double maximum, std::span<FieldLabel const> labels, std::string_view help,
                      Outside outside) {
        static constexpr std::string_view kKey = GetMemberName<Member>();
        static_assert(!kKey.empty() && kKey.find_first_of(" &>)") == std::string_view::npos, "the member's name");
        return {kKey,
                FieldTypeOf<TypeOf<Member>>(),
                minimum,
                maximum,
                labels,
                help,
                &SettingsOf::ReadMember<Member>,
                &SettingsOf::WriteMember<Member>,
                outside,
                std::is_same_v<TypeOf<Member>, Reals8> ? std::tuple_size_v<Reals8> : 1};
    }
};

/// What a class of settings is for: one picture made of one, one made of two over time, or the handling of frames.
enum class RowKind : std::uint8_t { Effect, Transition, Service };
/// The kind of one of the library's settings classes by its short name; nothing where there is no such class. Classes
/// that come with plug-ins are known to the host's registry only.
std::optional<RowKind> FindRowKind(std::string_view classId);

/// A default-constructed object of every settings class of the library, in the order of the registration.
std::vector<std::unique_ptr<Settings>> MakeAllSettings();
/// One of them by its short name; null where there is none.
std::unique_ptr<Settings> MakeSettings(std::string_view classId);

/// The nearest of `candidates` to a mistyped `name`, or "" where none is near.
std::string FindNearest(std::string_view name, std::vector<std::string> const& candidates);

}  // namespace Kaltor::Proc
