// Inside or outside of an ellipse or a rectangle the picture is blurred, filled with a colour or made transparent. How
// far it is follows from the distance to the outline, in lengths as they are seen: the soft edge is equally wide all
// around and lies half inside, half outside; it is never sharper than a pixel. Only what the mask touches is worked on.
//
// The nearest point of an ellipse is found by going from the point to the centre of curvature that belongs to a guess
// and back to the ellipse, a few times over; it converges from anywhere, for circles and for very flat ellipses too.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsOgl/Aspect.h"
#include "Proc/Effects/EffectsOgl/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/BlurLevels.h"
#include "Proc/Effects/EffectsOgl/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/RequireChoice.h"

namespace Kaltor::Ogl {
namespace {

// Lengths are parts of the shorter side. Negative inside.
constexpr char kEllipse[] = R"glsl(
float GetDistance(vec2 p, vec2 radius) {
    p = abs(p);
    float curved = radius.x * radius.x - radius.y * radius.y;
    vec2 guess = vec2(0.70710678);
    for (int i = 0; i < 3; ++i) {
        vec2 centre = vec2(curved, -curved) * guess * guess * guess / radius;
        vec2 toOutline = radius * guess - centre;
        vec2 toPoint = p - centre;
        vec2 at = toPoint * (length(toOutline) / max(length(toPoint), 1.0e-9)) + centre;
        guess = clamp(at / radius, 0.0, 1.0);
        guess /= max(length(guess), 1.0e-9);
    }
    vec2 scaled = p / radius;
    return distance(p, radius * guess) * (dot(scaled, scaled) < 1.0 ? -1.0 : 1.0);
}
)glsl";

constexpr char kRectangle[] = R"glsl(
float GetDistance(vec2 p, vec2 radius) {
    vec2 beyond = abs(p) - radius;
    return length(max(beyond, vec2(0.0))) + min(max(beyond.x, beyond.y), 0.0);
}
)glsl";

constexpr char kMain[] = R"glsl(
uniform sampler2D tex;
uniform mat2 turn;       // from texture coordinates to lengths along the shape's axes
uniform vec2 begin;
uniform vec2 radius;
uniform float slope;     // 1 / width of the soft edge; its sign: outside or inside
uniform vec4 color;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float share = clamp(GetDistance(turn * TexCoord0 + begin, radius) * slope + 0.5, 0.0, 1.0);
    share = share * share * (3.0 - 2.0 * share);
)glsl";

constexpr std::int32_t kBlur = 0;
constexpr std::int32_t kFill = 1;
constexpr std::int32_t kTransparent = 2;

std::string MakeFragment(std::int32_t shape, std::int32_t action) {
    std::string source = action == kBlur ? BlurLevels::kFunction : "#version 120\n";
    source += shape == 0 ? kEllipse : kRectangle;
    source += kMain;
    switch (action) {
        case kBlur:
            source += "    gl_FragColor = vec4(Blurred(origin, TexCoord0, share), origin.a);\n";
            break;
        case kFill:
            source += "    gl_FragColor = vec4(mix(origin.rgb, color.rgb, share * color.a), origin.a);\n";
            break;
        default:
            source += "    gl_FragColor = vec4(origin.rgb, origin.a * (1.0 - share));\n";
    }
    return source + "}\n";
}

/// Of all that the shape reaches with its soft edge, in texture coordinates: left, bottom, right, top.
glm::dvec4 GetBounds(glm::dvec2 const& centre, glm::dvec2 const& radius, double reach, double angle, bool isEllipse,
                     glm::dvec2 const& extent) {
    double const c = std::fabs(std::cos(angle));
    double const s = std::fabs(std::sin(angle));
    glm::dvec2 const half =
        isEllipse ? glm::dvec2(std::hypot(radius.x * c, radius.y * s), std::hypot(radius.x * s, radius.y * c))
                  : glm::dvec2(radius.x * c + radius.y * s, radius.x * s + radius.y * c);
    glm::dvec2 const size = (half + reach) / extent;
    return glm::clamp(glm::dvec4(centre - size, centre + size), 0.0, 1.0);
}

}  // namespace

class EffectMask final : public EffectWithSettings<Proc::SettingsEffectMask> {
public:
    void SetSettings(Proc::Settings const& value) override {
        auto const& given = dynamic_cast<Proc::SettingsEffectMask const&>(value);
        RequireChoice(given, "shape");
        RequireChoice(given, "action");
        settings = given;
    }

    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        AttachTarget(*dst, storage);
        bool const isEmpty = settings.GetWidth() <= 0.0 || settings.GetHeight() <= 0.0;
        if (IsNeutral() || (isEmpty && settings.GetInverted())) {
            src->FrameData().Draw(storage.Quad(), storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        glm::dvec2 const extent(std::max(aspect, 1.0), std::max(1.0 / aspect, 1.0));
        glm::dvec2 const pixels = extent / glm::dvec2(picture.GetWidth(), picture.GetHeight());
        constexpr double kSharpest = 1.5;  // pixels: the smooth step is as steep as a ramp over one
        double const edge = std::max(settings.GetFeather(), kSharpest * std::max(pixels.x, pixels.y));

        double const angle = settings.GetRotation() * std::numbers::pi / 180.0;
        glm::dvec2 const centre(settings.GetX(), settings.GetY());
        // A shape without an area lies nowhere near.
        glm::dvec2 const radius =
            isEmpty ? glm::dvec2(1e-6) : 0.5 * extent * glm::dvec2(settings.GetWidth(), settings.GetHeight());
        glm::dvec2 const middle = isEmpty ? glm::dvec2(1e3) : centre;
        glm::dvec2 const along(std::cos(angle), std::sin(angle));
        glm::dmat2 const turn(along.x * extent.x, -along.y * extent.x, along.y * extent.y, along.x * extent.y);

        std::optional<glm::dvec4> area;
        if (settings.GetInverted()) {
            area = GetBounds(centre, radius, 0.5 * edge, angle, settings.GetShape() == 0, extent);
            src->FrameData().Draw(storage.Quad(), storage);
        }
        std::optional<BlurLevels> levels;
        if (settings.GetAction() == kBlur) {
            levels.emplace(blur, picture, settings.GetBlur(), storage, area);
        }
        Pass pass(storage, fmt::format("EffectMask_{}_{}", settings.GetShape(), settings.GetAction()),
                  [this] { return MakeFragment(settings.GetShape(), settings.GetAction()); });
        if (levels) {
            levels->SetOn(pass, 1);
        }
        std::optional<EnableState> scissor;
        if (area) {
            scissor.emplace(GL_SCISSOR_TEST);
            SetScissor(*area, picture.GetWidth(), picture.GetHeight());
        }
        pass.Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("turn", glm::mat2(turn))
            .Set("begin", glm::vec2(-(turn * middle)))
            .Set("radius", glm::vec2(radius))
            .Set("slope", (settings.GetInverted() ? -1.0 : 1.0) / edge)
            .Set("color", settings.GetColor())
            .DrawTo(*dst);
    }

    void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo> const& codec) override {
        IEffectAlgorithm::UpdateFormatCodec(codec);
        if (settings.GetAction() == kTransparent) {
            codec->SetPixFmt(kAlphaFormat);
        }
    }

    boost::intrusive_ptr<DataVideoOGL> CreateDst(PixFmt srcFormat, Conf::FrameInfo const& info) override {
        return settings.GetAction() == kTransparent ? DataVideoOGL::Create(kAlphaFormat, info)
                                                    : IEffectAlgorithm::CreateDst(srcFormat, info);
    }

private:
    bool IsNeutral() const {
        return (settings.GetAction() == kBlur && settings.GetBlur() <= 0.0) ||
               (settings.GetAction() == kFill && settings.GetColor().alpha == 0);
    }

    mutable EffectBlur blur{0.02};
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectMask>();

}  // namespace Kaltor::Ogl
