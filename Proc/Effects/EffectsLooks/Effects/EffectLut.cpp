// Colours by a look-up table of a .cube file: a curve for each channel, or a lattice of colours between whose points
// the colour is interpolated in the tetrahedron that holds it, which keeps greys grey. Mixed in by `mix`.

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "Proc/Effects/EffectsLooks/CubeLut.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectLut final : SettingsOf<SettingsEffectLut> {
    static inline std::string const CLASS_ID = "EffectLut";
    static constexpr std::string_view SUMMARY = "Applies the colours of a look-up table, a .cube file (1D or 3D).";
    static constexpr std::string_view NEUTRAL = "mix=0";

    std::string file;
    double mix = 1.0;

    static std::vector<Field> DeclareFields() {
        Field path{};
        path.key = "file";
        path.type = FieldType::File;
        path.help = "the .cube file; without one the picture stays as it is";
        path.get = [](Settings const& settings) -> FieldValue {
            return static_cast<SettingsEffectLut const&>(settings).file;
        };
        path.set = [](Settings& settings, FieldValue const& value) {
            static_cast<SettingsEffectLut&>(settings).file = std::get<std::string>(value);
        };
        return {path, Declare<&This::mix>(0.0, 1.0, "how much of it is mixed in")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D lut;
uniform vec3 low;
uniform vec3 scale;
uniform float size;       // points on a side
uniform vec2 texels;      // of the table
uniform float columns;    // slices, or points of a curve, beside each other
uniform vec2 values;      // the least of the table, and from there to the most
uniform float amount;
varying vec2 TexCoord0;

#ifdef LATTICE
vec3 Point(vec3 place) {
    float row = floor((place.b + 0.5) / columns);
    float column = place.b - row * columns;
    return texture2D(lut, (vec2(column, row) * size + place.rg + 0.5) / texels).rgb;
}
#else
vec3 Point(float place) {
    float row = floor((place + 0.5) / columns);
    return texture2D(lut, (vec2(place - row * columns, row) + 0.5) / texels).rgb;
}
#endif

void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec3 place = clamp((picture.rgb - low) * scale, 0.0, 1.0) * (size - 1.0);
    vec3 cell = min(floor(place), vec3(size - 2.0));
    vec3 part = place - cell;
#ifdef LATTICE
    // From the cell's first corner to its last one along the axes, the one with the largest part first.
    vec3 first = vec3(greaterThanEqual(part, vec3(max(part.r, max(part.g, part.b)))));
    first = first.r > 0.5 ? vec3(1.0, 0.0, 0.0) : (first.g > 0.5 ? vec3(0.0, 1.0, 0.0) : vec3(0.0, 0.0, 1.0));
    vec3 others = vec3(1.0) - first;
    float least = min(part.r, min(part.g, part.b));
    vec3 last = vec3(lessThanEqual(part, vec3(least))) * others;
    last = last.b > 0.5 ? vec3(0.0, 0.0, 1.0) : (last.g > 0.5 ? vec3(0.0, 1.0, 0.0) : vec3(1.0, 0.0, 0.0));
    vec3 second = vec3(1.0) - first - last;
    float a = dot(part, first);
    float b = dot(part, second);
    float c = dot(part, last);
    vec3 found = Point(cell) * (1.0 - a) + Point(cell + first) * (a - b) + Point(cell + first + second) * (b - c) +
                 Point(cell + vec3(1.0)) * c;
#else
    vec3 found = vec3(mix(Point(cell.r).r, Point(cell.r + 1.0).r, part.r),
                      mix(Point(cell.g).g, Point(cell.g + 1.0).g, part.g),
                      mix(Point(cell.b).b, Point(cell.b + 1.0).b, part.b));
#endif
    found = vec3(values.x) + values.y * found;
    gl_FragColor = Straight(mix(picture.rgb, found, amount), picture.a);
}
)glsl";

/// A table on the GPU: slices of the lattice, or points of the curve, in rows.
struct Table {
    std::shared_ptr<CubeLut const> lut;
    std::uint32_t columns;
    float low = 0.0F;
    float high = 1.0F;
    Texture texture;

    explicit Table(std::shared_ptr<CubeLut const> source) : lut(std::move(source)), columns(GetColumns(*lut)) {
        std::uint32_t const size = lut->GetSize();
        std::uint32_t const count = size;
        std::uint32_t const rows = (count + columns - 1) / columns;
        std::uint32_t const tile = lut->Is3D() ? size : 1;
        TextureForm const form{columns * tile, rows * tile, TexelFormat::Rgba16, false};
        std::vector<std::uint16_t> texels(std::size_t{4} * form.width * form.height, 65535);
        for (float const value : lut->GetValues()) {
            low = std::min(low, value);
            high = std::max(high, value);
        }
        std::size_t next = 0;
        std::size_t const points = lut->GetValues().size() / 3;
        for (std::size_t point = 0; point < points; ++point) {
            std::size_t const slice = point / (std::size_t{tile} * tile);
            std::size_t const inside = point % (std::size_t{tile} * tile);
            std::size_t const x = (slice % columns) * tile + inside % tile;
            std::size_t const y = (slice / columns) * tile + inside / tile;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                texels[4 * (y * form.width + x) + channel] =
                    static_cast<std::uint16_t>(std::lround((lut->GetValues()[next++] - low) / (high - low) * 65535.0F));
            }
        }
        texture = Texture(form);
        texture.Bind();
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, static_cast<GLsizei>(form.width), static_cast<GLsizei>(form.height),
                        GL_RGBA, GL_UNSIGNED_SHORT, texels.data());
        texture.SetFresh(false);
    }

    static std::uint32_t GetColumns(CubeLut const& lut) {
        return static_cast<std::uint32_t>(std::ceil(std::sqrt(static_cast<double>(lut.GetSize()))));
    }
};

class LutCache final : public OglCache {
public:
    std::optional<Table> table;
};

glm::vec3 ToVec(std::array<double, 3> const& values) {
    return {static_cast<float>(values[0]), static_cast<float>(values[1]), static_cast<float>(values[2])};
}

}  // namespace

class EffectLut final : public EffectWithSettings<Proc::SettingsEffectLut> {
public:
    /// Reads the file where it is another one. Throws like `CubeLut::Read`.
    void SetSettings(Proc::Settings const& value) override {
        auto const& given = dynamic_cast<Proc::SettingsEffectLut const&>(value);
        given.Validate();
        if (given.file.empty()) {
            lut = nullptr;
        } else if (given.file != settings.file || !lut) {
            lut = std::make_shared<CubeLut const>(CubeLut::Read(given.file));
        }
        settings = given;
    }

    OglCache* CreateCache() const override { return new LutCache; }

    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache* cache) const override {
        if (!lut || settings.mix == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        std::optional<Table>& table = GetCache<LutCache>(cache).table;
        if (!table || table->lut != lut) {
            table.emplace(lut);
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        TextureForm const& form = table->texture.GetForm();
        glm::vec3 const low = ToVec(lut->GetMinimum());
        Pass(storage, lut->Is3D() ? "EffectLut_lattice" : "EffectLut",
             {kGlslVersion, lut->Is3D() ? "#define LATTICE\n" : "", kStraightAlpha, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("lut", 1, table->texture, TextureFilter::Nearest)
            .Set("low", low)
            .Set("scale", 1.0F / (ToVec(lut->GetMaximum()) - low))
            .Set("size", static_cast<float>(lut->GetSize()))
            .Set("texels", static_cast<float>(form.width), static_cast<float>(form.height))
            .Set("columns", static_cast<float>(table->columns))
            .Set("values", table->low, table->high - table->low)
            .Set("amount", settings.mix)
            .DrawTo(*dst);
    }

private:
    std::shared_ptr<CubeLut const> lut;
};

template void AddEffect<EffectLut>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl
