#pragma once

#include <array>
#include <optional>

#include <glm/vec4.hpp>

#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/EffectsOgl/Pass.h"
#include "Proc/Effects/EffectsOgl/Premultiplied.h"

namespace Kaltor::Ogl {

/// A picture blurred by a Gaussian whose width may differ from pixel to pixel: a few blurred copies of growing width,
/// the wider the smaller, between which a program goes by variance.
class BlurLevels {
public:
    /// GLSL: `vec3 Blurred(vec4 origin, vec2 uv, float amount)` gives the colour (not premultiplied) at `uv`, blurred
    /// by `amount` (0 to 1) of the full width; `origin` is the picture's pixel there. Begins with the version; to be
    /// followed by a program that is drawn with `SetOn`.
    static char const* const kFunction;

    /// `scale`, more than 0, is the full width as `EffectBlur` counts it, done by `blur`, whose own is changed. With
    /// `area` (texture coordinates: left, bottom, right, top) only what lies there is made.
    BlurLevels(EffectBlur& blur, Frame const& picture, double scale, ShaderStorage const& storage,
               std::optional<glm::dvec4> const& area = {});

    /// The samplers take the units from `unit` on, four of them.
    void SetOn(Pass& pass, int unit) const;

private:
    static constexpr std::size_t kCount = 4;
    Premultiplied source;
    std::array<Frame, kCount> levels;  ///< none where it would be as sharp as the picture
    glm::vec4 variances{0.0F};         ///< as fractions of the full one
};

}  // namespace Kaltor::Ogl
