// The three colours arrive one after the other: red, green and blue of the incoming picture slide in as separate
// layers with weight, so that coloured fringes run ahead and behind until they meet.
//
// At full speed two samples of what the shutter sees are tens of pixels apart. Each shows the picture averaged along
// the way over that distance, for each colour over its own.

#include <array>
#include <list>
#include <optional>

#include "Proc/Effects/EffectsLooks/Look.h"
#include "Proc/Effects/EffectsLooks/MoveSettings.h"
#include "Proc/Effects/EffectsLooks/Transitions/Moves.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionColorStagger final : MoveSettings<SettingsTransitionColorStagger> {
    static inline std::string const CLASS_ID = "TransitionColorStagger";
    static constexpr std::string_view SUMMARY =
        "Red, green and blue of the incoming picture slide in one after the other and meet in one picture.";

    double stagger = 0.25;
    double ease = 3.5;
    double overshoot = 0.03;
    double blur = 0.5;

    static std::vector<Field> DeclareFields() {
        return {DeclareDirection("where the layers move to"),
                Declare<&This::stagger>(0.0, 0.8, "how much later the last colour starts"),
                DeclareEase("how sharply the layers speed up and brake; 1 is steady"),
                DeclareOvershoot(0.2, "how far they go beyond their goal before they settle"), DeclareBlur()};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D red1;
uniform sampler2D green1;
uniform sampler2D blue1;
uniform sampler2D red2;
uniform sampler2D green2;
uniform sampler2D blue2;
uniform vec2 way;
uniform vec3 first;
uniform vec3 last;
uniform float count;
uniform float slower;     // the outgoing layers
uniform vec3 sharpness;   // of the edge between both: 1 / the part of the picture over which it is soft
varying vec2 TexCoord0;

vec4 Layer(sampler2D tex1, sampler2D tex2, float x, float sharp) {
    vec2 place = TexCoord0 + way * x;
    float share = clamp((dot(place - 0.5, way) - 0.5) * sharp + 0.5, 0.0, 1.0);
    // The outgoing layer stays behind a little and is pushed off by the incoming one.
    if (share >= 1.0) {
        return texture2D(tex2, Mirrored(place - way));
    }
    vec4 under = texture2D(tex1, Mirrored(TexCoord0 + way * x * slower));
    return share <= 0.0 ? under : mix(under, texture2D(tex2, Mirrored(place - way)), share);
}

void main() {
    vec3 colors = vec3(0.0);
    vec3 alphas = vec3(0.0);
    for (int i = 0; i < 6; ++i) {
        if (float(i) >= count) {
            break;
        }
        vec3 x = mix(first, last, (float(i) + 0.5) / count);
        vec4 red = Layer(red1, red2, x.r, sharpness.r);
        vec4 green = Layer(green1, green2, x.g, sharpness.g);
        vec4 blue = Layer(blue1, blue2, x.b, sharpness.b);
        colors += vec3(red.r, green.g, blue.b);
        alphas += vec3(red.a, green.a, blue.a);
    }
    float alpha = max(alphas.r, max(alphas.g, alphas.b)) / count;
    gl_FragColor = Unmultiply(vec4(colors / count, alpha));
}
)glsl";

/// A picture averaged along one axis over about so many pixels, premultiplied; where they are hardly more than one,
/// itself.
class Averaged {
public:
    Averaged(Frame const& picture, Premultiplied const& sharp, bool isAcross, double pixels,
             ShaderStorage const& storage)
        : texture(&sharp.Get()) {
        constexpr double kLeast = 1.5;
        if (pixels < kLeast) {
            return;
        }
        // Few sizes, for textures that are used again and again; rather too soft than with gaps.
        double const factor = std::exp2(std::round(std::log2(pixels) + 0.25));
        auto const reduce = [factor](std::uint32_t side) {
            return static_cast<std::uint32_t>(std::max(std::lround(side / factor), 1L));
        };
        std::uint32_t const width = picture.GetWidth();
        std::uint32_t const height = picture.GetHeight();
        reduced.emplace(
            MakeScaled(picture, isAcross ? reduce(width) : width, isAcross ? height : reduce(height), storage),
            storage);
        texture = &reduced->Get();
    }
    Averaged(Averaged const&) = delete;
    Averaged& operator=(Averaged const&) = delete;

    Texture const& Get() const { return *texture; }

private:
    std::optional<Premultiplied> reduced;
    Texture const* texture;
};

}  // namespace

class TransitionColorStagger final : public TransitionWithSettings<Proc::SettingsTransitionColorStagger> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const way = GetWay(static_cast<int>(settings.direction));
        WeightedMove const move(settings.ease, settings.overshoot);
        glm::vec3 opens(0.0F);
        glm::vec3 closes(0.0F);
        for (int color = 0; color < 3; ++color) {
            double const start = 0.5 * settings.stagger * color;
            Exposure const exposure(move, (progress - start) / (1.0 - settings.stagger), settings.blur);
            opens[color] = static_cast<float>(exposure.from);
            closes[color] = static_cast<float>(exposure.to);
        }
        bool const isAcross = way.x != 0.0F;
        double const pixels = isAcross ? pictures.outgoing.GetWidth() : pictures.outgoing.GetHeight();
        glm::dvec3 const length = glm::abs(glm::dvec3(closes - opens)) * pixels;
        float const count = CountSamples(std::max({length.r, length.g, length.b}), 5);
        glm::dvec3 const between = length / static_cast<double>(count);
        constexpr double kSlower = 0.35;
        std::list<Averaged> layers;
        for (int color = 0; color < 3; ++color) {
            layers.emplace_back(pictures.outgoing, pictures.from, isAcross,
                                opens[color] < 1.0F ? kSlower * between[color] : 0.0, storage);
            layers.emplace_back(pictures.incoming, pictures.to, isAcross, closes[color] > 0.0F ? between[color] : 0.0,
                                storage);
        }
        Pass pass(storage, "TransitionColorStagger", {kGlslVersion, kStraightAlpha, kMirrored, kFragment});
        int unit = 0;
        for (Averaged const& layer : layers) {
            constexpr std::array kNames{"red1", "red2", "green1", "green2", "blue1", "blue2"};
            pass.Texture(kNames[static_cast<std::size_t>(unit)], unit, layer.Get());
            ++unit;
        }
        pass.Set("way", way)
            .Set("first", opens)
            .Set("last", closes)
            .Set("count", count)
            .Set("slower", kSlower)
            .Set("sharpness", glm::vec3(pixels / glm::max(between, glm::dvec3(1.0))))
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionColorStagger>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
