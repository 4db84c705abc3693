#pragma once

#include <string>
#include <vector>

#include "Proc/Effects/ShaderFiles/ShaderFile.h"
#include "Proc/Effects/ShaderFiles/ShaderScanner.h"

namespace Kaltor::Proc {

/// Whether "vec4 NAME(...) {" stands outside of braces.
bool DefinesFunction(std::vector<ShaderToken> const& tokens, std::string_view name);

/// Reads the comments that ask for further pictures, in their order:
///
///     // pass: NAME scale=0.5
///     // blurred: NAME of=SOURCE radius=0.05
///
/// What only looks like one, because it goes on with words, is a remark. Throws `std::invalid_argument` with the file's
/// name and the line where one asks for something that there is not. Most files have none.
std::vector<ShaderPass> ReadPasses(std::string const& file, std::vector<ShaderToken> const& tokens, bool isTransition,
                                   std::vector<ShaderUniform> const& uniforms);

}  // namespace Kaltor::Proc
