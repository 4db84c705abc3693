#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Kaltor::Cli {

/// A program that loads our effects through frei0r, as far as can be known without running it.
struct DoorHost {
    std::string name;              ///< "FFmpeg", "MLT", "GStreamer"
    bool isInstalled;              ///< its command is on the path
    std::filesystem::path folder;  ///< the first of those in which it looks that has our plug-ins; "" where none has
};

/// Our plug-ins for other programs.
struct Doors {
    std::filesystem::path folder;  ///< "" where none are installed
    std::size_t count;
    std::vector<DoorHost> hosts;
};

/// Looks for them beside the plug-in with the effects, then where hosts look.
Doors FindDoors();

}  // namespace Kaltor::Cli
