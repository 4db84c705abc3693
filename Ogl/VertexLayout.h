#pragma once

#include <cstddef>
#include <span>

namespace Kaltor::Ogl {

/// One attribute of a vertex: the name that vertex programs declare it by, and its number of floats, 1 to 4.
struct VertexAttribute {
    char const* name;
    int floats;
};

/// The named attributes of a vertex: floats without gaps, in this order. An attribute's index in it is its location.
using VertexLayout = std::span<VertexAttribute const>;

/// The largest number of attributes in a layout.
constexpr std::size_t kMostAttributes = 8;

/// Bytes per vertex.
constexpr std::size_t GetVertexSize(VertexLayout layout) {
    std::size_t floats = 0;
    for (VertexAttribute const& attribute : layout) {
        floats += static_cast<std::size_t>(attribute.floats);
    }
    return floats * sizeof(float);
}

}  // namespace Kaltor::Ogl
