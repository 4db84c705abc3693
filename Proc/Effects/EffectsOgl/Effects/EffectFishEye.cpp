// A wide-angle lens: the distance from the centre, in texture coordinates, is remapped by an exponential (`sign` above
// 0: the centre expands) or by its inverse, a logarithm (the centre is compressed). Points outside the picture show its
// edge.

#include <cmath>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex0;
uniform float opt;
uniform float signdist;
uniform float dist;
varying vec2 TexCoord0;
void main() {
    vec2 point = TexCoord0 - vec2(0.5);
    float radius = length(point);
    float r = signdist > 0.0 ? (exp2(radius / opt) - 1.0) / dist : opt * log2(1.0 + dist * radius);
    // The very centre stays where it is; the guard spares it 0/0.
    gl_FragColor = texture2D(tex0, r / max(radius, 1.0e-9) * point + vec2(0.5));
}
)glsl";

}  // namespace

class EffectFishEye final : public EffectWithSettings<Proc::SettingsEffectFishEye> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        // With sign <= 0 a point at the reference radius D shows the source at D / scale^2.
        double const a = settings.scale;
        double const dist = settings.strength;
        double const radius = settings.referenceRadius;
        double const opt = radius / (std::log(1.0 + dist * radius) / std::log(2.0) * a * a);
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectFishEye", kFragment)
            .Texture("tex0", 0, picture)
            .Set("opt", opt)
            .Set("signdist", settings.sign)
            .Set("dist", dist)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFishEye>();

}  // namespace Kaltor::Ogl
