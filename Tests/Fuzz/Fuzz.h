#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "Host/Catalog.h"

namespace Kaltor::Fuzz {

inline std::string_view AsText(std::uint8_t const* data, std::size_t size) {
    // The bytes are characters.
    return {reinterpret_cast<char const*>(data), size};
}

/// Runs what reads input that nobody has to trust. It may refuse it, in the two ways that a user gets to see as one
/// line; any other exception, and all that the sanitizers find, ends the program.
template <typename Reader>
void MayRefuse(Reader reader) {
    try {
        reader();
    } catch (std::invalid_argument const&) {
    } catch (std::runtime_error const&) {
    }
}

/// Ends the program where it cannot be loaded: that is no fault of the input.
inline Host::Catalog const& GetCatalog() noexcept {
    static Host::Catalog const catalog = Host::Catalog::Load();
    return catalog;
}

}  // namespace Kaltor::Fuzz
