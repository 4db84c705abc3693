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

// A line is cut into pieces of kPiece samples; neighbouring lines are cut at other places.
constexpr char kPieces[] = R"glsl(
uniform sampler2D samples;
uniform sampler2D noise;
uniform vec2 along;      // the lines' axis
uniform float count;     // samples along a line
uniform float columns;   // lines that are cut alike, across the picture
float Begin(float at) {
    float cut = floor(texture2D(noise, vec2(floor(dot(TexCoord0, along.yx) * columns + 0.001) + 0.5, 77.5) / 512.0).x * 48.0);
    return floor((at + cut + 0.5) / 48.0) * 48.0 - cut;
}
vec4 Sample(float at) {
    return texture2D(samples, TexCoord0 * along.yx + along * ((at + 0.5) / count));
}
float Light(vec4 color) {
    return dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
}
)glsl";

// For each sample: where in its piece it belongs, and whether it takes part.
constexpr char kPlaces[] = R"glsl(
uniform float threshold;
uniform float sense;
void main() {
    float at = floor(dot(TexCoord0, along) * count + 0.001);
    float begin = Begin(at);
    float own = Light(Sample(at));
    float before = 0.0;   // samples of the run that belong before this one
    float start = begin;  // of the run
    bool isOver = false;
    for (int i = 0; i < 48; ++i) {
        float other = begin + float(i);
        float light = Light(Sample(other));
        bool isIn = light >= threshold && other >= 0.0 && other < count;
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
    gl_FragColor = vec4((start + before - begin) / 64.0, own >= threshold ? 1.0 : 0.0, 0.0, 1.0);
}
)glsl";

// For each place: the sample that belongs there; one that does not take part stays.
constexpr char kSorted[] = R"glsl(
uniform sampler2D places;
void main() {
    float at = floor(dot(TexCoord0, along) * count + 0.001);
    float begin = Begin(at);
    vec4 found = Sample(at);
    if (texture2D(places, TexCoord0).g > 0.5) {
        for (int i = 0; i < 48; ++i) {
            float other = begin + float(i);
            // A place is stored in 64ths, beside a mark of the samples that take part.
            vec4 entry = texture2D(places, TexCoord0 * along.yx + along * ((other + 0.5) / count));
            if (entry.g > 0.5 && abs(entry.r * 64.0 - at + begin) < 0.5 && other >= 0.0 && other < count) {
                found = Sample(other);
            }
        }
    }
    gl_FragColor = found;
}
)glsl";

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D sorted;
uniform sampler2D places;
uniform float threshold;
uniform float amount;
varying vec2 TexCoord0;
void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec4 found = texture2D(sorted, TexCoord0);
    // What is finer than the samples keeps its dark contours.
    float light = dot(picture.rgb, vec3(0.2126, 0.7152, 0.0722)) * picture.a;
    float share = texture2D(places, TexCoord0).g * smoothstep(threshold - 0.1, threshold, light);
    gl_FragColor = Straight(mix(picture.rgb, min(found.rgb / max(found.a, 0.001), vec3(1.0)), amount * share), picture.a);
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
        // A piece of 48 samples is the longest streak.
        auto const count = static_cast<std::uint32_t>(std::lround(48.0 / settings.length));
        std::uint32_t const width = isVertical ? picture.GetWidth() : count;
        std::uint32_t const height = isVertical ? count : picture.GetHeight();
        Premultiplied const colors(picture, storage);
        PooledTexture const places({width, height, TexelFormat::Rgba16, false});
        PooledTexture const sorted({width, height, FinerWithAlpha(colors.Get().GetForm().format), false});
        glm::vec2 const along = isVertical ? glm::vec2(0.0F, 1.0F) : glm::vec2(1.0F, 0.0F);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        auto const setPieces = [&](Pass& pass) -> Pass& {
            return pass.Texture("samples", 0, colors.Get(), TextureFilter::Nearest)
                .Texture("noise", 1, storage.Noise())
                .Set("along", along)
                .Set("count", static_cast<float>(count))
                .Set("columns", std::ceil(160.0F * (isVertical ? sides.x : sides.y)));
        };
        Pass toPlaces(storage, "EffectPixelSort_places", {kGlslVersion, "varying vec2 TexCoord0;\n", kPieces, kPlaces});
        setPieces(toPlaces)
            .Set("threshold", settings.threshold)
            .Set("sense", settings.reverse ? -1.0 : 1.0)
            .DrawTo(places.Get());
        Pass toSorted(storage, "EffectPixelSort_sorted", {kGlslVersion, "varying vec2 TexCoord0;\n", kPieces, kSorted});
        setPieces(toSorted).Texture("places", 2, places.Get(), TextureFilter::Nearest).DrawTo(sorted.Get());
        Pass(storage, "EffectPixelSort", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("sorted", 1, sorted.Get())
            .Texture("places", 2, places.Get(), TextureFilter::Nearest)
            .Set("threshold", settings.threshold)
            .Set("amount", settings.mix)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectPixelSort>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
