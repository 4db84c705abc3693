#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "Ogl/Frame.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/EffectsOgl/Effects/AmountCells.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"

namespace Kaltor::Ogl {

/// A picture out of focus, as a lens with a round aperture shows it: every point is a disc, whose size may differ from
/// pixel to pixel, and light adds up as light. Where nothing changes across a disc, the picture stays as it is. Cost
/// and result hardly depend on the picture's size. GL thread only.
class DiscBlur {
public:
    /// Sets the uniforms of `Amount`.
    using Preparation = std::function<void(Pass& pass)>;

    struct Lens {
        double radius;      ///< of the largest disc, in longer sides of the picture; more than 0
        double highlights;  ///< 0 to 1: by how much light close to white outshines what the picture can hold
    };

    /// `amount` is GLSL with a function `float Amount(vec2 uv)`: the part of the largest radius at `uv`, 0 to 1;
    /// `cells` has its bounds.
    DiscBlur(Frame const& pictureToBlur, Lens const& lens, std::string_view name, std::string_view amount,
             AmountCells const& cells, Preparation const& prepare, ShaderStorage const& shaderStorage);

    /// Draws the whole picture. `program` is GLSL without a version that may call `Amount` and `vec4 Blurred(vec4
    /// origin, vec2 uv, float amount)`, as programs of `BlurLevels` do, and has a sampler on unit 0.
    void DrawTo(DataVideoOGL& target, std::string_view program, Preparation const& prepareProgram) const;

private:
    PooledTexture MakeLevel(Texture const& source, double scale, double most, int taps,
                            AmountCells::Predicate const& isWanted) const;

    Lens lens;
    std::string_view name;
    std::string_view amount;
    AmountCells const& cells;
    Preparation prepare;
    ShaderStorage const& storage;
    Premultiplied picture;
    double side;                        ///< the longer one, pixels
    std::optional<PooledTexture> fine;  ///< both premultiplied light
    std::optional<PooledTexture> coarse;
};

}  // namespace Kaltor::Ogl
