#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include "Ogl/Mesh.h"

namespace Kaltor::Ogl {

/// A picture divided into small square cells. Each has the least and the greatest amount (0 to 1) by which an effect
/// acts in it, so that each part is drawn with no more work than it needs.
class AmountCells {
public:
    /// Bounds of the amount within a rectangle of texture coordinates: left, bottom, right, top.
    using Range = std::function<glm::dvec2(glm::dvec4 const& area)>;
    using Predicate = std::function<bool(std::size_t cell)>;

    /// `width` x `height` pixels.
    AmountCells(std::uint32_t width, std::uint32_t height, Range const& range);

    std::size_t GetCount() const { return ranges.size(); }
    glm::dvec2 const& GetRange(std::size_t cell) const { return ranges[cell]; }

    /// A mesh of the wanted cells, which share their edges.
    Quad MakeMesh(Predicate const& isWanted) const;
    /// The rectangle around the wanted cells; empty if there are none.
    std::optional<glm::dvec4> GetBounds(Predicate const& isWanted) const;

private:
    glm::dvec4 GetArea(std::size_t row, std::size_t begin, std::size_t end) const;

    glm::dvec2 step;  ///< size of a cell, in texture coordinates
    std::size_t columns;
    std::size_t rows;
    std::vector<glm::dvec2> ranges;  ///< row by row from below
};

}  // namespace Kaltor::Ogl
