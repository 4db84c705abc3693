#pragma once

#include "Apps/Kaltor/CommandLine.h"

namespace Kaltor::Cli {

// Each adds one verb.
void AddList(CommandLine& commandLine);
void AddDescribe(CommandLine& commandLine);
void AddApply(CommandLine& commandLine);
void AddStrip(CommandLine& commandLine);
void AddRender(CommandLine& commandLine);
void AddCheck(CommandLine& commandLine);
void AddFarm(CommandLine& commandLine);
void AddConvert(CommandLine& commandLine);
void AddStudio(CommandLine& commandLine);
void AddGallery(CommandLine& commandLine);
void AddBench(CommandLine& commandLine);
void AddDoctor(CommandLine& commandLine);

}  // namespace Kaltor::Cli
