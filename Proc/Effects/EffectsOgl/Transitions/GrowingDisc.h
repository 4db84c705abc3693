#pragma once

#include <string_view>

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Pass.h"

namespace Kaltor::Ogl {

/// The beginning of programs for a disc that grows around a point until it covers everything: `tex_bot` is the picture
/// in the disc, `tex_top` the one around it, `lens` how far outside of the disc the pixel lies.
constexpr char kGrowingDisc[] = R"glsl(#version 120
uniform sampler2D tex_top;
uniform sampler2D tex_bot;
uniform vec2 v_src;   // the point
uniform vec2 aspect;  // of texture coordinates to lengths
uniform float t;
uniform float biggest_side;
varying vec2 TexCoord0;
void main() {
    float lens = distance(TexCoord0 * aspect, v_src * aspect) - t * biggest_side;
)glsl";

/// A pass with such a program; `main` is the rest of its text.
inline Pass MakeGrowingDisc(ShaderStorage const& storage, std::string_view name, char const* main,
                            Frame const& outgoing, Frame const& incoming, glm::vec2 const& point, double progress) {
    return Pass(storage, name, {kGrowingDisc, main})
        .Texture("tex_top", 0, outgoing)
        .Texture("tex_bot", 1, incoming, TextureFilter::Nearest)
        .Set("v_src", point)
        .Set("aspect", GetTexelAspect(outgoing))
        .Set("t", progress)
        .Set("biggest_side", glm::length(glm::max(glm::vec2(1.0F) - point, point)));
}

}  // namespace Kaltor::Ogl
