// Two transitions of square pixels. Coarsen: the outgoing picture falls apart into pixels that double their size step
// by step, turns into the incoming one where they are largest, and recovers as that. Each pixel is the mean of what it
// covers, and one size fades into the next. Scatter: pixels change from one picture to the other one by one, each
// softly, in a random order that every object draws for itself.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

#include "Ogl/Noise.h"
#include "Ogl/Random.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Effects/EffectsOgl/Transitions/Tiles.h"
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

/// The state of coarsening.
struct Coarseness {
    Coarseness(std::int32_t count, double progress) {
        // The last step down is the picture itself.
        constexpr double kFinest = 540.0;
        double const steps = std::max(std::ceil(std::log2(kFinest / std::max(count, 1))), 1.0);
        // How long, in steps, the largest pixels stay on either side of the middle.
        double const stay = std::max(2.0, steps / 3.0);
        double const toMiddle = 2.0 * std::min(progress, 1.0 - progress) * (steps + stay);
        double const step = std::max(steps - toMiddle, 0.0);
        halvings = static_cast<std::uint32_t>(step);
        isNextSharp = halvings + 1.0 >= steps;
        isCoarsest = step == 0.0;
        auto const ease = [](double low, double high, double value) {
            double const x = std::clamp((value - low) / (high - low), 0.0, 1.0);
            return x * x * (3.0 - 2.0 * x);
        };
        double const half = 0.5 * stay / (steps + stay);
        weight = isCoarsest ? ease(0.5 - half, 0.5 + half, progress) : ease(0.0, 1.0, step - halvings);
    }

    std::uint32_t halvings;  ///< those of the larger visible pixels
    bool isCoarsest;         ///< mixes the two pictures; else pixels of two sizes
    bool isNextSharp;        ///< the smaller pixels are the picture's own
    double weight;           ///< that of the second picture, or of the smaller pixels
};

}  // namespace

class TransitionPixels final : public TransitionWithSettings<Proc::SettingsTransitionPixels> {
public:
    void SetSeed(std::uint32_t given) override { seed = Random(given).Draw(); }

    /// The order for the lattice that was requested last.
    class CacheImpl final : public OglCache {
    public:
        Texture const& Get(TileGrid const& wanted, std::uint32_t seed) {
            if (wanted != current) {
                auto const columns = static_cast<std::uint32_t>(wanted.columns);
                auto const rows = static_cast<std::uint32_t>(wanted.rows);
                std::vector<float> order(std::size_t{columns} * rows);
                std::iota(order.begin(), order.end(), 0.0F);
                auto const count = static_cast<std::uint32_t>(order.size());
                float const last = static_cast<float>(std::max(count, 2U) - 1U);
                for (std::uint32_t i = count; i-- > 0;) {
                    std::swap(order[i], order[Hash(i, seed, 0)[0] % (i + 1U)]);
                    order[i] /= last;
                }
                table = Texture(columns, rows, order.data());
                current = wanted;
            }
            return table;
        }

    private:
        TileGrid current;
        Texture table;
    };

    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& order = GetCache<CacheImpl>(cache);
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        // No square is smaller than a pixel.
        TileGrid const lattice = MakeSquareGrid(settings.num, GetDisplayAspect(first->GetFrameInfo()),
                                                outgoing.GetWidth(), outgoing.GetHeight());
        if (settings.type == Proc::SettingsTransitionPixels::Type::Coarsen) {
            Coarsen(*dst, outgoing, incoming, lattice, progress, storage);
            return;
        }
        constexpr float kSoftness = 0.1F;
        Pass(storage, "TransitionPixels_1", {kGlslVersion, kStraightAlpha, kScatter})
            .Texture("tex1", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex2", 1, incoming, TextureFilter::Nearest)
            .Texture("order", 2, order.Get(lattice, seed))
            .Set("size", static_cast<float>(lattice.columns), static_cast<float>(lattice.rows))
            .Set("now", progress)
            .Set("softness", kSoftness)
            .DrawTo(*dst);
    }

private:
    void Coarsen(DataVideoOGL& dst, Frame const& outgoing, Frame const& incoming, TileGrid const& lattice,
                 double progress, ShaderStorage const& storage) const {
        Coarseness const coarseness(settings.num, progress);
        Frame const& picture = progress < 0.5 ? outgoing : incoming;
        Frame a;
        Frame b;
        if (coarseness.isCoarsest) {
            a = MakeMeans(outgoing, lattice, 0, storage);
            b = MakeMeans(incoming, lattice, 0, storage);
        } else {
            // Each larger pixel is made from the four smaller ones that it covers.
            b = coarseness.isNextSharp ? picture : MakeMeans(picture, lattice, coarseness.halvings + 1, storage);
            a = MakeMeans(b, lattice, coarseness.halvings, storage);
            if (a.GetWidth() == picture.GetWidth()) {
                AttachTarget(dst, storage);
                picture.Draw(storage.Quad(), storage);
                return;
            }
        }
        auto const size = [](Frame const& frame) {
            return glm::vec2(static_cast<float>(frame.GetWidth()), static_cast<float>(frame.GetHeight()));
        };
        Premultiplied const from(a, storage);
        Premultiplied const to(b, storage);
        Pass(storage, "TransitionPixels_0", {kGlslVersion, kStraightAlpha, kCoarsen})
            .Texture("tex1", 0, from.Get())
            .Texture("tex2", 1, to.Get())
            .Set("size1", size(a))
            .Set("size2", size(b))
            .Set("pixels", size(outgoing))
            .Set("weight", coarseness.weight)
            .DrawTo(dst);
    }

    std::uint32_t seed = Random().Draw();
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionPixels>();

}  // namespace Kaltor::Ogl
