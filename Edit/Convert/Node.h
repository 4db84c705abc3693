#pragma once

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/Json.h"

namespace Kaltor::Edit {

/// A value of another program's document with its place there, such as "tracks/children/0". What it refuses is an
/// `std::invalid_argument` that begins with the place. The document has to outlive it.
class Node {
public:
    Node(Json const& value, std::string where) : json(&value), place(std::move(where)) {}

    Json const& operator*() const { return *json; }
    Json const* operator->() const { return json; }
    std::string const& GetPlace() const { return place; }
    [[noreturn]] void Refuse(std::string const& why) const {
        Core::Throw(std::invalid_argument(place.empty() ? why : fmt::format("{}: {}", place, why)));
    }

    /// Whether the member is there and not null.
    bool Has(char const* key) const { return json->is_object() && json->contains(key) && !(*json)[key].is_null(); }
    /// A member that has to be there.
    Node At(char const* key) const {
        if (!json->is_object()) {
            Refuse("it is no object");
        }
        if (!Has(key)) {
            Refuse(fmt::format("it needs the key \"{}\"", key));
        }
        return {(*json)[key], Join(key)};
    }
    /// The members of a list, or of an object.
    std::vector<Node> Children() const {
        if (!json->is_array()) {
            Refuse("it is no list");
        }
        std::vector<Node> children;
        for (std::size_t i = 0; i < json->size(); ++i) {
            children.emplace_back((*json)[i], Join(std::to_string(i)));
        }
        return children;
    }

    double Number() const {
        if (!json->is_number() || !std::isfinite(json->get<double>()) || std::abs(json->get<double>()) > kMost) {
            Refuse("it is no number that can be used");
        }
        return json->get<double>();
    }
    std::string const& Text() const {
        if (!json->is_string()) {
            Refuse("it is no text");
        }
        return json->get_ref<std::string const&>();
    }
    bool Flag() const {
        if (!json->is_boolean()) {
            Refuse("it is neither true nor false");
        }
        return json->get<bool>();
    }

    double Number(char const* key, double standard) const { return Has(key) ? At(key).Number() : standard; }
    std::string Text(char const* key, std::string const& standard = "") const {
        return Has(key) ? At(key).Text() : standard;
    }
    bool Flag(char const* key, bool standard) const { return Has(key) ? At(key).Flag() : standard; }

private:
    static constexpr double kMost = 1e12;

    std::string Join(std::string_view key) const {
        return place.empty() ? std::string(key) : fmt::format("{}/{}", place, key);
    }

    Json const* json;
    std::string place;
};

/// A number as documents have it: without the rounding of sums in its last digits, and whole ones without a point.
inline Json WholeOrReal(double value) {
    constexpr double kPrecision = 1e9;
    constexpr double kExact = 1e15;
    double const number = std::abs(value) < kExact / kPrecision ? std::round(value * kPrecision) / kPrecision : value;
    return number == std::floor(number) && std::abs(number) < kExact ? Json(static_cast<std::int64_t>(number))
                                                                     : Json(number);
}

}  // namespace Kaltor::Edit
