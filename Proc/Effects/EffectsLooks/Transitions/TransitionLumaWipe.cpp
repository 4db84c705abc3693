// The incoming picture appears where a grey map is dark first, and last where it is light. The map is drawn by the
// program: a shape, or noise, whose values fill the time; or it is the luma of a picture file, stretched over the
// frame.

#include <optional>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionLumaWipe final : SettingsOf<SettingsTransitionLumaWipe> {
    static inline std::string const CLASS_ID = "TransitionLumaWipe";
    static constexpr std::string_view SUMMARY =
        "Reveals the incoming picture along a map of grey: ink, clouds, brush strokes, a clock, blinds, hexagons and "
        "more.";

    enum class Map : std::int32_t {
        Linear,
        Iris,
        Clock,
        Blinds,
        Hexagons,
        Diamonds,
        Checker,
        Spiral,
        Rings,
        Clouds,
        Ink,
        Strokes
    };

    Map map = Map::Ink;
    std::string file;
    double softness = 0.06;
    double angle = 20.0;
    double scale = 1.0;
    bool reverse = false;

    static std::vector<Field> DeclareFields() {
        Field path{};
        path.key = "file";
        path.type = FieldType::File;
        path.help = "a picture whose luma is the map instead; it fills the frame, neither turned nor scaled";
        path.isOptional = true;
        path.get = [](Settings const& settings) -> FieldValue {
            return static_cast<SettingsTransitionLumaWipe const&>(settings).file;
        };
        path.set = [](Settings& settings, FieldValue const& value) {
            static_cast<SettingsTransitionLumaWipe&>(settings).file = std::get<std::string>(value);
        };
        return {Declare<&This::map>({{Map::Linear, "linear"},
                                     {Map::Iris, "iris"},
                                     {Map::Clock, "clock"},
                                     {Map::Blinds, "blinds"},
                                     {Map::Hexagons, "hexagons"},
                                     {Map::Diamonds, "diamonds"},
                                     {Map::Checker, "checker"},
                                     {Map::Spiral, "spiral"},
                                     {Map::Rings, "rings"},
                                     {Map::Clouds, "clouds"},
                                     {Map::Ink, "ink"},
                                     {Map::Strokes, "strokes"}},
                                    "the map"),
                path,
                Declare<&This::softness>(0.0, 1.0, "width of the soft edge, as a share of the time"),
                Declare<&This::angle>(-180.0, 180.0, "degrees by which the map is turned, counterclockwise"),
                Declare<&This::scale>(0.2, 4.0, "size of the map's shapes"),
                Declare<&This::reverse>("begin where the map is light")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform float threshold;
uniform float softness;
uniform float sense;    // 1, or -1 for the reverse
uniform mat2 turn;
uniform vec2 sides;
uniform float scale;
uniform sampler2D map;
uniform sampler2D span;  // of the map's values over this frame
varying vec2 TexCoord0;

float Linear(vec2 p, float reach) {
    return 0.5 + 0.5 * p.x / reach;
}

float Map(vec2 p) {
    float reach = 0.5 * dot(abs(vec2(turn[0][0], turn[1][0])), sides);  // of the picture along x
    float corner = 0.5 * length(sides);
#if MAP == 0
    return Linear(p, reach);
#elif MAP == 1
    return length(p) / corner;
#elif MAP == 2
    return fract(atan(p.x, -p.y) / 6.2831853 + 0.5);
#elif MAP == 3
    return 0.75 * fract(p.x / (0.1 * scale) + 0.001) + 0.25 * Linear(p, reach);
#elif MAP == 4
    // The nearer of two lattices of rectangles has the centre of the hexagon.
    vec2 q = p / (0.07 * scale);
    vec2 lattice = vec2(1.0, 1.7320508);
    vec2 a = (floor(q / lattice) + 0.5) * lattice;
    vec2 b = floor(q / lattice + 0.5) * lattice;
    vec2 middle = dot(q - a, q - a) < dot(q - b, q - b) ? a : b;
    vec2 arm = abs(q - middle);
    float rim = max(dot(arm, vec2(0.5, 0.8660254)), arm.x) * 2.0;
    float delay = 0.7 * Linear(middle * 0.07 * scale, reach) + 0.3 * Random(floor(2.0 * middle / lattice + 64.5)).x;
    return 0.75 * delay + 0.25 * rim;
#elif MAP == 5
    vec2 q = abs(fract(p / (0.1 * scale)) - 0.5);
    return 1.25 * (0.55 * (q.x + q.y) + 0.45 * Linear(p, reach)) - 0.125;
#elif MAP == 6
    vec2 q = floor(p / (0.09 * scale) + 0.001);
    float odd = mod(q.x + q.y, 2.0);
    return 0.5 * odd + 0.5 * fract(p.x / (0.09 * scale) + 0.001);
#elif MAP == 7
    float arm = fract(atan(p.y, p.x) / 6.2831853 + length(p) / (0.45 * scale));
    return 0.6 * arm + 0.4 * length(p) / corner;
#elif MAP == 8
    return 0.75 * fract(length(p) / (0.12 * scale)) + 0.25 * length(p) / corner;
#elif MAP == 9
    return Clouds(p * (4.0 / scale) + 31.0).x;
#elif MAP == 10
    // Drops fall one after the other and spread; the paper's fibres make their edges ragged.
    vec4 rough = Clouds(p * (7.0 / scale) + 11.0);
    vec2 bent = p + (rough.xy - 0.5) * 0.14 * scale;
    float value = 2.0;
    for (int i = 0; i < 7; ++i) {
        vec4 drop = Random(vec2(float(i) * 3.0 + 2.0, 5.0));
        vec2 place = (drop.xy - 0.5) * sides * 0.95;
        value = min(value, 0.6 * float(i) / 7.0 + length(bent - turn * place) * 1.9);
    }
    return value + 0.25 * rough.z;
#elif MAP == FROM_FILE
    return dot(texture2D(map, p / sides + 0.5).rgb, vec3(0.2126, 0.7152, 0.0722));
#else
    // Strokes beside each other, every second one in the other direction; bristles run ahead of the brush.
    float row = floor(p.y / (0.12 * scale) + 0.13 * (Noise(vec2(p.x * 5.0, 3.0)).x - 0.5));
    vec4 stroke = Random(vec2(row + 40.0, 9.0));
    float way = mod(row, 2.0) < 0.5 ? 1.0 : -1.0;
    float bristle = Noise(vec2(p.x * 3.0 + stroke.z * 50.0, p.y * 260.0 / scale)).x;
    float along = 0.5 + 0.5 * way * p.x / reach;
    return along + 0.16 * bristle + 1.6 * stroke.x;
#endif
}

#ifdef FIND_SPAN
void main() {
    vec2 found = vec2(1000.0, -1000.0);
    for (int i = 0; i < 32; ++i) {
        for (int j = 0; j < 32; ++j) {
            float value = Map(turn * ((vec2(float(i), float(j)) / 31.0 - 0.5) * sides));
            found = vec2(min(found.x, value), max(found.y, value));
        }
    }
    gl_FragColor = vec4(found, 0.0, 1.0);
}
#else
void main() {
    float value = Map(turn * ((TexCoord0 - 0.5) * sides));
#ifdef HAS_SPAN
    vec2 ends = texture2D(span, vec2(0.5)).xy;
    value = (value - ends.x) / max(ends.y - ends.x, 0.01);
#endif
    value = clamp(value, 0.0, 1.0);
    value = 0.5 + sense * (value - 0.5);
    float share = smoothstep(value, value + softness, threshold);
    gl_FragColor = Unmultiply(mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), share));
}
#endif
)glsl";

using Map = Proc::SettingsTransitionLumaWipe::Map;
constexpr int kFromFile = 100;
using CpuPicture = boost::intrusive_ptr<Proc::DataVideoFF>;

/// What the values of a generated map depend on beside the place.
struct MapForm {
    int map;
    glm::mat2 turn;
    glm::vec2 sides;
    double scale;

    bool operator==(MapForm const&) const = default;
};

/// The program of a map, or with `FIND_SPAN` the one that finds its least and greatest value.
std::string MakeText(int map, char const* define) {
    return GlslText({kGlslVersion, define,
                     fmt::format("#define FROM_FILE {}\n#define MAP {}\n", kFromFile, map).c_str(), kStraightAlpha,
                     kNoiseFunctions, kRandomFunction, kFragment})
        .Join();
}

/// The file's picture, or the span of a map's values, on the GPU.
class MapCache final : public OglCache {
public:
    /// Noise has no ends that are known beforehand.
    Texture const& GetSpan(MapForm const& wanted, bool isNoisy, ShaderStorage const& storage) {
        if (form != wanted) {
            if (!span) {
                span = Texture(TextureForm{1, 1, TexelFormat::Rgba16f, false});
            }
            Pass pass(storage, fmt::format("TransitionLumaWipe_{}_span", wanted.map),
                      [&wanted] { return MakeText(wanted.map, "#define FIND_SPAN\n"); });
            pass.Set("turn", wanted.turn).Set("sides", wanted.sides).Set("scale", wanted.scale);
            if (isNoisy) {
                pass.Texture("noise", 2, storage.Noise());
            }
            pass.DrawTo(span);
            form = wanted;
        }
        return span;
    }

    Frame const& Get(CpuPicture const& picture, ShaderStorage const& storage) {
        if (source != picture) {
            Frame uploaded = Frame::Create();
            uploaded.Allocate(picture->GetPixFmt(), picture->GetFrameInfo().width, picture->GetFrameInfo().height);
            uploaded.Upload(picture, storage);
            frame = uploaded.ConvertToRGBA(storage);
            source = picture;
        }
        return frame;
    }

private:
    CpuPicture source;
    Frame frame;
    std::optional<MapForm> form;
    Texture span;
};

}  // namespace

class TransitionLumaWipe final : public TransitionWithSettings<Proc::SettingsTransitionLumaWipe> {
public:
    explicit TransitionLumaWipe(Proc::PictureReader pictureReader) : reader(std::move(pictureReader)) {}

    /// Reads the file where it is another one. Throws what the reader throws, and `std::invalid_argument` without one.
    void SetSettings(Proc::Settings const& value) override {
        auto const& given = dynamic_cast<Proc::SettingsTransitionLumaWipe const&>(value);
        given.Validate();
        if (given.file.empty()) {
            picture = nullptr;
        } else if (!picture || given.file != settings.file) {
            if (!reader) {
                Core::Throw(std::invalid_argument("TransitionLumaWipe: this program reads no pictures for its file"));
            }
            picture = reader(given.file);
        }
        settings = given;
    }

    OglCache* CreateCache() const override { return new MapCache; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& mapCache = GetCache<MapCache>(cache);
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        bool const isFile = picture != nullptr;
        Frame const mapOfFile = isFile ? mapCache.Get(picture, storage) : Frame();
        Pictures const pictures(first, second, storage);
        int const map = isFile ? kFromFile : static_cast<int>(settings.map);
        bool const isNoisy = !isFile && (settings.map == Map::Clouds || settings.map == Map::Ink ||
                                         settings.map == Map::Strokes || settings.map == Map::Hexagons);
        bool const hasSpan = isNoisy || (!isFile && settings.map == Map::Spiral);
        bool const isScaled =
            settings.map != Map::Linear && settings.map != Map::Iris && settings.map != Map::Clock && !isFile;
        // An edge is at least a little soft, which hides the steps of pixels, and those of a file's 256 shades.
        double const softness = std::max(settings.softness, isFile ? 0.012 : 0.004);
        double const angle = isFile ? 0.0 : settings.angle * std::numbers::pi / 180.0;
        auto const s = static_cast<float>(std::sin(angle));
        auto const c = static_cast<float>(std::cos(angle));
        glm::mat2 const turn(c, -s, s, c);
        Texture const* const span =
            hasSpan ? &mapCache.GetSpan({map, turn, pictures.sides, settings.scale}, isNoisy, storage) : nullptr;
        Pass pass(storage, fmt::format("TransitionLumaWipe_{}", map),
                  [map, hasSpan] { return MakeText(map, hasSpan ? "#define HAS_SPAN\n" : ""); });
        pictures.GiveTo(pass)
            .Set("threshold", progress * (1.0 + softness))
            .Set("softness", softness)
            .Set("sense", settings.reverse ? -1.0 : 1.0)
            .Set("turn", turn)
            .Set("sides", pictures.sides);
        if (isScaled) {
            pass.Set("scale", settings.scale);
        }
        if (span != nullptr) {
            pass.Texture("span", 4, *span, TextureFilter::Nearest);
        }
        if (isFile) {
            pass.Texture("map", 3, mapOfFile);
        }
        if (isNoisy) {
            pass.Texture("noise", 2, storage.Noise());
        }
        pass.DrawTo(*dst);
    }

private:
    Proc::PictureReader reader;
    CpuPicture picture;
};

template void AddTransition<TransitionLumaWipe>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
