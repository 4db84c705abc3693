#pragma once

#include <string>

namespace Kaltor::Tests {

/// A shader file's effect with three loops in one another, the outer one of so many turns: as good as endless unless
/// they are 0. Software GL ends each loop after some 65,000 turns: many pixels make that long enough. The uniform keeps
/// compilers from working it out.
inline std::string MakeEndlessShader(std::string const& turns = "2000000000") {
    return "uniform float grow; // = 1.0\nvec4 effect(vec2 uv) {\n  float sum = 0.0;\n  for (int i = 0; i < " + turns +
           "; ++i) for (int j = 0; j < 2000000000; ++j) for (int k = 0; k < 2000000000; ++k)\n"
           "    sum += grow * sin(sum + uv.x);\n  return vec4(sum);\n}\n";
}

}  // namespace Kaltor::Tests
