#include "Proc/Effects/EffectsOgl/RequireChoice.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Ogl {

void RequireChoice(Proc::Settings const& settings, std::string_view key) {
    Proc::Field const& field = settings.FindField(key);
    auto const value = std::get<std::int32_t>(field.get(settings));
    bool const isKnown = std::any_of(field.labels.begin(), field.labels.end(),
                                     [value](Proc::FieldLabel const& label) { return label.value == value; });
    if (!isKnown) {
        Core::Throw(std::invalid_argument(fmt::format("{} {} is not accepted by {}: it takes {}", key, value,
                                                      settings.GetClassId(), field.DescribeRange())));
    }
}

}  // namespace Kaltor::Ogl
