#include "Proc/Effects/EffectsOgl/Transitions/SpaceScene.h"

#include "Proc/Effects/EffectsOgl/Blend.h"
#include "Proc/Effects/EffectsOgl/Pass.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kDivide[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    vec4 color = texture2D(tex, TexCoord0);
    gl_FragColor = color.a < 0.5 / 255.0 ? vec4(0.0) : vec4(color.rgb / color.a, color.a);
}
)glsl";

}  // namespace

// The gloss is kept away from what faces the viewer, so that nothing changes where a turn begins or ends.
char const* const kShineFunction = R"glsl(
vec2 shine(vec3 normal, vec3 toEye) {
    const vec3 lamp = vec3(-0.27216553, 0.54433105, 0.79349205);
    float light = 0.4 + 0.6 * max(dot(normal, lamp), 0.0) / lamp.z;
    float gloss = pow(max(dot(normal, normalize(lamp + toEye)), 0.0), 28.0);
    float turned = 1.0 - normal.z * normal.z;
    return vec2(min(light, 1.15), 0.4 * gloss * min(6.0 * turned, 1.0));
}
)glsl";

char const* const kStretchFunctions = R"glsl(
uniform vec2 picture_size;
vec2 stretch(vec2 coord) {
    vec2 across = dFdx(coord);
    vec2 up = dFdy(coord);
    float across_texels = length(across * picture_size);
    float up_texels = length(up * picture_size);
    vec2 longest = across_texels > up_texels ? across : up;
    float texels = max(across_texels, up_texels);
    return longest * clamp(1.0 - 1.0 / max(texels, 1.0), 0.0, 16.0 / max(texels, 1.0));
}
vec4 filtered(sampler2D tex, vec2 coord, vec2 reach) {
    return 0.25 * (texture2D(tex, coord - 0.375 * reach) + texture2D(tex, coord - 0.125 * reach) +
                   texture2D(tex, coord + 0.125 * reach) + texture2D(tex, coord + 0.375 * reach));
}
)glsl";

SpaceScene::SpaceScene(DataVideoOGL& output, DataVideoOGL& first, DataVideoOGL& second,
                       ShaderStorage const& shaderStorage)
    : dst(output),
      storage(shaderStorage),
      outgoing(first.FrameData().ConvertToRGBA(storage), storage),
      incoming(second.FrameData().ConvertToRGBA(storage), storage) {
    TextureForm const& form = dst.FrameData().GetFirstTexture().GetForm();
    if (dst.FrameData().GetFirstTexture().IsOpaque()) {
        AttachTarget(dst, storage);
    } else {
        layers.emplace(TextureForm{form.width, form.height, TexelFormat::Rgba16, false});
        storage.FBO().Attach(layers->Get());
    }
    blend.emplace(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
}

void SpaceScene::UsePictures(Shader const& shader) const {
    shader.Uniform("tex1", 0);
    shader.Uniform("tex2", 1);
    TextureForm const& form = GetOutgoing().GetForm();
    shader.Uniform("picture_size", static_cast<float>(form.width), static_cast<float>(form.height));
    GetOutgoing().Use(0);
    GetIncoming().Use(1);
}

void SpaceScene::DrawFlat(Texture const& picture, glm::vec2 const& from, glm::vec2 const& to) const {
    glm::vec2 const low = 2.0F * from - 1.0F;
    glm::vec2 const high = 2.0F * to - 1.0F;
    Quad part(GL_STREAM_DRAW);
    part.SetCorners({from.x, from.y, low.x, low.y, to.x, from.y, high.x, low.y,  //
                     to.x, to.y, high.x, high.y, from.x, to.y, low.x, high.y});
    storage.Copy().Use();
    storage.Copy().Uniform("tex", 0);
    picture.Use(0, TextureFilter::Nearest);
    part.Activate();
    part.Draw();
}

void SpaceScene::Finish() {
    blend.reset();
    if (layers) {
        Pass(storage, "SpaceScene", kDivide).Texture("tex", 0, layers->Get(), TextureFilter::Nearest).DrawTo(dst);
    }
}

}  // namespace Kaltor::Ogl
