// Columns of glyphs fall down the picture, each at its own time and speed, a bright head before a fading trail. Where a
// head has passed, the incoming picture appears, softly, a little darker behind the trail's glyphs and clear once they
// are gone. Glyphs are light that is added. The state of the cells is computed in a small picture with one texel per
// cell; the glow around the cells, how far they are uncovered and how dark they are is a second one, read smoothly.

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/EffectsOgl/Transitions/Glyphs.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

// A cell: which glyph (1/64), how bright (above 0.6: the head), how far the head has come since it entered (-1 to 7
// cells), how dark the picture is behind. Rows count from the top.
constexpr char kCells[] = R"glsl(
uniform sampler2D columns;  // rows of the table: begin, duration, length of the trail as a part of the picture
uniform sampler2D noise;
uniform vec2 grid;
uniform vec2 offset;        // into the noise
uniform float now;
varying vec2 TexCoord0;
vec4 Random(vec2 at) {
    return texture2D(noise, (at + offset + vec2(0.5)) / kNoiseSize);
}
void main() {
    vec2 cell = floor(vec2(TexCoord0.x, 1.0 - TexCoord0.y) * grid);
    float begin = texture2D(columns, vec2(TexCoord0.x, 0.5 / 3.0)).r;
    float duration = texture2D(columns, vec2(TexCoord0.x, 1.5 / 3.0)).r;
    float trail = max(texture2D(columns, vec2(TexCoord0.x, 2.5 / 3.0)).r * grid.y, 3.0);
    float age = (now - begin) / duration * (grid.y + trail) - cell.y;

    // Glyphs change now and then, each cell at its own pace.
    vec4 own = Random(cell);
    float change = floor(now * (8.0 + 40.0 * own.r * own.r) + own.g);
    vec4 shown = Random(cell + vec2(17.0, 59.0) + change * vec2(31.0, 13.0));

    float left = clamp(1.0 - age / trail, 0.0, 1.0);
    float on = smoothstep(0.0, 0.5, age);
    float head = 1.0 - smoothstep(1.0, 2.0, age);
    float dim = 0.6 * left * (0.4 + 0.6 * shown.g);
    gl_FragColor = vec4((floor(shown.r * 63.999) + 0.5) / 64.0, on * mix(dim, 1.0, head),
                        clamp((age + 1.0) / 8.0, 0.0, 1.0), min(left * 1.5, 1.0));
}
)glsl";

// The light that cells get from those around them, near and far; how far a cell is uncovered; its darkness.
constexpr char kGlow[] = R"glsl(#version 120
uniform sampler2D cells;
uniform vec2 texel;
varying vec2 TexCoord0;
void main() {
    float near = 0.0;
    float wide = 0.0;
    for (int y = -4; y <= 4; ++y) {
        for (int x = -4; x <= 4; ++x) {
            vec2 offset = vec2(float(x), float(y));
            float light = texture2D(cells, TexCoord0 + texel * offset).g;
            float square = dot(offset, offset);
            near += light * exp(-0.9 * square);
            wide += light * exp(-0.16 * square);
        }
    }
    vec4 cell = texture2D(cells, TexCoord0);
    gl_FragColor = vec4(0.28 * near, 0.055 * wide, smoothstep(0.0, 3.0, cell.b * 8.0 - 1.0), cell.a);
}
)glsl";

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D cells;
uniform sampler2D glow;
uniform sampler2D glyphs;
uniform vec2 grid;
uniform float sharpness;    // pixels that the distances in the atlas span
uniform float light;
uniform vec4 color;
varying vec2 TexCoord0;
void main() {
    vec2 place = TexCoord0 * grid + vec2(0.001);  // also for all of the pixels that lie between two cells
    vec2 corner = floor(place);
    vec4 cell = texture2D(cells, (corner + vec2(0.5)) / grid);
    place -= corner;
    float glyph = floor(cell.r * 64.0);
    float row = floor(glyph / 8.0);
    float inside = texture2D(glyphs, (vec2(glyph - 8.0 * row, row) + place) / 8.0).r;

    vec4 around = texture2D(glow, TexCoord0);
    vec4 from = texture2D(tex1, TexCoord0);
    vec4 to = texture2D(tex2, TexCoord0);
    from.rgb *= from.a;
    to.rgb *= to.a * (1.0 - 0.45 * around.a);
    vec4 result = mix(from, to, around.b);

    vec3 core = mix(color.rgb, vec3(1.0), 0.85 * clamp(2.5 * cell.g - 1.5, 0.0, 1.0));
    float halo = inside * inside * cell.g;
    float glowing = light * (0.9 * around.r + 0.8 * around.g + 0.7 * halo);
    result.rgb += (vec3(result.a) - result.rgb) * color.rgb * (color.a * (1.0 - exp(-glowing)));
    float ink = color.a * min(1.6 * cell.g, 1.0) * clamp((inside - 0.5) * sharpness + 0.5, 0.0, 1.0);
    result.rgb += (vec3(1.0) - result.rgb) * core * ink;
    result.a += (1.0 - result.a) * ink;
    gl_FragColor = Unmultiply(result);
}
)glsl";

}  // namespace

class TransitionMatrix final : public TransitionWithSettings<Proc::SettingsTransitionMatrix> {
public:
    TransitionMatrix() { DrawColumns({}); }
    void SetSeed(std::uint32_t seed) override { DrawColumns(Random(seed)); }

    class CacheImpl final : public OglCache {
    public:
        Texture glyphs;
        Texture columns;
    };

    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& cached = GetCache<CacheImpl>(cache);
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        // Cells have the glyphs' shape; none is smaller than a pixel.
        std::uint32_t const width = outgoing.GetWidth();
        std::uint32_t const height = outgoing.GetHeight();
        auto const across = std::clamp(static_cast<std::uint32_t>(std::max(settings.num, 1)), 1U, width);
        double const down = across / GetDisplayAspect(first->GetFrameInfo()) / kGlyphAspect;
        auto const rows = static_cast<std::uint32_t>(std::clamp(std::round(down), 1.0, static_cast<double>(height)));
        double const columnWidth = static_cast<double>(width) / across;
        glm::vec2 const grid(static_cast<float>(across), static_cast<float>(rows));

        if (!cached.glyphs) {
            cached.glyphs = MakeGlyphAtlas();
        }
        if (!cached.columns || cached.columns.GetForm().width != across) {
            cached.columns = MakeTable(across);
        }
        PooledTexture const cells({across, rows, TexelFormat::Rgba16, false});
        Pass(storage, "TransitionMatrixCells", {kGlslVersion, kNoiseSizeGlsl, kCells})
            .Texture("columns", 0, cached.columns)
            .Texture("noise", 1, storage.Noise(), TextureFilter::Nearest)
            .Set("grid", grid)
            .Set("offset", noiseOffset)
            .Set("now", progress)
            .DrawTo(cells.Get());
        PooledTexture const glow({across, rows, TexelFormat::Rgba8, false});
        Pass(storage, "TransitionMatrixGlow", kGlow)
            .Texture("cells", 0, cells.Get(), TextureFilter::Nearest)
            .Set("texel", glm::vec2(1.0F) / grid)
            .DrawTo(glow.Get());
        Pass(storage, "TransitionMatrix", {kGlslVersion, kStraightAlpha, kFragment})
            .Texture("tex1", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex2", 1, incoming, TextureFilter::Nearest)
            .Texture("cells", 2, cells.Get(), TextureFilter::Nearest)
            .Texture("glow", 3, glow.Get())
            .Texture("glyphs", 4, cached.glyphs)
            .Set("grid", grid)
            .Set("sharpness", 2.0 * kGlyphReach * columnWidth)
            .Set("light", 2.0 * settings.glow)
            .Set("color", settings.color)
            .DrawTo(*dst);
    }

private:
    /// When a column begins to fall, how long it falls and how long its trail is, as parts of the whole transition.
    struct Column {
        float begin, duration, trail;
    };

    void DrawColumns(Random random) {
        auto const draw = [&random](double low, double high) {
            constexpr double kUnit = 1.0 / 2147483648.0;
            return static_cast<float>(low + (high - low) * (random.Draw() * kUnit));
        };
        for (Column& column : columns) {
            column.duration = draw(0.4, 0.8);
            column.begin = draw(0.0, 1.0) * (1.0F - column.duration);
            column.trail = draw(0.25, 0.65);
        }
        noiseOffset = {std::floor(draw(0.0, kNoiseSize)), std::floor(draw(0.0, kNoiseSize))};
    }

    Texture MakeTable(std::uint32_t count) const {
        std::vector<float> values(std::size_t{3} * count);
        for (std::size_t i = 0; i < count; ++i) {
            Column const& column = columns[i % columns.size()];
            values[i] = column.begin;
            values[count + i] = column.duration;
            values[2 * std::size_t{count} + i] = column.trail;
        }
        return {count, 3, values.data()};
    }

    std::array<Column, 400> columns{};  // the largest number of columns; further ones repeat these
    glm::vec2 noiseOffset;
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionMatrix>();

}  // namespace Kaltor::Ogl
