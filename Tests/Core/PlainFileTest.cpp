// Files that others may put anything in the place of.
#include <filesystem>
#include <fstream>
#include <optional>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Core/PlainFile.h"
#include "Tests/Support/TemporaryFolder.h"

namespace Kaltor::Core {
namespace {

namespace fs = std::filesystem;
using Kind = FileFault::Kind;

TEST(PlainFile, ReadsWhatIsOneAndSaysWhyNot) {
    Kaltor::Tests::TemporaryFolder const temporary;
    fs::path const& folder = temporary.Get();
    std::string const content(200'000, 'x');
    std::ofstream(folder / "file") << content;
    std::ofstream(folder / "empty");
    fs::create_symlink("file", folder / "link");
    fs::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    auto const faultOf = [&](fs::path const& path, std::size_t most) -> std::optional<Kind> {
        try {
            ReadPlainFile(path.string(), most);
            return std::nullopt;
        } catch (FileFault const& fault) {
            return fault.GetKind();
        }
    };
    EXPECT_EQ(ReadPlainFile((folder / "file").string(), content.size()), content);
    EXPECT_EQ(ReadPlainFile((folder / "link").string(), 1'000'000), content);
    EXPECT_EQ(ReadPlainFile((folder / "empty").string(), 0), "");
    EXPECT_EQ(faultOf(folder / "file", content.size() - 1), Kind::TooLarge);
    EXPECT_EQ(faultOf(folder / "folder", 9), Kind::NotPlain);
    EXPECT_EQ(faultOf(folder / "pipe", 9), Kind::NotPlain) << "nobody writes to it";
    EXPECT_EQ(faultOf("/dev/zero", 9), Kind::NotPlain);
    EXPECT_EQ(faultOf(folder / "none", 9), Kind::Missing);
    EXPECT_EQ(faultOf(folder / "file" / "none", 9), Kind::Missing);
    EXPECT_EQ(faultOf(folder / std::string(300, 'n'), 9), Kind::System);
}

}  // namespace
}  // namespace Kaltor::Core
