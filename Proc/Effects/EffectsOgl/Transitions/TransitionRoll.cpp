// The outgoing picture rolls up like a sheet of paper and uncovers the incoming one (roll up), or the incoming picture
// rolls out over the outgoing one (roll back: the same with the pictures exchanged and the time reversed).
//
// `cx` is where the roll's axis is, `R` its radius, [x1, x2] what it covers of the screen. A point of the roll at the
// angle fi from its top shows either the sheet's back half, which comes over the axis, or the part that is wound
// underneath: that point lay flat at u', and is wound by arc length.

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include <fmt/format.h>
#include <glm/gtc/constants.hpp>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

// A mirrored roll comes from 1: it compares the other way round. Without thickness (R = 0) there is no roll to show.
constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float cx;
uniform float x1;
uniform float x2;
uniform float R;
varying vec2 TexCoord0;
const float pi = 3.1416;
void main() {
    float u = TexCoord0.AXIS;
    bool isFlat = u BEFORE x1 || x2 BEFORE u || R <= 0.0;
    float x = clamp(SENSE (u - cx) / R, -1.0, 1.0);
    float fi = asin(x);
    float w = cx - SENSE (R * (pi + fi));
    bool isOutside = w BEFORE START;
    vec2 at = TexCoord0;
    if (!isFlat) {
        at.AXIS = isOutside ? w + SENSE (R * (pi + 2.0 * fi)) : w;
    }
    vec4 c = texture2D(tex1, at);
    if (!isFlat) {
        float D = 0.2 + 0.8 * sqrt(1.0 - x * x);  // cos(fi)
        float k = 0.3 / (16.0 * (1.0 - D) + D);
        c = (isOutside ? c : vec4(c.rgb + vec3(k), 1.0)) * vec4(D, D, D, 1.0);
    }
    gl_FragColor = u BEFORE x1 ? texture2D(tex2, TexCoord0) : c;
}
)glsl";

struct Direction {
    char const* program;
    char axis;  ///< the texture's axis
    bool isMirrored;
    std::size_t reverse;
};

/// Indexed by the direction's number.
constexpr std::array<Direction, 4> kDirections{{{"TransitionRollLeft", 's', true, 1},
                                                {"TransitionRollRight", 's', false, 0},
                                                {"TransitionRollUp", 't', true, 3},
                                                {"TransitionRollDown", 't', false, 2}}};

std::string MakeFragment(Direction const& direction) {
    bool const isMirrored = direction.isMirrored;
    return fmt::format("#version 120\n#define AXIS {}\n#define BEFORE {}\n#define SENSE {}\n#define START {}\n",
                       direction.axis, isMirrored ? '>' : '<', isMirrored ? '-' : '+', isMirrored ? "1.0" : "0.0") +
           kFragment;
}

/// The roll's place and thickness on its way from 0 to 1.
struct Roll {
    float axis;
    float radius;
    float begin;
    float end;
};

/// `thickness`: the square of the radius of a roll that has moved by one picture.
Roll MakeRoll(double progress, double thickness) {
    // The root of length - sqrt(length * thickness) = 1: at the end the roll has just left the screen.
    double const length = 0.5 * (2 + thickness + std::sqrt((4 + thickness) * thickness));
    auto const axis = static_cast<float>(progress * length);
    auto const radius = static_cast<float>(std::sqrt(axis * thickness));
    if (!(radius > 0.0F)) {
        return {axis, 0.0F, axis, axis};
    }
    // The sheet's length in radians of the roll: how far the roll has turned.
    float const turn = axis / radius;
    float const reach = axis - radius * std::sin(turn);
    if (turn < glm::half_pi<double>()) {
        return {axis, radius, reach, axis};
    }
    float const end = turn < glm::three_over_two_pi<double>() ? std::max(reach, axis) : axis + radius;
    return {axis, radius, axis - radius, end};
}

}  // namespace

class TransitionRoll final : public TransitionWithSettings<Proc::SettingsTransitionRoll> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        bool const isBack = settings.GetType() == Proc::SettingsTransitionRoll::Type::RollBack;
        constexpr double kThicknessOfSize = 0.4 / 600;
        Roll const roll = MakeRoll(isBack ? 1 - progress : progress, settings.GetSize() * kThicknessOfSize);
        auto const number = static_cast<std::size_t>(settings.GetDir());
        Direction const& direction = kDirections[isBack ? kDirections[number].reverse : number];
        auto const place = [&](float u) { return direction.isMirrored ? 1.0F - u : u; };
        // Without a roll only texel centres are sampled.
        TextureFilter const filter = roll.radius > 0.0F ? TextureFilter::Linear : TextureFilter::Nearest;
        Pass(storage, direction.program, [&] { return MakeFragment(direction); })
            .Texture("tex1", 0, isBack ? incoming : outgoing, filter)
            .Texture("tex2", 1, isBack ? outgoing : incoming, TextureFilter::Nearest)
            .Set("cx", place(roll.axis))
            .Set("x1", place(roll.begin))
            .Set("x2", place(roll.end))
            .Set("R", roll.radius)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionRoll>();

}  // namespace Kaltor::Ogl
