#pragma once

#include <filesystem>
#include <vector>

namespace Kaltor::Host {

/// The environment variable with folders of shader files, separated by colons. They come before all others.
constexpr char const* kShaderPathVariable = "KALTOR_SHADER_PATH";

/// The folders whose shader files are known by their names, the first ones first: those of `KALTOR_SHADER_PATH`, the
/// user's ($XDG_DATA_HOME/kaltor/shaders), and that of the installation. Those that exist.
std::vector<std::filesystem::path> FindShaderFolders();

/// The shader files in a folder, sorted by name; none where it cannot be read.
std::vector<std::filesystem::path> ListShaderFiles(std::filesystem::path const& folder);

}  // namespace Kaltor::Host
