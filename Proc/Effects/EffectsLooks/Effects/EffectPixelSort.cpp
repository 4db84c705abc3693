// Pixels are sorted by brightness along lines: where a line passes what is bright enough, the runs of such pixels
// begin with the brightest and end with the darkest. Lines are cut into pieces of 24 samples; one pass finds each
// sample's place, a second one fetches what belongs there. There are few samples along a line, so that a sample is a
// short streak of one pixel's colour.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectPixelSort final : SettingsOf<SettingsEffectPixelSort> {
    static inline std::string const CLASS_ID = "EffectPixelSort";
    static constexpr std::string_view SUMMARY =
        "Sorts bright pixels along columns or rows into streaks that run from light to dark.";
    static constexpr std::string_view NEUTRAL = "mix=0";

    enum class Axis : std::int32_t { Vertical, Horizontal };

    Axis axis = Axis::Vertical;
    double threshold = 0.4;
    double length = 0.25;
    bool reverse = false;
    double mix = 1.0;

    static std::vector<Field> DeclareFields() {
        return {
            Declare<&This::axis>({{Axis::Vertical, "vertical"}, {Axis::Horizontal, "horizontal"}}, "how the lines run"),
            Declare<&This::threshold>(0.0, 1.0, "brightness from which pixels are sorted"),
            Declare<&This::length>(0.02, 1.0, "how long the longest streak is, as a share of the side"),
            Declare<&This::reverse>("begin with the darkest"),
            Declare<&This::mix>(0.0, 1.0, "how much of it is mixed in")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D samples;
uniform sampler2D places;
uniform vec2 along;      // the lines' axis
uniform float count;     // samples along a line
uniform float amount;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    float at = floor(dot(TexCoord0, along) * count + 0.001);
    vec2 across = TexCoord0 * along.yx;
    float begin = floor((at + 0.5) / 24.0) * 24.0;
    float own = at - begin;
    vec4 found = picture;
    for (int i = 0; i < 24; ++i) {
        vec2 place = across + along * ((begin + float(i) + 0.5) / count);
        // A place is stored in 32nds, beside a mark of the samples that take part.
        vec4 entry = texture2D(places, place);
        if (entry.g > 0.5 && abs(entry.r * 32.0 - own) < 0.5 && begin + float(i) < count) {
            found = texture2D(samples, place);
        }
    }
    vec4 own4 = texture2D(places, across + along * ((at + 0.5) / count));
    vec3 color = own4.g > 0.5 ? found.rgb / max(found.a, 0.001) : picture.rgb;
    gl_FragColor = Straight(mix(picture.rgb, min(color, vec3(1.0)), amount), picture.a);
}
)glsl";

// For each sample: where in its piece it belongs, and whether it takes part.
constexpr char kPlaces[] = R"glsl(
uniform sampler2D samples;
uniform vec2 along;
uniform float count;
uniform float threshold;
uniform float sense;
varying vec2 TexCoord0;
float Light(float at) {
    vec4 color = texture2D(samples, TexCoord0 * along.yx + along * ((at + 0.5) / count));
    return dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
}
void main() {
    float at = floor(dot(TexCoord0, along) * count + 0.001);
    float begin = floor((at + 0.5) / 24.0) * 24.0;
    float own = Light(at);
    float before = 0.0;   // samples of the run that belong before this one
    float start = begin;  // of the run
    bool isOver = false;
    for (int i = 0; i < 24; ++i) {
        float other = begin + float(i);
        float light = Light(other);
        bool isIn = light >= threshold && other < count;
        if (!isIn && other < at) {
            before = 0.0;
            start = other + 1.0;
        }
        isOver = isOver || (!isIn && other > at);
        // The brightest is on top: at the far end of the axis. Equal ones keep their order.
        float ahead = sense * (own - light);
        if (isIn && !isOver && (ahead > 0.0 || (ahead == 0.0 && other < at))) {
            before += 1.0;
        }
    }
    gl_FragColor = vec4((start + before - begin) / 32.0, own >= threshold ? 1.0 : 0.0, 0.0, 1.0);
}
)glsl";

}  // namespace

class EffectPixelSort final : public EffectWithSettings<Proc::SettingsEffectPixelSort> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.mix == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        bool const isVertical = settings.axis == Proc::SettingsEffectPixelSort::Axis::Vertical;
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        // A piece of 24 samples is the longest streak.
        auto const count = static_cast<std::uint32_t>(std::lround(24.0 / settings.length));
        std::uint32_t const width = isVertical ? picture.GetWidth() : count;
        std::uint32_t const height = isVertical ? count : picture.GetHeight();
        Premultiplied const colors(picture, storage);
        PooledTexture const places({width, height, TexelFormat::Rgba16, false});
        glm::vec2 const along = isVertical ? glm::vec2(0.0F, 1.0F) : glm::vec2(1.0F, 0.0F);
        Pass(storage, "EffectPixelSort_places", {kGlslVersion, kPlaces})
            .Texture("samples", 0, colors.Get(), TextureFilter::Nearest)
            .Set("along", along)
            .Set("count", static_cast<float>(count))
            .Set("threshold", settings.threshold)
            .Set("sense", settings.reverse ? -1.0 : 1.0)
            .DrawTo(places.Get());
        Pass(storage, "EffectPixelSort", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("samples", 1, colors.Get(), TextureFilter::Nearest)
            .Texture("places", 2, places.Get(), TextureFilter::Nearest)
            .Set("along", along)
            .Set("count", static_cast<float>(count))
            .Set("amount", settings.mix)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectPixelSort>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
