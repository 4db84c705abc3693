#pragma once

#include <array>
#include <compare>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <glm/vec4.hpp>

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/EffectsOgl/Effects/AmountCells.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"

namespace Kaltor::Ogl {

/// A picture blurred by a Gaussian whose width may differ from pixel to pixel: a few blurred copies of growing width
/// and shrinking size, which a program mixes by variance.
class BlurLevels {
public:
    /// `scale`, more than 0, is the full width as `EffectBlur` counts it. `amountCells` gives how much of it is wanted
    /// where.
    BlurLevels(Frame const& pictureToBlur, double scale, AmountCells const& amountCells,
               ShaderStorage const& shaderStorage);

    /// Sets the uniforms of a program and one sampler, for unit 0. If all pixels of the cells are blurred equally, the
    /// program uses neither the amount nor anything that is needed only to compute it.
    using Preparation = std::function<void(Pass& pass, bool usesAmount)>;

    /// Draws the whole picture. `program` is GLSL without a version that may call `vec4 Blurred(vec4 origin, vec2 uv,
    /// float amount)`: the colour (not premultiplied) at `uv`, blurred by `amount` (0 to 1) of the full width, with the
    /// picture's alpha; `origin` is the picture's pixel there. Several programs are made of it, each for the needs of
    /// some cells. Their names begin with `name`.
    void DrawTo(DataVideoOGL& target, std::string_view name, std::string_view program,
                Preparation const& prepare) const;

private:
    static constexpr std::size_t kCount = 4;

    /// The copies that a cell is mixed from; 0 is the picture itself.
    struct Span {
        std::size_t first;
        std::size_t last;
        bool isFull;  ///< the amount is 1 all over the cell

        auto operator<=>(Span const&) const = default;
    };

    /// A reduced copy of the picture, and the pairs of taps that blur it; empty if no part of it is visible.
    struct Copy {
        Src reduced;
        int pairs = 0;
    };
    class Reduction;

    /// Also sets `variances`.
    std::array<Copy, kCount> MakeCopies(double scale);
    Frame MakeLevel(Copy const& copy, AmountCells::Predicate const& isWanted) const;
    /// Limits drawing to the pixels of a target of this size that the wanted cells need, with `margin` (in larger sides
    /// of the picture) around them.
    void Cut(AmountCells::Predicate const& isWanted, double margin, Conf::FrameInfo const& info) const;
    Span FindSpan(glm::dvec2 const& range) const;
    std::string MakeFunction(Span const& span) const;

    Frame picture;
    Premultiplied source;
    AmountCells const& cells;
    std::vector<Span> spans;  ///< one for each cell
    ShaderStorage const& storage;
    std::array<Frame, kCount> levels;  ///< empty if it would be as sharp as the picture, or is not needed
    glm::vec4 variances{0.0F};         ///< as fractions of the full variance
};

}  // namespace Kaltor::Ogl
