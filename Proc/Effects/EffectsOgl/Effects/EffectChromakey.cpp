// Makes a key colour transparent. The distance from the key in the plane of chroma (Cb, Cr after ITU-R BT.709) decides,
// so that shadows and folds of the screen become transparent as well: up to `tolerance` a pixel is transparent, from
// `tolerance` + `softness` on it stays.
//
// A pixel of the soft edge is a mix of the key and the foreground. The foreground is mostly nearer to grey than to the
// key, so the part of its chroma in the key's direction shows how much of the key is in the pixel. That much of the key
// is removed, chroma and luma, so that no fringe is left. From opaque pixels `spill` times that much of the key's
// chroma is removed: the screen's reflection loses its colour and keeps its luma. Alpha is multiplied.

#include <algorithm>

#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec3 key;
uniform vec2 key_chroma;
uniform float key_luma;
uniform float lean;         // 1 / (key_chroma * key_chroma), 0 for a grey key
uniform float tolerance;
uniform float slope;        // 1 / softness
uniform float spill;
varying vec2 TexCoord0;
const vec3 kLuma = vec3(0.2126, 0.7152, 0.0722);
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float luma = dot(origin.rgb, kLuma);
    vec2 chroma = (origin.br - vec2(luma)) / vec2(1.8556, 1.5748);
    float stays = clamp((length(chroma - key_chroma) - tolerance) * slope, 0.0, 1.0);
    stays *= stays * (3.0 - 2.0 * stays);
    float share = clamp(dot(chroma, key_chroma) * lean, 0.0, 1.0);
    vec3 clean = origin.rgb - (key - vec3(key_luma)) * (share * mix(1.0, spill, stays));
    float mixed = min((1.0 - stays) * share, 0.9);
    clean += vec3((luma - key_luma) * mixed / (1.0 - mixed));
    gl_FragColor = vec4(clean, origin.a * stays);
}
)glsl";

}  // namespace

class EffectChromakey final : public EffectWithSettings<Proc::SettingsEffectChromakey> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        constexpr double kByte = 255.0;
        constexpr double kLeastSoftness = 1e-4;  // less than a step of 8-bit chroma
        constexpr double kLeastChroma = 1e-4;
        Proc::Color const& color = settings.color;
        glm::dvec3 const key(color.red / kByte, color.green / kByte, color.blue / kByte);
        double const luma = 0.2126 * key.r + 0.7152 * key.g + 0.0722 * key.b;
        glm::dvec2 const chroma((key.b - luma) / 1.8556, (key.r - luma) / 1.5748);
        double const square = glm::dot(chroma, chroma);
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectChromakey", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("key", glm::vec3(key))
            .Set("key_chroma", glm::vec2(chroma))
            .Set("key_luma", luma)
            .Set("lean", square > kLeastChroma ? 1.0 / square : 0.0)
            .Set("tolerance", settings.tolerance)
            .Set("slope", 1.0 / std::max(settings.softness, kLeastSoftness))
            .Set("spill", settings.spill)
            .DrawTo(*dst);
    }

    PixFmt GetOutputFormat(PixFmt srcFormat) const override { return AlphaFormat(srcFormat); }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectChromakey>();

}  // namespace Kaltor::Ogl
