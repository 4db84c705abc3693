#include "Proc/Effects/EffectsOgl/Effects/AmountCells.h"

#include <glm/common.hpp>

#include "Proc/Effects/Shared/QuadBuilders.h"

namespace Kaltor::Ogl {
namespace {

constexpr std::uint32_t kSide = 32;  ///< pixels of a cell

std::size_t Count(std::uint32_t pixels) {
    return (pixels + kSide - 1) / kSide;
}

}  // namespace

AmountCells::AmountCells(std::uint32_t width, std::uint32_t height, Range const& range)
    : step(glm::dvec2(kSide) / glm::dvec2(width, height)), columns(Count(width)), rows(Count(height)) {
    ranges.reserve(columns * rows);
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t column = 0; column < columns; ++column) {
            ranges.push_back(range(GetArea(row, column, column + 1)));
        }
    }
}

Quad AmountCells::MakeMesh(Predicate const& isWanted) const {
    PackedQuad packed;
    int counter = 0;
    for (std::size_t row = 0; row < rows; ++row) {
        // Neighbours in a row are one rectangle.
        for (std::size_t column = 0; column < columns;) {
            std::size_t end = column;
            while (end < columns && isWanted(row * columns + end)) {
                ++end;
            }
            if (end > column) {
                glm::vec4 const area(GetArea(row, column, end));
                glm::vec4 const place = 2.0F * area - 1.0F;
                MakeQuad(area.x, area.y, place.x, place.y, area.z, area.w, place.z, place.w, packed.vertices);
                MakeQuadIdx(counter, packed.indices);
            }
            column = end + 1;
        }
    }
    return Quad(packed, GL_STREAM_DRAW);
}

std::optional<glm::dvec4> AmountCells::GetBounds(Predicate const& isWanted) const {
    std::optional<glm::dvec4> bounds;
    for (std::size_t cell = 0; cell < ranges.size(); ++cell) {
        if (isWanted(cell)) {
            std::size_t const column = cell % columns;
            glm::dvec4 const area = GetArea(cell / columns, column, column + 1);
            glm::dvec4 const before = bounds.value_or(area);
            bounds = {glm::min(glm::dvec2(before), glm::dvec2(area)),
                      glm::max(glm::dvec2(before.z, before.w), glm::dvec2(area.z, area.w))};
        }
    }
    return bounds;
}

glm::dvec4 AmountCells::GetArea(std::size_t row, std::size_t begin, std::size_t end) const {
    return glm::min(glm::dvec4(begin, row, end, row + 1) * glm::dvec4(step, step), 1.0);
}

}  // namespace Kaltor::Ogl
