// Old film as it is projected: the picture sways in the gate, flickers, is grainy and darker towards its corners; dust
// and hairs lie on it for one film frame each; scratches run down it through several. All of it changes with the film's
// frames only and is drawn from hashes of their numbers, so that a frame looks the same whenever it is drawn. Alpha
// goes with the picture. The dyes of an old print have faded, cyan first: densities shrink, so that shadows turn red.
//
// Exposure and grain are one pass over the picture. Damage is a mesh, laid over it: its cost depends on its area. A
// speck is a square in which noise of several sizes, above a threshold that rises outwards, makes flakes and crumbs. A
// line is a ribbon along a path, whose width, density and roughness vary from point to point.
//
// A scratch has a place on the film strip, counted in frames: frame n shows the strip from n, at the top of the
// picture, to n + 1. So it begins somewhere in a frame, continues where the frame before left it, and ends somewhere in
// another.

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "Ogl/GlState.h"
#include "Ogl/Noise.h"
#include "Proc/Effects/EffectsOgl/Effects/FilmGrain.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kExposure[] = R"glsl(
uniform sampler2D tex;      // premultiplied
uniform vec4 gate;          // factor and offset of texture coordinates
uniform vec2 exposure;      // in the middle, and how much more at the top
uniform float vignette;
uniform float grain;
uniform vec3 dyes;          // what is left of cyan, magenta and yellow
uniform vec3 base;          // the stained film
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0 * gate.xy + gate.zw);
    vec3 color = origin.rgb / max(origin.a, 1.0e-4);
    vec2 out_of_middle = TexCoord0 * 2.0 - vec2(1.0);
    float fall = smoothstep(0.1, 1.15, 0.5 * dot(out_of_middle, out_of_middle));
    color *= (exposure.x + exposure.y * out_of_middle.y) * (1.0 - vignette * fall);
#ifdef FADED
    color = base * pow(max(color, vec3(0.012)), dyes);
#endif
    float lum = clamp(dot(color, vec3(0.2126, 0.7152, 0.0722)), 0.0, 1.0);
    color += vec3(FilmGrain(TexCoord0) * grain * sqrt(lum * (1.0 - lum)));
    gl_FragColor = vec4(color, origin.a);
}
)glsl";

struct DamageVertex {
    glm::vec2 onScreen;
    glm::vec2 local;  ///< a line's: along it in cells of noise, across it in pixels; a speck's: in radii
    float seed;       ///< where its noise is
    float tone;
    float opacity;
    float reach;  ///< half a line's width, or - a speck's radius; pixels

    static constexpr std::array<VertexAttribute, 6> kLayout{
        {{"on_screen", 2}, {"local", 2}, {"seed", 1}, {"tone", 1}, {"opacity", 1}, {"reach", 1}}};
};

constexpr char kDamageVertex[] = R"glsl(#version 120
attribute vec2 on_screen;
attribute vec2 local;
attribute float seed;
attribute float tone;
attribute float opacity;
attribute float reach;
varying vec2 place;
varying vec4 kind;
void main() {
    gl_Position = vec4(on_screen, 0.0, 1.0);
    place = local;
    kind = vec4(seed, tone, opacity, reach);
}
)glsl";

constexpr char kDamage[] = R"glsl(
uniform sampler2D noise;
varying vec2 place;
varying vec4 kind;    // seed, tone, opacity, reach
void main() {
    float cover;
    if (kind.w > 0.0) {
        float rough = texture2D(noise, vec2(place.x, kind.x) / kNoiseSize).r;
        cover = clamp(kind.w + 0.5 - abs(place.y), 0.0, 1.0) * (0.45 + 0.55 * smoothstep(0.1, 0.6, rough));
    } else {
        vec2 at = place + vec2(kind.x, kind.x * 0.618);
        float broad = texture2D(noise, at * (0.9 / kNoiseSize)).g - 0.5;
        float middle = texture2D(noise, at * (2.3 / kNoiseSize)).b - 0.5;
        float fine = texture2D(noise, at * (6.1 / kNoiseSize)).r - 0.5;
        float rugged = min(-kind.w / 3.0, 1.0);  // the smallest are too small for a shape
        float soft = 0.1 + 0.7 / max(-kind.w, 0.7);
        float outwards = length(place) + rugged * (1.5 * broad + 0.9 * middle + 0.5 * fine);
        cover = (1.0 - smoothstep(0.75 - soft, 0.75 + soft, outwards)) * (1.0 - smoothstep(1.7, 2.0, length(place)));
        cover *= 1.0 - 0.45 * rugged * clamp(0.5 + 3.0 * middle, 0.0, 1.0);
    }
    gl_FragColor = vec4(kind.y * vec3(1.0, 0.97, 0.91), cover * kind.z);
}
)glsl";

/// Random numbers of one thing: reproducible, in the order in which they are drawn.
class Dice {
public:
    Dice(std::uint32_t first, std::uint32_t second, std::uint32_t salt) : x(first), y(second), z(salt) {}

    double operator()() { return HashToUnit(x, y, z + count++); }
    double Between(double low, double high) { return low + (high - low) * (*this)(); }

private:
    std::uint32_t x, y, z;
    std::uint32_t count = 0;
};

constexpr std::uint32_t kScratches = 0x10000U;
constexpr std::uint32_t kSpecks = 0x20000U;
constexpr std::uint32_t kHairs = 0x30000U;
constexpr std::uint32_t kGateHairs = 0x40000U;
constexpr std::uint32_t kWaver = 0x50000U;
constexpr std::uint32_t kWeave = 0x60000U;
constexpr std::uint32_t kFlicker = 0x70000U;
constexpr std::uint32_t kDirt = 0x80000U;
constexpr std::uint32_t kFibres = 0x90000U;
constexpr std::uint32_t kStains = 0xA0000U;

/// Smooth noise, -1 to 1, with a bend at every whole x.
double SmoothNoise(double x, std::uint32_t y, std::uint32_t salt) {
    double const cell = std::floor(x);
    auto const number = static_cast<std::uint32_t>(static_cast<std::int64_t>(cell));
    double const f = x - cell;
    double const low = HashToUnit(number, y, salt);
    double const high = HashToUnit(number + 1U, y, salt);
    return 2.0 * (low + (high - low) * f * f * (3.0 - 2.0 * f)) - 1.0;
}

struct LinePoint {
    glm::dvec2 place;  ///< pixels
    double halfWidth;  ///< pixels
    double opacity;
};

/// Builds the damage of one frame.
class Damage {
public:
    Damage(std::uint32_t pictureWidth, std::uint32_t pictureHeight)
        : size(pictureWidth, pictureHeight), unit(std::max(size.x, size.y)) {}

    glm::dvec2 const& GetSize() const { return size; }
    /// The larger side in pixels. Lengths are fractions of it.
    double GetUnit() const { return unit; }
    PackedMesh<DamageVertex> const& GetMesh() const { return mesh; }

    /// `tone`: 0 dark, 1 bright. `seed`: where its noise lies.
    void AddLine(std::vector<LinePoint> const& points, double tone, double seed) {
        auto const first = static_cast<unsigned>(mesh.vertices.size());
        double along = seed * kNoiseSize;
        for (std::size_t i = 0; i < points.size(); ++i) {
            LinePoint const& point = points[i];
            glm::dvec2 const step = points[std::min(i + 1, points.size() - 1)].place - points[i > 0 ? i - 1 : 0].place;
            glm::dvec2 const across = glm::dvec2(-step.y, step.x) / std::max(std::hypot(step.x, step.y), 1e-9);
            // A line that is thinner than a pixel covers only a part of it.
            double const half = std::max(point.halfWidth, 0.5);
            double const opacity = point.opacity * std::min(point.halfWidth / 0.5, 1.0);
            for (double const side : {-1.0, 1.0}) {
                AddVertex(point.place + across * (side * (half + 1.0)), half, {along, side * (half + 1.0)},
                          seed * kNoiseSize, tone, opacity);
            }
            if (i + 1 < points.size()) {
                constexpr double kCells = 250.0;  // cells of noise along a line as long as the larger side
                along += glm::distance(points[i + 1].place, point.place) / unit * kCells;
                auto const at = first + 2 * static_cast<unsigned>(i);
                mesh.indices.insert(mesh.indices.end(), {at, at + 1, at + 2, at + 2, at + 1, at + 3});
            }
        }
    }

    /// Drawn out by `stretch` in a direction.
    void AddSpeck(glm::dvec2 const& centre, double radius, double stretch, double angle, double tone, double opacity,
                  double seed) {
        constexpr double kMargin = 2.0;  // radii: as far as its outline is frayed
        double const pixels = std::max(radius, 0.6);
        double const share = std::pow(radius / pixels, 2.0);
        auto const first = static_cast<unsigned>(mesh.vertices.size());
        glm::dvec2 const along(std::cos(angle), std::sin(angle));
        glm::dvec2 const across(-along.y, along.x);
        for (auto const& [x, y] :
             {std::pair{-kMargin, -kMargin}, {kMargin, -kMargin}, {kMargin, kMargin}, {-kMargin, kMargin}}) {
            AddVertex(centre + (along * (x * stretch) + across * (y / stretch)) * pixels, -pixels, {x, y},
                      seed * kNoiseSize, tone, opacity * share);
        }
        mesh.indices.insert(mesh.indices.end(), {first, first + 1, first + 3, first + 3, first + 1, first + 2});
    }

private:
    void AddVertex(glm::dvec2 const& place, double reach, glm::dvec2 const& local, double seed, double tone,
                   double opacity) {
        mesh.vertices.push_back({glm::vec2(2.0 * place / size - 1.0), glm::vec2(local), static_cast<float>(seed),
                                 static_cast<float>(tone), static_cast<float>(opacity), static_cast<float>(reach)});
    }

    glm::dvec2 size;
    double unit;
    PackedMesh<DamageVertex> mesh;
};

/// A place in the picture, pixels.
glm::dvec2 DrawPlace(Dice& dice, Damage const& damage) {
    double const x = dice();
    return glm::dvec2(x, dice()) * damage.GetSize();
}

/// Dirt on a positive is dark; dirt on the negative from which it was printed is bright.
double DrawTone(Dice& dice, double darkShare) {
    double const dark = dice();
    return dark < darkShare ? dice.Between(0.02, 0.12) : dice.Between(0.82, 1.0);
}

/// A scratch from `begin` to `end` of the strip, as far as the frame that begins at `now` shows it.
struct Scratch {
    double begin, end;
    double x;  ///< all lengths in pixels
    double halfWidth;
    double waver;
    double opacity;
    double tone;
    double seed;
    std::uint32_t number;
};

void AddScratch(Damage& damage, Scratch const& scratch, double now) {
    double const top = std::max(scratch.begin - now, 0.0);
    double const bottom = std::min(scratch.end - now, 1.0);
    if (top >= bottom) {
        return;
    }
    constexpr int kSegments = 40;
    std::vector<LinePoint> points;
    for (int i = 0; i <= kSegments; ++i) {
        double const down = top + (bottom - top) * i / kSegments;
        double const at = now + down;
        auto const noise = [&](double rate, std::uint32_t which) {
            return SmoothNoise(at * rate, scratch.number, kWaver + which);
        };
        double const drift = 4.0 * noise(0.4, 0) + noise(3.0, 1) + 0.35 * noise(11.0, 2);
        double const pressure = 0.65 + 0.35 * noise(5.0, 3);
        constexpr double kTaper = 0.12;
        double const taper = std::clamp(std::min(at - scratch.begin, scratch.end - at) / kTaper, 0.0, 1.0);
        points.push_back({{scratch.x + scratch.waver * drift, (1.0 - down) * damage.GetSize().y},
                          scratch.halfWidth * (0.5 + 0.5 * pressure) * (0.4 + 0.6 * taper),
                          scratch.opacity * pressure * taper});
    }
    damage.AddLine(points, scratch.tone, scratch.seed);
}

void AddScratches(Damage& damage, std::uint32_t frame, double strength) {
    constexpr std::uint32_t kSlots = 11;  // each has at most one at a time
    constexpr std::uint32_t kLong = 4;    // run through many frames
    double const unit = damage.GetUnit();
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        bool const isLong = slot < kLong;
        std::uint32_t const life = isLong ? 40U + 17U * slot : 5U + 2U * slot;
        std::uint32_t const at = frame + 11U * slot;
        std::uint32_t const epoch = at / life;
        Dice dice(epoch, slot, kScratches);
        if (dice() > std::pow(strength, 0.7) * (isLong ? 0.95 : 0.75)) {
            continue;
        }
        Scratch scratch{};
        scratch.begin = dice.Between(0.0, 0.4 * life);
        scratch.end = scratch.begin + dice.Between(0.15, 0.6) * life;
        scratch.x = dice.Between(0.03, 0.97) * damage.GetSize().x;
        scratch.halfWidth = unit * (isLong ? dice.Between(0.00025, 0.0005) : dice.Between(0.0003, 0.0008));
        scratch.waver = unit * dice.Between(0.0006, 0.0022);
        scratch.opacity = (isLong ? dice.Between(0.35, 0.65) : dice.Between(0.5, 0.9)) * (0.7 + 0.3 * strength);
        scratch.tone = DrawTone(dice, 0.3);
        scratch.seed = dice();
        scratch.number = slot + 16U * epoch;
        double const now = at % life;  // the place of the picture's top
        AddScratch(damage, scratch, now);
        if (dice() < 0.4) {  // the same grain of sand often leaves two
            scratch.x += unit * dice.Between(0.0015, 0.005);
            scratch.halfWidth *= 0.7;
            scratch.begin += dice.Between(0.0, 0.5);
            scratch.end -= dice.Between(0.0, 0.5);
            AddScratch(damage, scratch, now);
        }
    }
}

/// A hair from `place` on, its heading turning as it goes.
void AddHair(Damage& damage, Dice& dice, glm::dvec2 place, double heading, double length, double halfWidth, double tone,
             double opacity) {
    constexpr int kSegments = 24;
    double const bend = dice.Between(-2.6, 2.6);
    double const curl = dice.Between(-2.2, 2.2);
    double const wave = dice.Between(3.0, 8.0);
    double const phase = dice.Between(0.0, 6.0);
    double const seed = dice();
    std::vector<LinePoint> points;
    for (int i = 0; i <= kSegments; ++i) {
        double const u = static_cast<double>(i) / kSegments;
        double const end = std::min({u / 0.15, (1.0 - u) / 0.25, 1.0});
        points.push_back({place, halfWidth * (0.35 + 0.65 * end), opacity * (0.5 + 0.5 * end)});
        double const angle = heading + bend * u + curl * std::sin(wave * u + phase);
        place += glm::dvec2(std::cos(angle), std::sin(angle)) * (length / kSegments);
    }
    damage.AddLine(points, tone, seed);
}

void AddDust(Damage& damage, std::uint32_t frame, double strength) {
    double const unit = damage.GetUnit();
    // Dirt comes in clouds.
    double const cloud = std::pow(1.0 + SmoothNoise(frame / 5.0, 0, kDirt), 2.0);
    Dice dice(frame, 0, kDirt + 1);
    auto const draw = [&dice](double mean) { return static_cast<std::uint32_t>(mean + dice()); };
    std::uint32_t const specks = draw(48.0 * std::pow(strength, 1.5) * (0.35 + 0.65 * cloud));
    std::uint32_t const hairs = draw(2.4 * std::pow(strength, 1.5) * (0.35 + 0.65 * cloud));
    std::uint32_t const fibres = draw(5.0 * std::pow(strength, 1.5) * (0.35 + 0.65 * cloud));
    std::uint32_t const stains = draw(0.5 * strength);
    for (std::uint32_t i = 0; i < specks; ++i) {
        Dice speck(frame, i, kSpecks);
        glm::dvec2 const place = DrawPlace(speck, damage);
        double const radius = std::min(0.0009 * std::pow(std::max(speck(), 1e-3), -0.7), 0.012) * unit;
        double const stretch = std::sqrt(speck.Between(1.0, 3.2));
        double const angle = speck.Between(0.0, std::numbers::pi);
        double const tone = DrawTone(speck, 0.65);
        double const opacity = speck.Between(0.55, 0.95);
        damage.AddSpeck(place, radius, stretch, angle, tone, opacity, speck());
        // Crumbs lie around what broke.
        constexpr double kBreaks = 0.003;
        int const crumbs = radius > kBreaks * unit ? static_cast<int>(speck.Between(0.0, 5.0)) : 0;
        for (int crumb = 0; crumb < crumbs; ++crumb) {
            double const heading = speck.Between(0.0, 2.0 * std::numbers::pi);
            glm::dvec2 const away = glm::dvec2(std::cos(heading), std::sin(heading)) * speck.Between(1.2, 3.0) * radius;
            double const size = speck.Between(0.1, 0.3) * radius;
            damage.AddSpeck(place + away, size, 1.0, 0.0, tone, opacity, speck());
        }
    }
    // Where a drop has dried.
    for (std::uint32_t i = 0; i < stains; ++i) {
        Dice stain(frame, i, kStains);
        glm::dvec2 const place = DrawPlace(stain, damage);
        double const radius = stain.Between(0.02, 0.05) * unit;
        double const angle = stain.Between(0.0, std::numbers::pi);
        double const tone = DrawTone(stain, 0.5);
        double const opacity = stain.Between(0.06, 0.16);
        damage.AddSpeck(place, radius, 1.2, angle, tone, opacity, stain());
    }
    for (std::uint32_t i = 0; i < fibres; ++i) {
        Dice fibre(frame, i, kFibres);
        glm::dvec2 const place = DrawPlace(fibre, damage);
        double const heading = fibre.Between(0.0, 2.0 * std::numbers::pi);
        double const length = fibre.Between(0.004, 0.014) * unit;
        double const halfWidth = fibre.Between(0.0003, 0.0006) * unit;
        double const tone = DrawTone(fibre, 0.6);
        AddHair(damage, fibre, place, heading, length, halfWidth, tone, fibre.Between(0.5, 0.9));
    }
    for (std::uint32_t i = 0; i < hairs; ++i) {
        Dice hair(frame, i, kHairs);
        glm::dvec2 const place = DrawPlace(hair, damage);
        double const heading = hair.Between(0.0, 2.0 * std::numbers::pi);
        double const length = hair.Between(0.015, 0.07) * unit;
        double const halfWidth = hair.Between(0.00035, 0.00065) * unit;
        double const tone = DrawTone(hair, 0.7);
        double const opacity = hair.Between(0.6, 0.9);
        AddHair(damage, hair, place, heading, length, halfWidth, tone, opacity);
    }
    // A hair caught in the gate: it stays in place, trembling, and does not move with the film.
    constexpr std::uint32_t kStay = 56;
    std::uint32_t const epoch = frame / kStay;
    Dice caught(epoch, 0, kGateHairs);
    double const stays = caught.Between(0.2, 0.9);
    if (caught() < 0.7 * strength && frame % kStay < stays * kStay) {
        bool const isAtTop = caught() < 0.6;
        glm::dvec2 const place(caught.Between(0.08, 0.92) * damage.GetSize().x, isAtTop ? damage.GetSize().y : 0.0);
        double const trembling = 0.12 * SmoothNoise(frame * 0.9, epoch, kGateHairs + 64);
        double const heading = (isAtTop ? -0.5 : 0.5) * std::numbers::pi + caught.Between(-0.7, 0.7) + trembling;
        double const length = caught.Between(0.03, 0.08) * unit;
        AddHair(damage, caught, place, heading, length, 0.0008 * unit, 0.03, 0.9);
    }
}

}  // namespace

class EffectRetroArtefacts final : public EffectWithSettings<Proc::SettingsEffectRetroArtefacts> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        std::uint32_t const frame = GetFilmFrame(time, settings.rate);
        bool const isExposed = settings.flicker > 0.0 || settings.weave > 0.0 || settings.vignette > 0.0 ||
                               settings.grain > 0.0 || settings.fade > 0.0;
        if (isExposed) {
            Expose(*dst, src->FrameData().ConvertToRGBA(storage), frame, storage);
        } else {
            DrawUnchanged(*dst, *src, storage);
        }
        Frame const target = dst->FrameData();
        Damage damage(target.GetWidth(), target.GetHeight());
        if (settings.scratches > 0.0) {
            AddScratches(damage, frame, settings.scratches);
        }
        if (settings.dust > 0.0) {
            AddDust(damage, frame, settings.dust);
        }
        if (!damage.GetMesh().indices.empty()) {
            LayOver(*dst, damage.GetMesh(), storage);
        }
    }

private:
    void Expose(DataVideoOGL& dst, Frame const& picture, std::uint32_t frame, ShaderStorage const& storage) const {
        Dice dice(frame, 0, kFlicker);
        double const brightness =
            0.11 * SmoothNoise(frame * 0.37, 0, kFlicker + 8) + 0.07 * dice.Between(-1.0, 1.0) - 0.03;
        double const exposure = std::exp(settings.flicker * brightness);
        double const unevenness = settings.flicker * 0.05 * SmoothNoise(frame * 0.6, 1, kFlicker + 8);

        // The film's position in the gate drifts slowly; each frame also jumps a little, mostly along the strip. The
        // picture is enlarged by the greatest possible shift.
        constexpr glm::dvec2 kSlow(0.0022, 0.0022);
        constexpr glm::dvec2 kQuick(0.0008, 0.0020);
        glm::dvec2 const most = (kSlow + kQuick) * settings.weave *
                                static_cast<double>(std::max(picture.GetWidth(), picture.GetHeight())) /
                                glm::dvec2(picture.GetWidth(), picture.GetHeight());
        auto const sway = [frame](std::uint32_t axis, double rate) { return SmoothNoise(frame * rate, axis, kWeave); };
        glm::dvec2 const place =
            (kSlow * glm::dvec2(sway(0, 0.13), sway(1, 0.17)) + kQuick * glm::dvec2(sway(2, 0.71), sway(3, 0.83))) /
            (kSlow + kQuick);
        double const factor = std::max(1.0 - 2.0 * std::max(most.x, most.y), 0.0);
        glm::dvec2 const offset = glm::dvec2(0.5 * (1.0 - factor)) + most * place;

        constexpr double kGrainSize = 0.0018;
        constexpr double kMostGrain = 0.16;
        constexpr double kMostVignette = 0.8;
        Premultiplied const source(picture, storage);
        bool const isFaded = settings.fade > 0.0;
        Pass pass(storage, isFaded ? "EffectRetroArtefacts_faded" : "EffectRetroArtefacts",
                  {kGlslVersion, kNoiseSizeGlsl, isFaded ? "#define FADED\n" : "", kGreyFilmGrain, kFilmGrain,
                   kExposure});
        if (isFaded) {
            // Densities of the dyes, of which cyan, that holds back red, is the least stable.
            auto const fade = static_cast<float>(settings.fade);
            pass.Set("dyes", glm::vec3(1.0F) - fade * glm::vec3(0.5F, 0.12F, 0.3F))
                .Set("base", glm::vec3(1.0F) - fade * glm::vec3(0.02F, 0.07F, 0.2F));
        }
        SetFilmGrain(pass, storage, 1, picture, kGrainSize, frame, true);
        pass.Texture("tex", 0, source.Get(), settings.weave > 0.0 ? TextureFilter::Linear : TextureFilter::Nearest)
            .Set("gate", glm::vec4(factor, factor, offset.x, offset.y))
            .Set("exposure", glm::vec2(exposure, unevenness))
            .Set("vignette", settings.vignette * kMostVignette)
            .Set("grain", settings.grain * kMostGrain)
            .DrawTo(dst);
    }

    static void LayOver(DataVideoOGL& target, PackedMesh<DamageVertex> const& damage, ShaderStorage const& storage) {
        EnableState const blend(GL_BLEND);
        glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ZERO, GL_ONE);
        Pass(storage, "EffectRetroArtefacts_damage", kDamageVertex, {kGlslVersion, kNoiseSizeGlsl, kDamage},
             DamageVertex::kLayout)
            .Texture("noise", 0, storage.Noise())
            .DrawTo(target, AttributeMesh(damage, GL_STREAM_DRAW));
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectRetroArtefacts>();

}  // namespace Kaltor::Ogl
