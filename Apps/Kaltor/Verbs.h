#pragma once

#include <functional>

#include <CLI/CLI.hpp>

namespace Kaltor::Cli {

/// What the typed verb does once the whole command line is read; gives the exit status.
using Action = std::function<int()>;

// Each adds one verb, which sets `action` when it is typed.
void AddList(CLI::App& app, Action& action);
void AddDescribe(CLI::App& app, Action& action);
void AddApply(CLI::App& app, Action& action);
void AddStrip(CLI::App& app, Action& action);
void AddRender(CLI::App& app, Action& action);
void AddGallery(CLI::App& app, Action& action);
void AddBench(CLI::App& app, Action& action);
void AddDoctor(CLI::App& app, Action& action);

}  // namespace Kaltor::Cli
