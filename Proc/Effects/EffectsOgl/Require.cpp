#include "Proc/Effects/EffectsOgl/Require.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <variant>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Ogl {
namespace {

[[noreturn]] void Refuse(Proc::Settings const& settings, std::string_view key, std::int32_t value,
                         std::string const& accepted) {
    Core::Throw(std::invalid_argument(
        fmt::format("{} {} is not accepted by {}: it takes {}", key, value, settings.GetClassId(), accepted)));
}

}  // namespace

void RequireChoice(Proc::Settings const& settings, std::string_view key) {
    Proc::Field const& field = settings.FindField(key);
    auto const value = std::get<std::int32_t>(field.get(settings));
    bool const isKnown = std::any_of(field.labels.begin(), field.labels.end(),
                                     [value](Proc::FieldLabel const& label) { return label.value == value; });
    if (!isKnown) {
        Refuse(settings, key, value, field.DescribeRange());
    }
}

void RequireRange(Proc::Settings const& settings, std::string_view key, std::int32_t least, std::int32_t most) {
    auto const value = std::get<std::int32_t>(settings.FindField(key).get(settings));
    if (value < least || value > most) {
        bool const isOpen = most == std::numeric_limits<std::int32_t>::max();
        Refuse(settings, key, value,
               isOpen ? fmt::format("{} and above", least) : fmt::format("{} to {}", least, most));
    }
}

}  // namespace Kaltor::Ogl
