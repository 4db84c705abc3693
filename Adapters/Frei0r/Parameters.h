#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "Adapters/Frei0r/Frei0r.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Frei0r {

struct HostColor {
    float red;
    float green;
    float blue;
    bool operator==(HostColor const&) const = default;
};

/// A parameter's value as hosts see it: numbers and flags as 0 to 1.
using HostValue = std::variant<double, HostColor, std::string>;

/// What a parameter stands for.
enum class Role : std::uint8_t {
    Progress,   ///< 0 to 1; negative: from the time, over that many seconds
    Number,     ///< a field: a whole or real number
    Flag,       ///< a field
    Color,      ///< a field, without its alpha
    Alpha,      ///< the alpha of a field
    Choice,     ///< a field: the place of the label, 0 for the first and 1 for the last
    Component,  ///< one number of a field that is a list
    Seed,
    Label,  ///< a field: a choice by its label; empty: the number counts
};

struct Parameter {
    std::string name;
    std::string help;
    int type;  ///< kFrei0rBool and so on
    Role role;
    Proc::Field const* field;  ///< null for Progress and Seed
    std::size_t component;     ///< of a list
    HostValue initial;
};

/// Seeds are 0 to this.
constexpr std::uint32_t kLargestSeed = 65535;

/// What an effect is to draw with.
struct Drawing {
    std::unique_ptr<Proc::Settings> settings;
    double progress = -1.0;
    std::uint32_t seed = 0;
};

/// The parameters of one settings class, made from its declaration: progress first, where the class runs on it; then
/// the fields in their order; the seed, where something is random; the labels of choices last.
class Parameters {
public:
    /// Throws `std::invalid_argument` where there is no such class.
    explicit Parameters(std::string_view classId);

    std::vector<Parameter> const& Get() const { return list; }
    std::vector<HostValue> GetInitial() const;

    /// Reads values that hosts have set, one for each parameter. Numbers out of range are taken for the nearest one in
    /// it, and those that are no numbers for the default, so that the settings can always be drawn. `unknown` gets the
    /// labels that no choice has.
    Drawing Read(std::vector<HostValue> const& values, std::vector<std::string>& unknown) const;

    /// The values by which a host sets these settings.
    std::vector<HostValue> Write(Proc::Settings const& settings) const;

private:
    HostValue WriteOne(Parameter const& parameter, Proc::Settings const& settings) const;
    void Add(std::string name, std::string help, int type, Role role, Proc::Field const* field,
             std::size_t component = 0);

    std::unique_ptr<Proc::Settings> defaults;
    std::vector<Parameter> list;
};

/// A number of a field's range as 0 to 1, and back: in proportion, or by ratios where the range asks for it
/// (`Field::IsLogarithmic`). The way back gives numbers of nine digits, which are what people type.
double ToUnit(Proc::Field const& field, double number);
double FromUnit(Proc::Field const& field, double unit);

}  // namespace Kaltor::Frei0r
