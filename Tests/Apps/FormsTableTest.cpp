// The table of docs/formats.md, cell by cell: what is written is decoded by ffmpeg, what is read was made by it.
#include <fstream>
#include <set>

#include <boost/algorithm/string.hpp>
#include <gmock/gmock.h>

#include "CommandTest.h"

namespace Kaltor {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

/// How a row of the table is tried.
struct Form {
    char const* row;     ///< its first cell
    char const* out;     ///< the output's name, with the options that choose it
    char const* in;      ///< ffmpeg's options for a sample that is read
    char const* decode;  ///< ffmpeg's options for reading it
};

constexpr Form kForms[]{
    {"H.264 (`libx264`)", "out.mp4 --codec libx264 --crf 1", "-pix_fmt yuv420p -crf 1 in.mp4", ""},
    {"HEVC (`libx265`)", "out.mp4 --codec libx265 --crf 1",
     "-pix_fmt yuv420p -c:v libx265 -x265-params log-level=none:crf=4 in.mp4", ""},
    {"AV1 (`libsvtav1`)", "out.mkv --codec libsvtav1 --preset 10", "-pix_fmt yuv420p -c:v libsvtav1 -preset 10 in.mkv",
     ""},
    {"AV1 (`libaom-av1`)", "out.mkv --codec libaom-av1 --preset 8 --crf 4",
     "-pix_fmt yuv420p -c:v libaom-av1 -cpu-used 8 -crf 4 in.mkv", ""},
    {"VP9 in `.webm`, `.mkv` (`libvpx-vp9`)", "out.webm --codec libvpx-vp9 --crf 4",
     "-pix_fmt yuva420p -c:v libvpx-vp9 -auto-alt-ref 0 -crf 4 -b:v 0 in.webm", "-c:v libvpx-vp9"},
    {"VP8 in `.webm`, `.mkv` (`libvpx`)", "out.webm --codec libvpx --crf 4",
     "-pix_fmt yuva420p -c:v libvpx -auto-alt-ref 0 -crf 4 -b:v 5M in.webm", "-c:v libvpx"},
    {"ProRes 422 and 4444 (`prores_ks`)", "out.mov --codec prores_ks", "-pix_fmt yuva444p10le -c:v prores_ks in.mov",
     ""},
    {"FFV1", "out.mkv --codec ffv1", "-pix_fmt bgra -c:v ffv1 in.mkv", ""},
    {"QuickTime Animation (`qtrle`)", "out.mov --codec qtrle", "-c:v qtrle in.mov", ""},
    {"PNG in `.mov`", "out.mov --codec png", "-pix_fmt rgba -c:v png in.mov", ""},
    {"APNG", "out.apng", "-pix_fmt rgba in.apng", ""},
    {"animated AVIF", "out.avif --preset 8 --crf 4", "-pix_fmt yuv420p -c:v libaom-av1 -cpu-used 8 -crf 4 in.avif", ""},
    {"animated WebP", "out.webp", "", ""},
    {"GIF", "out.gif", "-vf 'split[a][b];[a]palettegen=reserve_transparent=0[p];[b][p]paletteuse' in.gif", ""},
    {"PNG pictures", "p%d.png", "-frames:v 1 in.png", ""},
    {"TIFF pictures", "p%d.tif", "-frames:v 1 -pix_fmt rgba in.tif", ""},
    {"OpenEXR pictures", "p%d.exr", "-frames:v 1 -pix_fmt gbrpf32le in.exr", ""},
    {"AVIF pictures", "p%d.avif --crf 4", "-frames:v 1 -pix_fmt yuv420p -c:v libaom-av1 -crf 4 in.avif", ""},
    {"WebP pictures", "p%d.webp", "-frames:v 1 -pix_fmt bgra -lossless 1 in.webp", ""},
    {"JPEG pictures", "p%d.jpg", "-frames:v 1 -pix_fmt yuvj420p -q:v 2 in.jpg", ""},
};

class FormsTableTest : public Tests::CommandTest {
protected:
    void SetUp() override {
        if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) {
            GTEST_SKIP() << "ffmpeg makes the samples and decodes the outputs";
        }
        // Colours that grow to the right in 10 bits, and in `alpha.mov` alpha instead.
        for (int const bits : {8, 10, 12, 16}) {
            std::string const format = bits == 8 ? "yuv420p" : fmt::format("yuv420p{}le", bits);
            Make(fmt::format("color=gray:s=256x64:r=10,format={},geq=lum='({}+2*X)*{}':cb=p(X\\,Y):cr=p(X\\,Y)", format,
                             256, bits == 8 ? "0.25" : std::to_string(1 << (bits - 10))),
                 fmt::format("-c:v ffv1 d{}.mkv", bits));
        }
        Make(std::string(kSource), "-c:v qtrle alpha.mov");
        Make("color=white:s=256x64:r=10", "-c:v ffv1 -pix_fmt yuv420p white.mkv");
    }

    void Make(std::string const& source, std::string const& rest) const {
        Shell(fmt::format("ffmpeg -v error -y -f lavfi -t 0.2 -i \"{}\" -frames:v 2 {}", source, rest));
    }
    std::string Probe(std::string const& file, std::string const& what) const {
        std::string text = Shell(
            fmt::format("ffprobe -v error -select_streams v:0 -show_entries stream={} -of csv=p=0 {}", what, file));
        return text.substr(0, text.find('\n'));
    }
    /// The samples of a row in the middle of the first picture, in 8 bits, rounded.
    std::vector<double> Row(std::string const& input, std::string const& filter) const {
        Shell(
            fmt::format("ffmpeg -v error -y {} -frames:v 1 -vf {},format=gray16le -f rawvideo row.raw", input, filter));
        std::string const bytes = Tests::ReadAll(In("row.raw"));
        std::vector<double> samples;
        for (std::size_t x = 0; x < 256; ++x) {
            std::size_t const at = 2 * (32 * 256 + x);
            samples.push_back(
                (static_cast<unsigned char>(bytes.at(at)) | static_cast<unsigned char>(bytes.at(at + 1)) << 8) / 257.0);
        }
        return samples;
    }

    /// Renders to the form's output, and returns the name of what was written.
    std::string Render(std::string const& source, Form const& form, std::string const& options,
                       std::string* messages = nullptr) const {
        std::string const line = fmt::format("render {} -o {} -y {}", source, form.out, options);
        Tests::Outcome const outcome = Run(line);
        EXPECT_EQ(outcome.status, 0) << line << "\n" << outcome.err;
        if (messages != nullptr) {
            *messages = outcome.err;
        }
        std::string file = std::string(form.out).substr(0, std::string(form.out).find(' '));
        boost::replace_all(file, "%d", "1");
        return file;
    }

    static int DepthOf(std::string const& pixelFormat) {
        for (int const depth : {10, 12, 16}) {
            bool const hasNumber = pixelFormat.find(fmt::format("{}le", depth)) != std::string::npos ||
                                   pixelFormat.find(fmt::format("{}be", depth)) != std::string::npos;
            if (hasNumber || (depth == 16 && (pixelFormat.find("48") != std::string::npos ||
                                              pixelFormat.find("64") != std::string::npos ||
                                              pixelFormat.find("f32") != std::string::npos))) {
                return depth;
            }
        }
        return 8;
    }

    void TryIn(Form const& form, std::string const& cell, bool hasAlpha) const {
        if (cell == "no") {
            EXPECT_STREQ(form.in, "") << "the table has no input";
            return;
        }
        Make(hasAlpha ? kSource : kOpaque, form.in);
        std::string const words = form.in;
        std::string const file = words.substr(words.rfind(' ') + 1);
        Tests::Outcome const outcome = Run(fmt::format("render {}@0-0.1 -o back.mkv --codec ffv1 -y", file));
        Tests::Outcome const still =
            outcome.status == 0 ? outcome : Run(fmt::format("render {} -o back.mkv --codec ffv1 -y", file));
        EXPECT_EQ(still.status, 0) << still.err;
        EXPECT_NEAR(Row("-i back.mkv", "format=gbrp,extractplanes=r").at(200), 200.0, 8.0);
        EXPECT_NEAR(Row("-i back.mkv", "format=gbrp,extractplanes=b").at(200), 30.0, 8.0);
    }

    void TryDepth(Form const& form, std::string const& cell) const {
        std::vector<std::string> numbers;
        boost::split(numbers, cell, boost::is_any_of(","));
        int const top = std::stoi(numbers.back());
        for (std::string const& number : numbers) {
            int const depth = std::stoi(number);
            std::string const file = Render(fmt::format("d{}.mkv", depth), form, depth > 8 ? "--depth 16f" : "");
            EXPECT_EQ(DepthOf(Probe(file, "pix_fmt")), depth);
            std::vector<double> const row = Row(fmt::format("{} -i {}", form.decode, file), "format=gray16le");
            std::size_t const levels = std::set<double>(row.begin(), row.end()).size();
            if (depth > 8) {
                EXPECT_GE(levels, 160U) << depth << " bits: of 256, as 8 bits have 128";
            }
        }
        if (top < 16) {
            EXPECT_EQ(DepthOf(Probe(Render("d16.mkv", form, "--depth 16f"), "pix_fmt")), top)
                << "more than the table says";
        }
    }

    void TryAlpha(Form const& form, std::string const& cell) const {
        std::string messages;
        std::string const file = Render("alpha.mov", form, "", &messages);
        bool const isPicture = std::string(form.row).ends_with("pictures");
        if (cell == "no") {
            EXPECT_THAT(messages, HasSubstr("alpha is lost"));
            return;
        }
        EXPECT_EQ(messages, "");
        std::string input = fmt::format("{} -i {}", form.decode, file);
        std::string filter = "alphaextract";
        if (isPicture && file.ends_with(".avif")) {
            // FFmpeg reads the main picture only: here alpha takes its place.
            std::string bytes = Tests::ReadAll(In(file));
            std::size_t const at = bytes.find("pitm");
            ASSERT_NE(at, std::string::npos);
            bytes.at(at + 9) = static_cast<char>(3 - bytes.at(at + 9));
            Write("alpha.avif", bytes);
            input = "-i alpha.avif";
            filter = "null";
        } else if (file.ends_with(".exr")) {
            filter = "format=gbrap16le,extractplanes=a";  // FFmpeg takes grey floats for limited range
        } else if (file.ends_with(".webp") && !isPicture) {
            return;  // FFmpeg writes animations, but does not read them
        }
        std::vector<double> const row = Row(input, filter);
        for (std::size_t const x : {10U, 128U, 240U}) {
            double const expected = cell == "one level" ? (x < 128 ? 0.0 : 255.0) : static_cast<double>(x);
            if (cell != "one level" || x != 128) {
                EXPECT_NEAR(row.at(x), expected, 4.0) << "alpha at " << x;
            }
        }
    }

    void TryHdr(Form const& form, std::string const& cell) const {
        if (cell == "values above 1") {
            return;  // StillsOfSixteenBits
        }
        if (cell == "no") {
            Fail(fmt::format("render white.mkv -o {} -y --hdr pq", form.out), 2);
            return;
        }
        ASSERT_EQ(cell, "PQ, HLG");
        bool const isPq = (&form - kForms) % 2 == 0;  // one row with this, the next one with that
        std::string const file = Render("white.mkv", form, isPq ? "--hdr pq" : "--hdr hlg");
        EXPECT_EQ(Probe(file, "color_transfer"), isPq ? "smpte2084" : "arib-std-b67");
        EXPECT_EQ(Probe(file, "color_primaries"), "bt2020");
        EXPECT_NEAR(Row(fmt::format("{} -i {}", form.decode, file), "format=gray10le").at(100) / 255.0,
                    isPq ? 0.581 : 0.75, 0.015);
    }

    static constexpr char kSource[] = "color=red:s=256x64:r=10,format=rgba,geq=r=200:g=60:b=30:a=X";
    static constexpr char kOpaque[] = "color=0xC83C1E:s=256x64:r=10";
};

TEST_F(FormsTableTest, SaysWhatHappens) {
    std::ifstream text(fs::path(KALTOR_SOURCE_DIR) / "docs" / "formats.md");
    std::size_t rows = 0;
    for (std::string line; std::getline(text, line);) {
        std::vector<std::string> cells;
        boost::split(cells, line, boost::is_any_of("|"));
        if (cells.size() != 8 || line.starts_with("| form") || line.starts_with("|-")) {
            continue;
        }
        std::for_each(cells.begin(), cells.end(), [](std::string& cell) { boost::trim(cell); });
        Form const* const form = std::find_if(std::begin(kForms), std::end(kForms),
                                              [&cells](Form const& one) { return one.row == cells[1]; });
        ASSERT_NE(form, std::end(kForms)) << cells[1] << ": nothing tries this row";
        SCOPED_TRACE(cells[1]);
        ++rows;
        TryIn(*form, cells[2], cells[5] != "no");
        TryDepth(*form, cells[4]);
        TryAlpha(*form, cells[5]);
        TryHdr(*form, cells[6]);
    }
    EXPECT_EQ(rows, std::size(kForms));
}

TEST_F(FormsTableTest, PremultipliedColoursAreDivided) {
    constexpr char kMultiplied[] = "color=red:s=256x64:r=10,format=rgba,geq=r=200*X/255:g=60*X/255:b=30*X/255:a=X";
    Make(kMultiplied, "-c:v qtrle m.mov");
    Make(kMultiplied, "-c:v prores_ks -pix_fmt yuva444p10le -color_range tv m4.mov");
    auto const expectRed = [this](std::string const& file, std::function<double(double x)> const& expected) {
        std::vector<double> const red = Row("-i " + file, "format=gbrp,extractplanes=r");
        for (std::size_t const x : {60U, 120U, 200U}) {
            // Colours were rounded before they were divided by alpha.
            EXPECT_NEAR(red.at(x), expected(static_cast<double>(x)), 4.0) << file << " at " << x;
        }
    };
    auto const straight = [](double) { return 200.0; };
    auto const multiplied = [](double x) { return 200.0 * x / 255.0; };
    for (char const* const clip : {"m.mov", "m4.mov"}) {
        for (char const* const options : {"", "--depth 16f", "--size 256x64 --effect Flip:horizontal=0:vertical=1"}) {
            Succeed(fmt::format("render {}@alpha:premultiplied -o out.mkv --codec ffv1 -y {}", clip, options));
            expectRed("out.mkv", straight);
        }
        Succeed(fmt::format("render {}@alpha:straight@0-0.1 -o out.mkv --codec ffv1 -y", clip));
        expectRed("out.mkv", multiplied);
        Succeed(fmt::format("render {}@alpha:premultiplied -o out.mkv --codec ffv1 -y --alpha '#000000'", clip));
        expectRed("out.mkv", multiplied);
    }
    Write("edit.json", R"({"version": 1, "clips": [{"file": "m.mov", "alpha": "premultiplied"}]})");
    Succeed("render edit.json -o out.mkv --codec ffv1 -y");
    expectRed("out.mkv", straight);
    // OpenEXR is multiplied in the file, and known to be.
    Succeed("render alpha.mov -o e%d.exr");
    expectRed("e1.exr", multiplied);
    Tests::Outcome const back = Run("render e%d.exr -o out.mkv --codec ffv1 -y --fps 10");
    EXPECT_EQ(back.status, 0) << back.err;
    expectRed("out.mkv", straight);
    EXPECT_THAT(Fail("render m.mov@alpha:premul -o x.mkv", 2), HasSubstr("straight or premultiplied"));
    Write("edit.json", R"({"version": 1, "clips": [{"color": "#FF0000", "duration": 1, "alpha": "straight"}]})");
    EXPECT_THAT(Fail("render edit.json -o x.mkv", 2), HasSubstr("clips/0/alpha"));
}

TEST_F(FormsTableTest, StripsHaveSixteenBits) {
    Make("color=black:s=256x64,format=rgb48le,geq=r='X*200':g='X*200':b='X*200'",
         "-frames:v 1 -pix_fmt rgb48be deep.png");
    Succeed("strip Flip deep.png -o strip.png --set horizontal=0 --set vertical=1 --steps 2 --width 256");
    EXPECT_EQ(Probe("strip.png", "pix_fmt"), "rgb48be");
    std::vector<double> const row = Row("-i strip.png", "crop=256:64:6:6");
    EXPECT_GE((std::set<double>(row.begin(), row.end())).size(), 240U);
    EXPECT_NEAR(row.at(99), 99.0 * 200.0 / 257.0, 0.5);
    Succeed("strip Invert a.png -o strip.tif --steps 2");
    EXPECT_EQ(Probe("strip.tif", "pix_fmt"), "rgb24");
}

TEST_F(FormsTableTest, TitlesWithEffectsHaveTheWhiteOfSdr) {
    // 203 cd/m2, 58 % of PQ's scale; taken for PQ, white would be its end.
    Make("color=black:s=256x64:r=10", "-c:v ffv1 -pix_fmt yuv420p black.mkv");
    Write("edit.json", R"({"version": 1, "output": {"hdr": "pq"}, "clips": [{"file": "black.mkv"}], "overlays": [
        {"title": {"text": "HHHHHHHH", "size": 0.5, "weight": 700}, "effects": [{"effect": "Flip", "horizontal": true}]}]})");
    Succeed("render edit.json -o out.mkv --codec ffv1");
    std::vector<double> const row = Row("-i out.mkv", "format=gray10le");
    EXPECT_NEAR(*std::max_element(row.begin(), row.end()) / 255.0, 0.581, 0.02);
}

TEST_F(FormsTableTest, HdrLeavesAlphaAsItIs) {
    // Left to right: transparent, a half and opaque.
    static constexpr char kSteps[] = "format={},geq=r={}:g={}:b={}:a='if(lt(X,86),0,if(lt(X,171),{},{}))'";
    auto const make = [&](char const* format, int half, int full, std::string const& file) {
        Make("color=white:s=256x64:r=10," + fmt::format(kSteps, format, full, full, full, half, full),
             "-frames:v 1 " + file);
    };
    make("rgba", 128, 255, "-pix_fmt rgba a8.png");
    make("gbrap10le", 514, 1023, "-c:v ffv1 a10.mkv");
    make("gbrap16le", 128 * 257, 65535, "-pix_fmt rgba64be a16.png");
    make("gbrap16le", 128 * 257, 65535, "-pix_fmt gbrapf32le a32.exr");
    for (char const* const file : {"a8.png", "a10.mkv", "a16.png", "a32.exr"}) {
        bool const isExr = std::string_view(file).ends_with(".exr");
        Tests::Outcome const outcome =  // of 32 bits, a warning says that they become 16
            Run(fmt::format("render {}{}@0-0.1 -o out.mkv --codec ffv1 --hdr pq --fps 10 -y", file,
                            isExr ? "@alpha:straight" : ""));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        std::vector<double> const alpha = Row("-i out.mkv", "extractplanes=a");
        EXPECT_NEAR(alpha.at(40), 0.0, 0.5) << file;
        EXPECT_NEAR(alpha.at(128), 128.0, 1.0) << file;
        EXPECT_NEAR(alpha.at(220), 255.0, 0.5) << file;
    }
}

}  // namespace
}  // namespace Kaltor
