// What may lie in a folder for plug-ins without being one: each is one report, and none is waited for.
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "Host/OtherPlugins.h"

namespace Kaltor::Host {
namespace {

namespace fs = std::filesystem;

TEST(PluginFolders, HoldThingsThatAreNoFiles) {
    fs::path const folder = fs::path(testing::TempDir()) / fmt::format("plugin-faults-{}", getpid());
    fs::create_directories(folder / "folder.so");
    ASSERT_EQ(mkfifo((folder / "pipe.so").c_str(), 0600), 0);
    fs::create_symlink("loop.so", folder / "loop.so");
    fs::create_symlink("gone", folder / "nowhere.so");
    fs::create_symlink("/dev/zero", folder / "device.so");
    std::ofstream(folder / "empty.so");
    fs::create_symlink("empty.so", folder / "twice.so");  // the same file: no second report
    EffectRegistry registry;
    alarm(300);  // ends the test where the pipe is opened
    std::vector<PluginReport> const reports = LoadOtherPlugins(registry, {folder, folder / "missing", folder});
    alarm(0);
    std::vector<std::string> said;
    for (PluginReport const& report : reports) {
        said.push_back(report.file.filename().string() + ": " + report.fault);
        EXPECT_EQ(report.effects, 0U);
    }
    using testing::ContainsRegex;
    EXPECT_THAT(said, testing::IsSupersetOf(
                          {ContainsRegex("^device.so: .*is no file"), ContainsRegex("^empty.so: .*too short"),
                           ContainsRegex("^folder.so: .*is no file"), ContainsRegex("^loop.so: .*links"),
                           ContainsRegex("^nowhere.so: .*not exist"), ContainsRegex("^pipe.so: .*is no file")}));
    EXPECT_TRUE(registry.List().empty());
    fs::remove_all(folder);
}

}  // namespace
}  // namespace Kaltor::Host
