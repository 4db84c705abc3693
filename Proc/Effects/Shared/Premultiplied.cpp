#include "Proc/Effects/Shared/Premultiplied.h"

#include "Proc/Effects/Shared/Pass.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    vec4 color = texture2D(tex, TexCoord0);
    gl_FragColor = vec4(color.rgb * color.a, color.a);
}
)glsl";

}  // namespace

Premultiplied::Premultiplied(Texture const& picture, ShaderStorage const& storage) : straight(&picture) {
    if (picture.IsOpaque()) {
        return;
    }
    multiplied.emplace(TextureForm{picture.GetForm().width, picture.GetForm().height,
                                   FinerWithAlpha(picture.GetForm().format), false});
    Pass(storage, "Premultiply", kFragment)
        .Texture("tex", 0, picture, TextureFilter::Nearest)
        .DrawTo(multiplied->Get());
}

}  // namespace Kaltor::Ogl
