#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Proc/Effects/ShaderFiles/ShaderFile.h"
#include "Proc/Effects/ShaderFiles/ShaderScanner.h"

namespace Kaltor::Proc {

/// Whether the program that plays a file sets the uniform of this name, so that it needs no default.
bool IsGivenUniform(std::string_view name, bool isTransition);

/// Reads the declaration of uniforms whose word "uniform" is at `at`, with the comments on its last line, and appends
/// them; `at` ends behind it. Throws `std::invalid_argument` with the file's name and the line.
void ReadUniforms(std::string const& file, std::vector<ShaderToken> const& tokens, std::size_t& at, bool isTransition,
                  std::vector<ShaderUniform>& uniforms);

}  // namespace Kaltor::Proc
