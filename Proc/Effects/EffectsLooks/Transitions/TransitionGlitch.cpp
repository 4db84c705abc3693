// A transmission breaks down: bands are torn aside, blocks of the incoming picture come too early, colours part, and
// lines flicker, in steps as a decoder would. It is worst in the middle.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionGlitch final : SettingsOf<SettingsTransitionGlitch> {
    static inline std::string const CLASS_ID = "TransitionGlitch";
    static constexpr std::string_view SUMMARY =
        "Digital breakdown: torn bands, early blocks of the incoming picture, split colours and flickering lines.";

    double amount = 0.6;
    double split = 0.5;
    std::int32_t blocks = 28;
    std::int32_t steps = 16;
    double lines = 0.4;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::amount>(0.0, 1.0, "how far bands are torn aside"),
                Declare<&This::split>(0.0, 1.0, "how far the colours part"),
                Declare<&This::blocks>(4.0, 80.0, "blocks from left to right"),
                Declare<&This::steps>(4.0, 60.0, "how often the disturbance changes"),
                Declare<&This::lines>(0.0, 1.0, "how strong the flickering lines are")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float passed;    // share of blocks that have changed over
uniform float strength;
uniform float number;    // of the step
uniform vec2 grid;       // blocks along the sides
uniform float amount;
uniform float split;
uniform float lines;
varying vec2 TexCoord0;

vec4 Sample(vec2 place, float shown) {
    return shown > 0.5 ? texture2D(tex2, place) : texture2D(tex1, place);
}

void main() {
    vec2 cell = floor(TexCoord0 * grid + 0.001);
    // Rows of blocks are torn in bands of several sizes.
    vec4 wide = Random(vec2(floor(cell.y / 5.0), number * 7.0));
    vec4 fine = Random(vec2(cell.y + 60.0, number * 3.0));
    float tear = (wide.x - 0.5) * step(0.55, wide.y) + 0.35 * (fine.x - 0.5) * step(0.7, fine.y);
    vec2 place = TexCoord0;
    place.x += tear * amount * strength;
    // Blocks, in clumps of two sizes, are those of the other picture.
    vec2 torn = floor(vec2(fract(place.x), place.y) * grid + 0.001);
    vec4 coarse = Random(floor(torn / vec2(4.0, 2.0)) + vec2(number, 200.0));
    vec4 block = Random(torn + vec2(100.0, number * 5.0));
    float shown = step(0.6 * coarse.x + 0.4 * block.x, passed);
    // A few are lost and show what lies elsewhere.
    place += (block.yz - 0.5) * 0.3 * amount * strength * step(1.0 - 0.12 * strength, block.w);
    float part = split * strength * (0.012 + 0.03 * step(0.75, fine.z));
    vec4 middle = Sample(Mirrored(place), shown);
    vec4 left = Sample(Mirrored(place - vec2(part, 0.0)), shown);
    vec4 right = Sample(Mirrored(place + vec2(part, 0.0)), shown);
    vec4 color = vec4(left.r, middle.g, right.b, max(middle.a, max(left.a, right.a)));
    float flicker = Random(vec2(floor(TexCoord0.y * 240.0), number * 11.0)).x - 0.5;
    color.rgb = clamp(color.rgb * (1.0 + lines * strength * flicker), 0.0, color.a);
    gl_FragColor = Unmultiply(color);
}
)glsl";

}  // namespace

class TransitionGlitch final : public TransitionWithSettings<Proc::SettingsTransitionGlitch> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const grid = static_cast<float>(settings.blocks) * pictures.sides / std::max(pictures.sides.x, 1e-6F);
        Pass pass(storage, "TransitionGlitch",
                  {kGlslVersion, kStraightAlpha, kMirrored, "uniform sampler2D noise;", kRandomFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("noise", 2, storage.Noise())
            .Set("passed", SmoothStep(0.25, 0.75, progress))
            .Set("strength", std::sin(std::numbers::pi * progress))
            .Set("number", std::floor(progress * settings.steps))
            .Set("grid", glm::max(glm::round(grid), glm::vec2(1.0F)))
            .Set("amount", settings.amount)
            .Set("split", settings.split)
            .Set("lines", settings.lines)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionGlitch>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
