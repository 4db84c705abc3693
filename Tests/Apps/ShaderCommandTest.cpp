// Shader files in the command: found by path and by name, in edits, watched, stopped; and those that are installed.
#include <chrono>
#include <csignal>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Apps/Kaltor/Catalog.h"
#include "CommandTest.h"
#include "Host/PictureEffect.h"
#include "Host/ShaderFolders.h"
#include "Tests/Support/EndlessShader.h"

namespace Kaltor {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Tests::IsNear;
using Tests::Picture;

class ShaderCommandTest : public Tests::CommandTest {
protected:
    void Write(std::string const& name, std::string const& text) const {
        fs::create_directories(fs::path(In(name)).parent_path());
        std::ofstream(In(name)) << text;
    }
    /// An effect of one colour.
    void WriteFlat(std::string const& name, std::string const& color) const {
        Write(name,
              "uniform float gain; // = 1.0\nvec4 effect(vec2 uv) { return vec4(gain * vec3(" + color + "), 1.0); }\n");
    }
    void ExpectFlat(std::string const& name, Tests::Rgba const& color) const {
        Picture const picture = Read(name);
        EXPECT_TRUE(IsNear(picture, Picture::Flat(picture.width, picture.height, color), Tests::kUnfiltered)) << name;
    }
};

TEST_F(ShaderCommandTest, NamesAreFoundInTheirOrder) {
    WriteFlat("red.glsl", "1.0, 0.0, 0.0");
    WriteFlat("folder/red.glsl", "0.0, 0.0, 1.0");
    WriteFlat("folder/cube.glsl", "0.0, 1.0, 0.0");
    WriteFlat("later/red.glsl", "0.5");
    Write("folder/broken.glsl", "void f() {}\n");
    std::string const path = "KALTOR_SHADER_PATH=folder:nowhere::later";
    EXPECT_EQ(Run("apply red.glsl a.png -o file.png --set gain=0.6", path).status, 0);
    EXPECT_EQ(Run("apply red a.png -o name.png", path).status, 0);
    EXPECT_EQ(Run("apply cube.glsl a.png -o ending.png", path).status, 0);
    ExpectFlat("file.png", {0.6, 0, 0, 1});
    ExpectFlat("name.png", {0, 0, 1, 1});
    ExpectFlat("ending.png", {0, 1, 0, 1});
    EXPECT_THAT(Run("describe cube", path).out, HasSubstr("TransitionCube"));
    EXPECT_THAT(Run("describe red", path).out, AllOf(HasSubstr("folder/red.glsl"), HasSubstr("gain")));
    EXPECT_THAT(Run("doctor", path).out, HasSubstr("broken.glsl: the function is missing"));
    EXPECT_THAT(Run("list --names", path).out,
                AllOf(HasSubstr("\nred\n"), HasSubstr("\ncube.glsl\n"), Not(HasSubstr("broken"))));
    EXPECT_THAT(Run("list red.glsl folder/cube.glsl", path).out,
                AllOf(testing::StartsWith("red.glsl "), HasSubstr("\nfolder/cube.glsl "), Not(HasSubstr("blur"))));

    EXPECT_THAT(Fail("apply missing.glsl a.png -o out.png", 2), HasSubstr("it is no file here"));
    EXPECT_THAT(Fail("apply ./missing.glsl a.png -o out.png", 2), HasSubstr("./missing.glsl: cannot be read"));
    EXPECT_THAT(Fail("render a.png b.png -o out.mp4 --transition red.glsl", 2), HasSubstr("red.glsl is an effect"));
    EXPECT_THAT(Fail("apply LumaMap a.png b.png -o out.png", 2), HasSubstr("--set map=PICTURE.png"));
    EXPECT_THAT(Fail("apply Invert a.png -o out.png --watch", 2), HasSubstr("--watch"));
}

TEST_F(ShaderCommandTest, EditsNameFilesOfTheirOwnFolder) {
    WriteFlat("outside.glsl", "1.0, 0.0, 0.0");
    WriteFlat("edit/inside.glsl", "0.0, 1.0, 0.0");
    Write("edit/map.glsl", "uniform sampler2D map;\nvec4 effect(vec2 uv) { return texture2D(map, uv); }\n");
    fs::copy(In("b.png"), In("edit/b.png"));
    auto const edit = [this](std::string const& effect) {
        Write("edit/edit.json", R"({"version": 1, "output": {"size": "16x8", "fps": 1}, "clips": [{"color": "#000000",
            "duration": 2, "effects": [{"effect": )" +
                                    effect + "}]}]}");
    };
    edit(R"("inside.glsl", "gain": {"from": 0, "to": 1})");
    Succeed("render edit/edit.json -o frame.png --frame 1");
    ExpectFlat("frame.png", {0, 0.5, 0, 1});
    Succeed("convert edit/edit.json edit/copy.json");
    EXPECT_THAT(Tests::ReadAll(In("edit/copy.json")), HasSubstr("\"effect\": \"inside.glsl\""));
    edit(R"("map.glsl", "map": "b.png")");
    Succeed("check edit/edit.json");
    Succeed("convert edit/edit.json edit/copy2.json");
    EXPECT_THAT(Tests::ReadAll(In("edit/copy2.json")), HasSubstr("\"map\": \"b.png\""));
    for (char const* const effect : {R"("../outside.glsl")", R"("map.glsl", "map": "../a.png")"}) {
        edit(effect);
        EXPECT_THAT(Fail("check edit/edit.json", 2), HasSubstr("--trust allows it"));
        Succeed("check edit/edit.json --trust");
    }
    edit(R"("inside.glsl", "gain": "much")");
    EXPECT_THAT(Fail("check edit/edit.json", 2), HasSubstr("effects/0/gain"));
}

TEST_F(ShaderCommandTest, LoopsWithoutAnEndAreStopped) {
    Write("endless.glsl", Tests::MakeEndlessShader());
    Succeed("apply Resizer a.png -o large.png --set width=512 --set height=288");
    EXPECT_THAT(Fail("apply endless.glsl large.png -o out.png", 1, "KALTOR_SHADER_SECONDS=0.2"),
                AllOf(HasSubstr("endless.glsl"), HasSubstr("0.2 seconds")));
    for (char const* const output : {"out.mkv", "out%02d.png"}) {
        EXPECT_THAT(Fail(fmt::format("render large.png@-1 -o {} --effect endless.glsl", output), 1,
                         "KALTOR_SHADER_SECONDS=0.2"),
                    HasSubstr("0.2 seconds"));
    }
    EXPECT_THAT(Fail("apply endless.glsl a.png -o out.png", 2, "KALTOR_SHADER_SECONDS=soon"), HasSubstr("soon"));
}

TEST_F(ShaderCommandTest, WatchedFilesAreDrawnAgain) {
    WriteFlat("live.glsl", "1.0, 0.0, 0.0");
    fs::path const log = folder / "log" / "watch";
    std::string const command = fmt::format("cd '{}' && exec '{}' apply live.glsl a.png -o live.png --watch 2> '{}'",
                                            (folder / "work").string(), KALTOR_COMMAND, log.string());
    Tests::Child process({"/bin/sh", "-c", command});
    auto const waitFor = [&](std::size_t lines) {
        auto const areThere = [&] {
            std::string const text = Tests::ReadAll(log);
            return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) >= lines;
        };
        return Tests::WaitUntil([&] { return areThere() || process.HasEnded(); }) && areThere();
    };
    EXPECT_TRUE(waitFor(1));
    ExpectFlat("live.png", {1, 0, 0, 1});
    Write("live.glsl", "vec4 effect(vec2 uv) {\n  return nothing;\n}\n");
    EXPECT_TRUE(waitFor(2));
    WriteFlat("next.glsl", "0.0, 0.0, 1.0");
    fs::rename(In("next.glsl"), In("live.glsl"));  // as editors save
    EXPECT_TRUE(waitFor(3));
    ExpectFlat("live.png", {0, 0, 1, 1});
    process.Send(SIGINT);
    int const status = process.Wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_THAT(Tests::ReadAll(log), HasSubstr("live.glsl:2: "));
}

TEST(InstalledShaderFiles, BeginAndEndExactlyAndCanBeDescribed) {
    Cli::Catalog const catalog = Cli::LoadCatalog();
    EXPECT_THAT(catalog.GetFaults(), testing::IsEmpty());
    fs::path const folder = fs::path(KALTOR_SOURCE_DIR) / "share" / "kaltor" / "shaders";
    std::vector<fs::path> const files = Host::ListShaderFiles(folder);
    EXPECT_GE(files.size(), 12U);
    Picture const first = Picture::Corners(64, 36);
    Picture const second = Picture::Noise(64, 36);
    for (fs::path const& path : files) {
        SCOPED_TRACE(path);
        Host::CatalogEntry const& entry = catalog.Find(path);
        EXPECT_THAT(std::string(entry.defaults->GetSummary()), Not(HasSubstr("shader file")));
        std::unique_ptr<Proc::Settings> const settings = Host::MakeSettings(entry, {});
        for (Proc::Field const& field : settings->GetFields()) {
            EXPECT_THAT(std::string(field.help), Not(HasSubstr("the file's"))) << field.key;
            bool const needsRange = field.type != Proc::FieldType::Flag && field.type != Proc::FieldType::Color &&
                                    field.type != Proc::FieldType::File;
            EXPECT_EQ(field.HasRange(), needsRange) << field.key;
            if (field.type == Proc::FieldType::File) {
                settings->Set(field.key, (fs::path(KALTOR_SOURCE_DIR) / "docs" / "pictures" / "Roll.png").string());
            }
        }
        Host::PictureEffect effect(*catalog.GetFactory(), entry.name, entry.isTwoInput, *settings);
        auto const draw = [&](double progress) {
            effect.SetProgress(progress);
            std::vector<Host::Picture> inputs{first.ToFrame()};
            if (entry.isTwoInput) {
                inputs.push_back(second.ToFrame());
            }
            return Picture::FromFrame(*effect.Run(inputs, 0));
        };
        EXPECT_FALSE(IsNear(draw(0.5), first, Tests::kUnfiltered));
        if (entry.isTwoInput) {
            EXPECT_TRUE(IsNear(draw(0.0), first, Tests::kUnfiltered));
            EXPECT_TRUE(IsNear(draw(1.0), second, Tests::kUnfiltered));
        }
    }
}

}  // namespace
}  // namespace Kaltor
