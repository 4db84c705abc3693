#pragma once

#include <span>
#include <string_view>
#include <utility>

/// The files of the studio's page, by their names, built into the program.
namespace Kaltor::Cli::Assets {

extern std::span<std::pair<std::string_view, std::string_view> const> const kStudioPage;

}  // namespace Kaltor::Cli::Assets
