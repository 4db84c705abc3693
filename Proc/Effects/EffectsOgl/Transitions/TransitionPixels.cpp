// Two transitions of square pixels. Coarsen: the outgoing picture falls apart into pixels that double their size step
// by step, or grow steadily. Where they are largest they change over to the incoming picture, each at its own moment,
// and then that recovers. Each pixel is the mean of what it covers. Scatter: pixels change from one picture to the
// other, each softly. The order is random, and every object draws it for itself; with clusters, neighbours change one
// soon after the other.
//
// Video on planes is drawn there by the processor's threads (see ProcessorPixels.cpp), but for pixels that grow
// steadily.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorMask.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorPixels.h"
#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

// Texels shown large, with edges that are one pixel soft: a pixel on an edge is the mean of what it covers.
constexpr char kCoarsen[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform vec2 size1;   // texels
uniform vec2 size2;
uniform vec2 pixels;  // of the picture
uniform float weight;
varying vec2 TexCoord0;
vec2 Snap(vec2 size) {
    vec2 at = TexCoord0 * size;
    vec2 edge = floor(at + vec2(0.5));
    return (edge + clamp((at - edge) * pixels / size, vec2(-0.5), vec2(0.5))) / size;
}
void main() {
    vec4 color = mix(texture2D(tex1, Snap(size1)), texture2D(tex2, Snap(size2)), weight);
    gl_FragColor = Unmultiply(color);
}
)glsl";

// The largest pixels, each with its own share of both pictures.
constexpr char kChange[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D order;  // when each pixel changes, 0 to 1
uniform vec2 size;
uniform vec2 pixels;      // of the picture
uniform float now;
uniform float softness;   // how long a change takes
varying vec2 TexCoord0;
vec4 Show(vec2 texel) {
    vec2 at = (clamp(texel, vec2(0.0), size - vec2(1.0)) + vec2(0.5)) / size;
    float begin = texture2D(order, at).r * (1.0 - softness);
    return mix(texture2D(tex1, at), texture2D(tex2, at), smoothstep(begin, begin + softness, now));
}
void main() {
    vec2 at = TexCoord0 * size;
    vec2 edge = floor(at + vec2(0.5));
    vec2 share = clamp((at - edge) * pixels / size + vec2(0.5), vec2(0.0), vec2(1.0));
    vec4 low = mix(Show(edge - vec2(1.0)), Show(edge - vec2(0.0, 1.0)), share.x);
    vec4 high = mix(Show(edge - vec2(1.0, 0.0)), Show(edge), share.x);
    gl_FragColor = Unmultiply(mix(low, high, share.y));
}
)glsl";

// Pixels of any size, around the lattice's middle: the means of about as large pieces, read in the middle of each.
constexpr char kSteady[] = R"glsl(
uniform sampler2D tex1;  // means
uniform sampler2D tex2;  // the picture
uniform vec2 blocks;
uniform vec2 middle;     // blocks
uniform vec2 pixel;      // blocks
uniform float weight;
varying vec2 TexCoord0;
vec4 Show(vec2 offset) {
    vec2 at = (TexCoord0 - vec2(0.5)) * blocks + middle + offset * pixel;
    return texture2D(tex1, (floor(at) + vec2(0.5) - middle) / blocks + vec2(0.5));
}
void main() {
    vec4 color = 0.25 * (Show(vec2(0.125, 0.375)) + Show(vec2(-0.375, 0.125)) + Show(vec2(-0.125, -0.375)) +
                         Show(vec2(0.375, -0.125)));
    gl_FragColor = Unmultiply(mix(color, texture2D(tex2, TexCoord0), weight));
}
)glsl";

constexpr char kScatter[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D order;  // when each pixel begins to change, 0 to 1
uniform vec2 size;        // of it
uniform float now;
uniform float softness;   // how long a change takes
varying vec2 TexCoord0;
void main() {
    // What lies between two belongs to one of them as a whole row or column.
    vec2 at = (floor(TexCoord0 * size + vec2(0.001)) + vec2(0.5)) / size;
    float begin = texture2D(order, at).r * (1.0 - softness);
    float weight = smoothstep(begin, begin + softness, now);
    vec4 from = texture2D(tex1, TexCoord0);
    vec4 to = texture2D(tex2, TexCoord0);
    from.rgb *= from.a;
    to.rgb *= to.a;
    vec4 color = mix(from, to, weight);
    gl_FragColor = Unmultiply(color);
}
)glsl";

/// A picture reduced to the means of a lattice whose squares are halved `halvings` times; the picture itself if the
/// squares are pixels.
Frame MakeMeans(Frame const& picture, TileGrid const& lattice, std::uint32_t halvings, ShaderStorage const& storage) {
    std::uint64_t const columns = static_cast<std::uint64_t>(lattice.columns) << halvings;
    std::uint64_t const rows = static_cast<std::uint64_t>(lattice.rows) << halvings;
    if (columns >= picture.GetWidth() || rows >= picture.GetHeight()) {
        return picture;
    }
    return MakeScaled(picture, static_cast<std::uint32_t>(columns), static_cast<std::uint32_t>(rows), storage);
}

/// GLSL's `smoothstep` from `begin` to `begin` + `length`.
double RiseSmoothly(double begin, double length, double x) {
    double const t = std::clamp((x - begin) / length, 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// How long a change takes: of the largest pixels that both pictures have become, and of scattered ones.
constexpr double kCoarseSoftness = 0.2;
constexpr double kScatterSoftness = 0.1;

constexpr double kFinest = 540.0;  // the last pixels along the shorter side before the picture itself

/// The state of coarsening.
struct Coarseness {
    /// `shorter`: the picture's shorter side, pixels.
    Coarseness(std::int32_t count, std::uint32_t shorter, double progress) {
        steps = std::max(std::ceil(std::log2(kFinest / std::max(count, 1))), 1.0);
        // How long, in steps, the largest pixels stay on either side of the middle.
        double const stay = std::max(1.5, 0.4 * steps);
        double const toMiddle = 2.0 * std::min(progress, 1.0 - progress) * (steps + stay);
        step = std::max(steps - toMiddle, 0.0);
        // In a large picture the last pixels are large, too: the time of the last step is shared among several.
        double const last = shorter / (std::max(count, 1) * std::exp2(steps - 1.0));
        double const extra = std::max(std::floor(std::log2(last)) - 1.0, 0.0);
        step += extra * std::max(step - (steps - 1.0), 0.0);
        steps += extra;
        halvings = static_cast<std::uint32_t>(step);
        isNextSharp = halvings + 1.0 >= steps;
        isCoarsest = step == 0.0;
        // A step is quick: two sizes are seen together for a short time only.
        constexpr double kQuick = 0.3;
        double const x = std::clamp((step - halvings - (1.0 - kQuick)) / kQuick, 0.0, 1.0);
        smaller = x * x * (3.0 - 2.0 * x);
        double const half = 0.5 * stay / (steps + stay);
        changed = std::clamp((progress - 0.5) / (2.0 * half) + 0.5, 0.0, 1.0);
    }

    double steps;            ///< from the largest pixels to the picture itself
    double step;             ///< how many of them are still to come
    std::uint32_t halvings;  ///< those of the larger visible pixels
    bool isCoarsest;         ///< pixels are changing over; else they are of one picture
    bool isNextSharp;        ///< the smaller pixels are the picture's own
    double smaller;          ///< weight of the smaller pixels
    double changed;          ///< how far the change-over has come, 0 to 1
};

/// For each pixel of a lattice when it changes, 0 to 1, evenly spread.
std::vector<float> MakeOrder(TileGrid const& lattice, double clusters, std::uint32_t seed) {
    auto const columns = static_cast<std::uint32_t>(lattice.columns);
    auto const rows = static_cast<std::uint32_t>(lattice.rows);
    constexpr double kClusters = 3.0;  // along the shorter side
    double const scale = kClusters / std::min(columns, rows);
    // Smooth value noise over the lattice.
    auto const smooth = [&](std::uint32_t x, std::uint32_t y) {
        double const u = (x + 0.5) * scale;
        double const v = (y + 0.5) * scale;
        auto const cellX = static_cast<std::uint32_t>(u);
        auto const cellY = static_cast<std::uint32_t>(v);
        auto const ease = [](double t) { return t * t * (3.0 - 2.0 * t); };
        double const s = ease(u - cellX);
        double const t = ease(v - cellY);
        auto const at = [&](std::uint32_t i, std::uint32_t j) { return HashToUnit(cellX + i, cellY + j, ~seed); };
        return (at(0, 0) * (1.0 - s) + at(1, 0) * s) * (1.0 - t) + (at(0, 1) * (1.0 - s) + at(1, 1) * s) * t;
    };
    auto const count = columns * rows;
    std::vector<double> keys(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        keys[i] = (1.0 - clusters) * HashToUnit(i, seed) + clusters * smooth(i % columns, i / columns);
    }
    std::vector<std::uint32_t> sorted(count);
    std::iota(sorted.begin(), sorted.end(), 0U);
    std::stable_sort(sorted.begin(), sorted.end(), [&](std::uint32_t a, std::uint32_t b) { return keys[a] < keys[b]; });
    std::vector<float> order(count);
    for (std::uint32_t rank = 0; rank < count; ++rank) {
        order[sorted[rank]] = static_cast<float>(rank) / static_cast<float>(std::max(count, 2U) - 1U);
    }
    return order;
}

}  // namespace

class TransitionPixels final : public TransitionWithSettings<Proc::SettingsTransitionPixels> {
public:
    void SetSeed(std::uint32_t given) override { seed = Random(given).Draw(); }

    /// The order for the lattice that was requested last, the lowest row first.
    class CacheImpl final : public OglCache {
    public:
        std::vector<float> const& Get(TileGrid const& wanted, double wantedClusters, std::uint32_t seed) {
            if (wanted != current || wantedClusters != clusters) {
                order = MakeOrder(wanted, wantedClusters, seed);
                table.reset();
                current = wanted;
                clusters = wantedClusters;
            }
            return order;
        }
        /// The same.
        Texture const& GetTexture(TileGrid const& wanted, double wantedClusters, std::uint32_t seed) {
            std::vector<float> const& values = Get(wanted, wantedClusters, seed);
            if (!table) {
                table.emplace(static_cast<std::uint32_t>(wanted.columns), static_cast<std::uint32_t>(wanted.rows),
                              values.data());
            }
            return *table;
        }

    private:
        TileGrid current;
        double clusters = 0.0;
        std::vector<float> order;
        std::optional<Texture> table;
    };

    OglCache* CreateCache() const override { return new CacheImpl; }
    bool WorksOnPlanes() const override { return true; }
    bool SuitsPlanes(PlaneCase const& drawn) const override {
        using Settings = Proc::SettingsTransitionPixels;
        TileGrid const lattice = FindLattice(drawn.info);
        bool const hasBlocks = static_cast<std::uint32_t>(lattice.columns) < drawn.info.width &&
                               static_cast<std::uint32_t>(lattice.rows) < drawn.info.height;
        return settings.type == Settings::Type::Scatter || (settings.growth == Settings::Growth::Steps && hasBlocks);
    }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& order = GetCache<CacheImpl>(cache);
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        TileGrid const lattice = FindLattice(first->GetFrameInfo());
        bool const isCoarsened = settings.type == Proc::SettingsTransitionPixels::Type::Coarsen;
        if (IsOnPlanes(*dst)) {
            std::vector<float> const& moments = order.Get(lattice, settings.clusters, seed);
            isCoarsened ? CoarsenOnPlanes(*dst, *first, *second, lattice, moments, progress, storage)
                        : ScatterOnPlanes(*dst, *first, *second, lattice, moments, progress, storage);
            return;
        }
        if (isCoarsened) {
            Coarsen(*dst, first->FrameData(), second->FrameData(), lattice,
                    order.GetTexture(lattice, settings.clusters, seed), progress, storage);
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        Pass(storage, "TransitionPixels_1", {kGlslVersion, kStraightAlpha, kScatter})
            .Texture("tex1", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex2", 1, incoming, TextureFilter::Nearest)
            .Texture("order", 2, order.GetTexture(lattice, settings.clusters, seed))
            .Set("size", static_cast<float>(lattice.columns), static_cast<float>(lattice.rows))
            .Set("now", progress)
            .Set("softness", kScatterSoftness)
            .DrawTo(*dst);
    }

private:
    /// No square is smaller than a pixel.
    TileGrid FindLattice(Conf::FrameInfo const& info) const {
        return MakeSquareGrid(settings.num, GetDisplayAspect(info), info.width, info.height);
    }

    static glm::vec2 GetSize(Frame const& frame) {
        return {static_cast<float>(frame.GetWidth()), static_cast<float>(frame.GetHeight())};
    }

    void CoarsenOnPlanes(DataVideoOGL& dst, DataVideoOGL& first, DataVideoOGL& second, TileGrid const& lattice,
                         std::vector<float> const& order, double progress, ShaderStorage const& storage) const {
        Conf::FrameInfo const& frame = first.GetFrameInfo();
        Coarseness const coarseness(settings.num, std::min(frame.width, frame.height), progress);
        Processor& processor = storage.Processor();
        auto const find = [&](PlaneSource const& picture, std::uint32_t halvings) {
            return FindMeans(picture.Get(), lattice.columns << halvings, lattice.rows << halvings, processor);
        };
        if (coarseness.isCoarsest) {
            auto const share = [&](int column, int row) {
                double const moment =
                    order[static_cast<std::size_t>((lattice.rows - 1 - row) * lattice.columns + column)];
                return RiseSmoothly(moment * (1.0 - kCoarseSoftness), kCoarseSoftness, coarseness.changed);
            };
            BlockMeans const means = MixMeans(find(PlaneSource(first), 0), find(PlaneSource(second), 0), share);
            DrawPlanes(dst, [&](Planes const& to) { ShowMeans(means, {}, to, processor); });
            return;
        }
        DataVideoOGL& shown = progress < 0.5 ? first : second;
        Conf::FrameInfo const& info = shown.GetFrameInfo();
        auto const arePixels = [&](std::uint32_t halvings) {
            return static_cast<std::uint64_t>(lattice.columns) << halvings >= info.width ||
                   static_cast<std::uint64_t>(lattice.rows) << halvings >= info.height;
        };
        if (arePixels(coarseness.halvings)) {
            DrawUnchanged(dst, shown, storage);
            return;
        }
        PlaneSource const picture(shown);
        DrawPlanes(dst, [&](Planes const& to) {
            if (coarseness.isNextSharp || coarseness.smaller == 0.0 || arePixels(coarseness.halvings + 1)) {
                ShowMeans(find(picture, coarseness.halvings), {nullptr, &picture.Get(), coarseness.smaller}, to,
                          processor);
                return;
            }
            BlockMeans const finer = find(picture, coarseness.halvings + 1);
            ShowMeans(JoinMeans(finer), {&finer, nullptr, coarseness.smaller}, to, processor);
        });
    }

    static void ScatterOnPlanes(DataVideoOGL& dst, DataVideoOGL& first, DataVideoOGL& second, TileGrid const& lattice,
                                std::vector<float> const& order, double progress, ShaderStorage const& storage) {
        PlaneSource const outgoing(first);
        PlaneSource const incoming(second);
        std::vector<float> shares(order.size());
        std::transform(order.begin(), order.end(), shares.begin(), [progress](float moment) {
            return static_cast<float>(RiseSmoothly(moment * (1.0 - kScatterSoftness), kScatterSoftness, progress));
        });
        // The square of a pixel, as the program finds it.
        auto const find = [](double at, int count) {
            return std::clamp(static_cast<int>(at * count + 0.001), 0, count - 1);
        };
        int const width = outgoing.Get()[0].width;
        int const height = outgoing.Get()[0].height;
        std::vector<int> columns;
        for (int x = 0; x < width; ++x) {
            columns.push_back(find((x + 0.5) / width, lattice.columns));
        }
        DrawPlanes(dst, [&](Planes const& to) {
            MixOnProcessor(
                outgoing.Get(), incoming.Get(), to,
                [&](int y, float* out) {
                    int const row = find(1.0 - (y + 0.5) / height, lattice.rows);
                    float const* const ofRow = shares.data() + std::ptrdiff_t{row} * lattice.columns;
                    for (int const column : columns) {
                        *out++ = ofRow[column];
                    }
                },
                storage.Processor());
        });
    }

    void Coarsen(DataVideoOGL& dst, Frame const& outgoing, Frame const& incoming, TileGrid const& lattice,
                 Texture const& order, double progress, ShaderStorage const& storage) const {
        Coarseness const coarseness(settings.num, std::min(outgoing.GetWidth(), outgoing.GetHeight()), progress);
        if (coarseness.isCoarsest) {
            Frame const a = MakeMeans(outgoing.ConvertToRGBA(storage), lattice, 0, storage);
            Frame const b = MakeMeans(incoming.ConvertToRGBA(storage), lattice, 0, storage);
            Premultiplied const from(a, storage);
            Premultiplied const to(b, storage);
            Pass(storage, "TransitionPixels_change", {kGlslVersion, kStraightAlpha, kChange})
                .Texture("tex1", 0, from.Get(), TextureFilter::Nearest)
                .Texture("tex2", 1, to.Get(), TextureFilter::Nearest)
                .Texture("order", 2, order)
                .Set("size", GetSize(a))
                .Set("pixels", GetSize(outgoing))
                .Set("now", coarseness.changed)
                .Set("softness", kCoarseSoftness)
                .DrawTo(dst);
            return;
        }
        // The other one is not seen, and not converted.
        Frame const picture = (progress < 0.5 ? outgoing : incoming).ConvertToRGBA(storage);
        settings.growth == Proc::SettingsTransitionPixels::Growth::Steady
            ? ShowSteady(dst, picture, lattice, coarseness, storage)
            : ShowSteps(dst, picture, lattice, coarseness, storage);
    }

    static void ShowSteps(DataVideoOGL& dst, Frame const& picture, TileGrid const& lattice,
                          Coarseness const& coarseness, ShaderStorage const& storage) {
        // Each larger pixel is made from the four smaller ones that it covers.
        Frame const b =
            coarseness.isNextSharp ? picture : MakeMeans(picture, lattice, coarseness.halvings + 1, storage);
        Frame const a = MakeMeans(b, lattice, coarseness.halvings, storage);
        if (a.GetWidth() == picture.GetWidth()) {
            AttachTarget(dst, storage);
            picture.Draw(storage.Quad(), storage);
            return;
        }
        Premultiplied const larger(a, storage);
        Premultiplied const smaller(b, storage);
        Pass(storage, "TransitionPixels_0", {kGlslVersion, kStraightAlpha, kCoarsen})
            .Texture("tex1", 0, larger.Get())
            .Texture("tex2", 1, smaller.Get())
            .Set("size1", GetSize(a))
            .Set("size2", GetSize(b))
            .Set("pixels", GetSize(picture))
            .Set("weight", coarseness.smaller)
            .DrawTo(dst);
    }

    static void ShowSteady(DataVideoOGL& dst, Frame const& picture, TileGrid const& lattice,
                           Coarseness const& coarseness, ShaderStorage const& storage) {
        double const growth = std::exp2(coarseness.step);
        glm::dvec2 const size(picture.GetWidth(), picture.GetHeight());
        glm::dvec2 const cells(lattice.columns, lattice.rows);
        glm::dvec2 const blocks = glm::min(cells * growth, size);
        Frame const means = MakeScaled(picture, static_cast<std::uint32_t>(std::lround(blocks.x)),
                                       static_cast<std::uint32_t>(std::lround(blocks.y)), storage);
        Premultiplied const larger(means, storage);
        Premultiplied const sharp(picture, storage);
        Pass(storage, "TransitionPixels_2", {kGlslVersion, kStraightAlpha, kSteady})
            .Texture("tex1", 0, larger.Get())
            .Texture("tex2", 1, sharp.Get(), TextureFilter::Nearest)
            .Set("blocks", glm::vec2(blocks))
            .Set("middle", glm::vec2(0.5 * cells))
            .Set("pixel", glm::vec2(blocks / size))
            .Set("weight", std::clamp(coarseness.step - coarseness.steps + 1.0, 0.0, 1.0))
            .DrawTo(dst);
    }

    std::uint32_t seed = Random().Draw();
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionPixels>();

}  // namespace Kaltor::Ogl
