#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <variant>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Core {

/// An error of the property tree. Its tags give the method, the property's key and its type.
class PropertyException : public std::logic_error {
public:
    using TagMethodName = boost::error_info<struct TagMethodNameId, std::string>;
    using TagPropertyName = boost::error_info<struct TagPropertyNameId, std::string>;
    using TagPropertyType = boost::error_info<struct TagPropertyTypeId, std::string>;

    using std::logic_error::logic_error;
};

/// A method was called on a property of a type that it does not apply to.
class MethodIsNotApplicable : public PropertyException {
public:
    using PropertyException::PropertyException;
};

/// A node of a settings or statistics tree: either an object (a class identifier and children by key) or a value.
class Property {
public:
    using Value = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string>;
    using Children = std::map<std::string, Property>;

    Property() = default;
    /// An object without children.
    explicit Property(std::string objectClass) : classId(std::move(objectClass)) {}
    /// A value.
    static Property Of(Value value);

    /// "" for a value.
    std::string const& GetClassId() const { return classId; }
    Children const& GetChildren() const { return children; }
    /// "object", "flag", "integer", "unsigned", "real" or "text".
    char const* GetTypeName() const;

    /// Adds or replaces a child. Throws `MethodIsNotApplicable` on a value.
    Property& SetChild(std::string const& key, Property child);
    bool HasChild(std::string const& key) const { return children.count(key) != 0; }
    /// Throws `PropertyException` where there is no such child.
    Property const& GetChild(std::string const& key) const;

    /// The value as exactly this type. Throws `MethodIsNotApplicable` if it has another type.
    template <typename T>
    T const& Get() const {
        if (T const* const found = std::get_if<T>(&value)) {
            return *found;
        }
        ThrowNotApplicable("Get");
    }

    bool operator==(Property const&) const = default;

private:
    [[noreturn]] void ThrowNotApplicable(char const* method) const;

    std::string classId;
    Value value;
    Children children;
};

}  // namespace Kaltor::Core
