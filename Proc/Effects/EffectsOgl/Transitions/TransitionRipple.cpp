// A drop falls onto the outgoing picture: a ring of waves runs outwards and leaves the incoming picture behind it. The
// ring is a packet of waves, steepest a little behind its front, that distorts the pictures as moving water distorts
// the ground below it, and catches light from the upper left. As with short waves on water, crests run a little faster
// than the packet itself, and sink as the ring grows.

#include <algorithm>
#include <cmath>
#include <numbers>

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

// Lengths are parts of the picture's longer side. u runs through the ring, from 0 at its front to 1 at its back; the
// envelope u^2 (1 - u)^3, 1 where it is highest, leaves neither end with a line.
constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 drop;
uniform vec2 scale;       // of texture coordinates to lengths
uniform float front;      // radius
uniform float width;
uniform float wave;       // radians a length
uniform float phase;
uniform float core;       // radius within which the middle of the drop is smooth
uniform float steepness;  // of the highest wave
uniform float depth;      // how far a steepness of 1 bends
varying vec2 TexCoord0;
void main() {
    vec2 place = (TexCoord0 - drop) * scale;
    float radius = length(place);
    float u = clamp((front - radius) / width, 0.0, 1.0);
    float back = 1.0 - u;
    float packet = 28.935185 * u * u * back * back * back;
    vec2 slope = place * (steepness * packet * sin(radius * wave - phase) / max(radius, core));

    // Mirrored at the borders.
    vec2 coord = vec2(1.0) - abs(vec2(1.0) - abs(TexCoord0 - slope * depth / scale));
    float behind = smoothstep(0.15, 0.75, u);
    vec4 color = mix(texture2D(tex1, coord), texture2D(tex2, coord), behind);

    // Slopes that face the light are lighter, the others darker; the steepest of them mirror it.
    float facing = dot(slope, vec2(0.70710678, -0.70710678)) * inversesqrt(1.0 + dot(slope, slope));
    float glint = clamp(3.0 * facing - 0.3, 0.0, 1.0);
    color.rgb *= 1.0 + 0.55 * facing;
    color.rgb += (vec3(color.a) - color.rgb) * (0.3 * glint * glint);
    gl_FragColor = Unmultiply(color);
}
)glsl";

}  // namespace

class TransitionRipple final : public TransitionWithSettings<Proc::SettingsTransitionRipple> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        glm::vec2 const scale(GetSides(GetDisplayAspect(first->GetFrameInfo())));
        glm::vec2 const drop(static_cast<float>(settings.x), static_cast<float>(settings.y));
        glm::vec2 const farCorner = glm::max(glm::abs(drop), glm::abs(glm::vec2(1.0F) - drop)) * scale;

        constexpr double kTurn = 2.0 * std::numbers::pi;
        double const width = std::max(settings.width, 1e-3);
        // A ring holds at least one wave.
        double const length = std::min(1.0 / std::max(settings.freq, 1), width);
        double const front = progress * (static_cast<double>(glm::length(farCorner)) + width);
        constexpr double kCrestSpeed = 1.3;
        // A height of 200 displaces by a whole wavelength. Waves that pixels cannot show, or only with moire, fade out.
        double const pixels = length * std::max(outgoing.GetWidth(), outgoing.GetHeight());
        double const shown = std::clamp(pixels / 4.0 - 0.5, 0.0, 1.0);
        double const steepness = shown * settings.ampl / 60.0 / std::sqrt(1.0 + 2.0 * front);

        Premultiplied const from(outgoing, storage);
        Premultiplied const to(incoming, storage);
        Pass(storage, "TransitionRipple", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex1", 0, from.Get())
            .Texture("tex2", 1, to.Get())
            .Set("drop", drop)
            .Set("scale", scale)
            .Set("front", front)
            .Set("width", width)
            .Set("wave", kTurn / length)
            .Set("phase", std::fmod(front * kCrestSpeed / length, 1.0) * kTurn)
            .Set("core", length / 2.0)
            .Set("steepness", steepness)
            .Set("depth", 0.6 * length)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionRipple>();

}  // namespace Kaltor::Ogl
