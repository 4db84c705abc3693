// A disturbed transmission: at irregular moments bands of the picture are torn aside, blocks come from elsewhere,
// colours part and lines flicker; in between it is calm.

#include "Ogl/Noise.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectGlitch final : SettingsOf<SettingsEffectGlitch> {
    static inline std::string const CLASS_ID = "EffectGlitch";
    static constexpr std::string_view SUMMARY =
        "Bursts of digital disturbance: torn bands, lost blocks, split colours, flickering lines.";
    static constexpr std::string_view NEUTRAL = "frequency=0";

    double amount = 0.5;
    double split = 0.4;
    double blocks = 0.3;
    double lines = 0.3;
    double rate = 12.0;
    double frequency = 0.6;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::amount>(0.0, 1.0, "how far bands are torn aside"),
                Declare<&This::split>(0.0, 1.0, "how far the colours part"),
                Declare<&This::blocks>(0.0, 1.0, "how many blocks are lost"),
                Declare<&This::lines>(0.0, 1.0, "how strong the flickering lines are"),
                Declare<&This::rate>(1.0, 30.0, "changes a second"),
                Declare<&This::frequency>(0.0, 1.0, "how much of the time is disturbed"),
                Declare<&This::seed>(0.0, 99.0, "which disturbance")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform float number;
uniform float strength;
uniform vec2 grid;
uniform float amount;
uniform float split;
uniform float blocks;
uniform float lines;
varying vec2 TexCoord0;
void main() {
    vec2 cell = floor(TexCoord0 * grid + 0.001);
    vec4 wide = Random(vec2(floor(cell.y / 5.0), number * 7.0));
    vec4 fine = Random(vec2(cell.y + 60.0, number * 3.0));
    float tear = (wide.x - 0.5) * step(0.6, wide.y) + 0.35 * (fine.x - 0.5) * step(0.75, fine.y);
    vec2 place = TexCoord0 + vec2(0.6 * tear * amount * strength, 0.0);
    vec2 torn = floor(place * grid + 0.001);
    vec4 coarse = Random(floor(torn / vec2(4.0, 2.0)) + vec2(number, 200.0));
    place += (coarse.yz - 0.5) * 0.4 * step(1.0 - 0.35 * blocks * strength, coarse.w);
    float part = split * strength * (0.004 + 0.025 * step(0.6, fine.z));
    vec4 middle = texture2D(tex, Mirrored(place));
    vec4 left = texture2D(tex, Mirrored(place - vec2(part, 0.0)));
    vec4 right = texture2D(tex, Mirrored(place + vec2(part, 0.0)));
    float alpha = texture2D(tex, TexCoord0).a;
    vec3 color = vec3(left.r / max(left.a, 0.001), middle.g / max(middle.a, 0.001), right.b / max(right.a, 0.001));
    color *= 1.0 + lines * strength * (Random(vec2(floor(TexCoord0.y * 240.0), number * 11.0)).x - 0.5);
    gl_FragColor = Straight(clamp(color, 0.0, 1.0), alpha);
}
)glsl";

}  // namespace

class EffectGlitch final : public EffectWithSettings<Proc::SettingsEffectGlitch> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const colors(picture, storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        double const number = std::floor(std::fmod(time, 30.0) * settings.rate);
        // Bursts: a few steps in a row are disturbed, each with a strength of its own.
        auto const hash = [&](double step, std::uint32_t kind) {
            return HashToUnit(static_cast<std::uint32_t>(static_cast<std::int64_t>(step)), kind,
                              static_cast<std::uint32_t>(settings.seed));
        };
        bool const isDisturbed = hash(std::floor(number / 3.0), 1) < settings.frequency;
        double const strength = isDisturbed ? 0.4 + 0.6 * hash(number, 2) : 0.0;
        if (strength == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        glm::vec2 const grid = glm::max(glm::round(28.0F * sides / sides.x), glm::vec2(1.0F));
        Pass(storage, "EffectGlitch",
             {kGlslVersion, kStraightAlpha, kMirrored, "uniform sampler2D noise;", kRandomFunction, kFragment})
            .Texture("tex", 0, colors.Get())
            .Texture("noise", 1, storage.Noise())
            .Set("number", number + 13.0 * settings.seed)
            .Set("strength", strength)
            .Set("grid", grid)
            .Set("amount", settings.amount)
            .Set("split", settings.split)
            .Set("blocks", settings.blocks)
            .Set("lines", settings.lines)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectGlitch>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
