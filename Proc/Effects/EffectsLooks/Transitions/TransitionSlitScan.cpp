// Time runs at another speed in each line of the picture: the outgoing one is stretched away like rubber, first at one
// end, and the incoming one snaps into place line after line, with a wobble that dies out.

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionSlitScan final : MoveSettings<SettingsTransitionSlitScan> {
    static inline std::string const CLASS_ID = "TransitionSlitScan";
    static constexpr std::string_view SUMMARY =
        "The picture is pulled away like rubber, line after line, and the incoming one snaps into place with a wobble.";

    double delay = 0.5;
    double wobble = 0.5;
    double curve = 0.5;
    double ease = 2.5;

    static std::vector<Field> DeclareFields() {
        return {DeclareDirection("where the lines move to"),
                Declare<&This::delay>(0.0, 0.9, "how much later the last line starts"),
                Declare<&This::wobble>(0.0, 1.0, "how strongly the lines swing when they arrive"),
                Declare<&This::curve>(-1.0, 1.0, "how much the middle lines run ahead; below 0 they stay behind"),
                DeclareEase("how sharply the lines speed up and brake; 1 is steady")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 way;
uniform float progress;
uniform float delay;
uniform float wobble;
uniform float curve;
uniform vec2 span;  // of the lines' order
uniform float ease;
uniform float pixels;
varying vec2 TexCoord0;

float Move(float line) {
    float middle = 1.0 - 4.0 * (line - 0.5) * (line - 0.5);
    float order = mix(line, curve > 0.0 ? 1.0 - middle : middle, abs(curve));
    float start = delay * (order - span.x) / (span.y - span.x);
    float t = clamp((progress - start) / (1.0 - delay), 0.0, 1.0);
    float h = min(t, 1.0 - t);
    float eased = 0.5 * pow(2.0 * h, ease);
    float swing = wobble * 0.22 * sin(18.8495559 * t) * t * t * (1.0 - t) * (1.0 - t) * 8.0;
    return (t < 0.5 ? eased : 1.0 - eased) + swing;
}

void main() {
    float line = dot(TexCoord0, abs(way.yx));
    vec2 place = TexCoord0 + way * Move(line);
    float share = clamp((dot(place - 0.5, way) - 0.5) * pixels + 0.5, 0.0, 1.0);
    gl_FragColor = Unmultiply(mix(texture2D(tex1, Mirrored(place)), texture2D(tex2, Mirrored(place - way)), share));
}
)glsl";

/// Where the lines' order begins and ends, so that the first one starts at once and the last one arrives at the end.
glm::vec2 FindSpan(double curve) {
    double const bend = std::fabs(curve);
    // With the middle ahead the first line is where (1 - bend) * line + 4 * bend * (line - 0.5)^2 is least. With the
    // middle behind all is turned round.
    double const line = bend > 0.0 ? std::max(0.5 - (1.0 - bend) / (8.0 * bend), 0.0) : 0.0;
    auto const least = static_cast<float>((1.0 - bend) * line + 4.0 * bend * (line - 0.5) * (line - 0.5));
    return curve > 0.0 ? glm::vec2(least, 1.0F) : glm::vec2(0.0F, 1.0F - least);
}

}  // namespace

class TransitionSlitScan final : public TransitionWithSettings<Proc::SettingsTransitionSlitScan> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const way = GetWay(static_cast<int>(settings.direction));
        Pass pass(storage, "TransitionSlitScan", {kGlslVersion, kStraightAlpha, kMirrored, kFragment});
        pictures.GiveTo(pass)
            .Set("way", way)
            .Set("progress", progress)
            .Set("delay", settings.delay)
            .Set("wobble", settings.wobble)
            .Set("curve", settings.curve)
            .Set("span", FindSpan(settings.curve))
            .Set("ease", settings.ease)
            .Set("pixels",
                 static_cast<float>(way.x != 0.0F ? pictures.outgoing.GetWidth() : pictures.outgoing.GetHeight()))
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionSlitScan>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
