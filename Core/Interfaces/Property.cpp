#include "Core/Interfaces/Property.h"

#include <array>
#include <utility>

namespace Kaltor::Core {

Property Property::Of(Value value) {
    Property property;
    property.value = std::move(value);
    return property;
}

char const* Property::GetTypeName() const {
    static constexpr std::array<char const*, std::variant_size_v<Value>> kNames{"object",   "flag", "integer",
                                                                                "unsigned", "real", "text"};
    return kNames[value.index()];
}

Property& Property::SetChild(std::string const& key, Property child) {
    if (!std::holds_alternative<std::monostate>(value)) {
        ThrowNotApplicable("SetChild");
    }
    return children[key] = std::move(child);
}

Property const& Property::GetChild(std::string const& key) const {
    auto const found = children.find(key);
    if (found == children.end()) {
        Throw(boost::enable_error_info(PropertyException("property has no child \"" + key + "\""))
              << PropertyException::TagMethodName("GetChild") << PropertyException::TagPropertyName(key)
              << PropertyException::TagPropertyType(GetTypeName()));
    }
    return found->second;
}

void Property::ThrowNotApplicable(char const* method) const {
    Throw(boost::enable_error_info(
              MethodIsNotApplicable(std::string(method) + " is not applicable to a property of type " + GetTypeName()))
          << PropertyException::TagMethodName(method) << PropertyException::TagPropertyName(classId)
          << PropertyException::TagPropertyType(GetTypeName()));
}

}  // namespace Kaltor::Core
