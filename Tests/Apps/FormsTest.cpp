// Depth, colours and alpha through render: small clips made by ffmpeg, what comes out decoded by ffmpeg and ffprobe.
#include <set>

#include <gmock/gmock.h>

#include "CommandTest.h"

namespace Kaltor {
namespace {

using testing::AllOf;
using testing::HasSubstr;
namespace fs = std::filesystem;

class FormsTest : public Tests::CommandTest {
protected:
    void SetUp() override {
        if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) {
            GTEST_SKIP() << "ffmpeg makes the clips and decodes the outputs";
        }
    }

    /// Losses of depth are warned of.
    void Render(std::string const& line) const {
        Tests::Outcome const outcome = Run(line);
        EXPECT_EQ(outcome.status, 0) << line << "\n" << outcome.err;
    }
    /// A source of FFmpeg's, 256 x 32, three frames; `rest` are the options of the output.
    void Make(std::string const& source, std::string const& rest) const {
        Shell(fmt::format("ffmpeg -v error -y -f lavfi -i \"{}\" -frames:v 3 {}", source, rest));
    }
    std::string Probe(std::string const& file) const {
        return Shell(
            "ffprobe -v error -select_streams v -show_entries "
            "stream=codec_name,pix_fmt,color_space,color_transfer,color_primaries -of compact " +
            file);
    }
    /// One row of the first picture: samples of one component, by FFmpeg's own conversion to `format` of 16 bits.
    std::vector<int> Row(std::string const& file, std::string const& filter, int row = 16,
                         std::string const& decoder = "") const {
        Shell(fmt::format("ffmpeg -v error -y {} -i {} -frames:v 1 -vf {},format=gray16le -f rawvideo row.raw", decoder,
                          file, filter));
        std::string const bytes = Tests::ReadAll(In("row.raw"));
        std::vector<int> samples;
        for (int x = 0; x < 256; ++x) {
            std::size_t const at = 2 * (static_cast<std::size_t>(row) * 256 + static_cast<std::size_t>(x));
            samples.push_back(static_cast<unsigned char>(bytes.at(at)) | static_cast<unsigned char>(bytes.at(at + 1))
                                                                             << 8);
        }
        return samples;
    }
    static std::size_t CountLevels(std::vector<int> const& row) { return std::set<int>(row.begin(), row.end()).size(); }

    /// Luma from 256 to 767 over the width, in 10 bits: two codes a column.
    static constexpr char kRamp[] = "color=black:s=256x32:r=10,format=yuv420p10le,geq=lum='256+2*X':cb=512:cr=512";
    static constexpr char kHlg[] =
        "-color_primaries bt2020 -color_trc arib-std-b67 -colorspace bt2020nc -color_range tv ";
    static constexpr char kPq[] = "-color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc -color_range tv ";
    static constexpr char kLossless[] = "-c:v libx265 -x265-params log-level=none:lossless=1 ";
};

TEST_F(FormsTest, TenBitsStayTenBits) {
    Make(kRamp, "-c:v ffv1 ramp.mkv");
    for (std::string const& effect : std::vector<std::string>{"", " --effect Invert", " --depth 16f --title Hi"}) {
        Render("render ramp.mkv -o out.mkv --codec ffv1 -y" + effect);
        EXPECT_THAT(Probe("out.mkv"), HasSubstr("pix_fmt=yuv420p10le")) << effect;
        EXPECT_GE(CountLevels(Row("out.mkv", "format=gray10le", 2)), 250U) << effect;
    }
    // 8 bits where that is asked for, and for players' sake in H.264.
    Render("render ramp.mkv -o out.mkv --codec ffv1 -y --depth 8");
    EXPECT_THAT(Probe("out.mkv"), HasSubstr("pix_fmt=yuv420p|"));
    Make(kRamp, std::string(kLossless) + kHlg + "hlg.mp4");
    Render("render hlg.mp4 -o out.mp4 -y --effect Invert --crf 1");
    EXPECT_THAT(Probe("out.mp4"), AllOf(HasSubstr("codec_name=hevc"), HasSubstr("pix_fmt=yuv420p10le"),
                                        HasSubstr("color_transfer=arib-std-b67"), HasSubstr("color_primaries=bt2020")));
    EXPECT_GE(CountLevels(Row("out.mp4", "format=gray10le")), 200U);
}

TEST_F(FormsTest, TheShortestHevcHasItsTimes) {
    Make("color=white:s=256x64:r=10", "-c:v ffv1 white.mkv");
    for (int const frames : {1, 2, 3}) {
        for (char const* const memory : {"0", "1", "165"}) {  // what the encoder finds where it sets nothing
            Tests::Outcome const outcome =
                Run(fmt::format("render white.mkv@0-0.{} -o out.mp4 -y --codec libx265", frames),
                    fmt::format("MALLOC_PERTURB_={}", memory));
            EXPECT_EQ(outcome.status, 0) << outcome.err;
            std::istringstream times(
                Shell("ffprobe -v error -select_streams v -show_entries packet=pts,dts -of csv=p=0 out.mp4"));
            int packets = 0;
            std::int64_t pts = 0;
            std::int64_t dts = 0;
            for (char comma = 0; times >> pts >> comma >> dts; ++packets) {
                EXPECT_GE(pts, 0) << frames << " frames, memory of " << memory;
                EXPECT_LE(dts, pts);
                EXPECT_GE(dts, pts - 100000);  // of a time base of 10,240 or so: ten seconds
                times.ignore(80, '\n');
            }
            EXPECT_EQ(packets, frames);
        }
    }
}

TEST_F(FormsTest, ColoursAreBroughtToTheOutputs) {
    // SDR white is 203 cd/m2: 58 % of PQ's scale and 75 % of HLG's (BT.2408).
    Make("color=white:s=256x32:r=10", "-c:v ffv1 -pix_fmt yuv420p white.mkv");
    auto const level = [this](std::string const& file) {
        return Row(file, "format=gray10le").at(100) / 65472.0;  // 1023 codes of 10 bits
    };
    Render("render white.mkv -o pq.mkv --codec ffv1 --hdr pq");
    EXPECT_THAT(Probe("pq.mkv"), AllOf(HasSubstr("color_transfer=smpte2084"), HasSubstr("color_primaries=bt2020"),
                                       HasSubstr("color_space=bt2020nc")));
    EXPECT_NEAR(level("pq.mkv"), 0.581, 0.006);
    Render("render white.mkv -o hlg.mkv --codec ffv1 --hdr hlg");
    EXPECT_NEAR(level("hlg.mkv"), 0.75, 0.01);
    // And back: white is rolled off a little, as there is more above it.
    Render("render pq.mkv -o sdr.mkv --codec ffv1 --hdr sdr");
    EXPECT_THAT(Probe("sdr.mkv"), AllOf(HasSubstr("color_transfer=bt709"), HasSubstr("color_space=bt709")));
    EXPECT_NEAR(level("sdr.mkv"), 0.90, 0.03);
    // A PQ ramp stays one in SDR: it never falls, and its end is white.
    Make("color=black:s=256x32:r=10,format=yuv420p10le,geq=lum='64+X*876/255':cb=512:cr=512",
         std::string(kLossless) + kPq + "ramp.mp4");
    Render("render ramp.mp4 -o ramp.mkv --codec ffv1 --hdr sdr");
    std::vector<int> const row = Row("ramp.mkv", "format=gray10le");
    EXPECT_TRUE(std::is_sorted(row.begin(), row.end()));
    EXPECT_NEAR(row.front() / 65472.0, 0.0, 0.005);
    EXPECT_NEAR(row.back() / 65472.0, 1.0, 0.005);
    // The mastering display stays with its pictures.
    Make(kRamp, std::string(kPq) +
                    "-c:v libx265 -x265-params log-level=none:max-cll=900,300:"
                    "'master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,50)' m.mp4");
    Render("render m.mp4 -o m2.mp4 --effect Flip");
    EXPECT_THAT(Shell("ffprobe -v error -show_frames -read_intervals '%+#1' m2.mp4"),
                AllOf(HasSubstr("max_luminance=10000000/10000"), HasSubstr("max_content=900")));
    Fail("render white.mkv -o out.gif --hdr pq", 2);
}

TEST_F(FormsTest, AlphaGoesThrough) {
    std::string const source = "color=red:s=256x32:r=10,format=rgba,geq=r=200:g=60:b=30:a=X";
    Make(source, "-c:v prores_ks -pix_fmt yuva444p10le prores.mov");
    Make(source, "-c:v qtrle qtrle.mov");
    Make(source, "-c:v libvpx-vp9 -auto-alt-ref 0 -pix_fmt yuva420p -crf 10 -b:v 0 vp9.webm");
    Make(source, "-c:v ffv1 -pix_fmt bgra ffv1.mkv");
    Make(source, "-c:v png -pix_fmt rgba png.mov");
    struct Output {
        char const* options;
        char const* decoder;
    };
    for (std::string const& input :
         std::vector<std::string>{"prores.mov", "qtrle.mov", "vp9.webm", "ffv1.mkv", "png.mov"}) {
        for (Output const& output :
             {Output{"out.webm", "-c:v libvpx-vp9"}, Output{"out.mov --codec prores_ks", ""},
              Output{"out.mov --codec qtrle", ""}, Output{"out.mkv --codec ffv1", ""}, Output{"out.apng", ""}}) {
            bool const isFirst = input == "prores.mov";
            for (std::string const& effect :
                 isFirst ? std::vector<std::string>{"", " --effect Invert"} : std::vector<std::string>{""}) {
                Render(fmt::format("render {} -o {} -y{}", input, output.options, effect));
                std::string const file = std::string(output.options).substr(0, std::string(output.options).find(' '));
                std::vector<int> const alpha = Row(file, "alphaextract", 16, output.decoder);
                for (int const x : {10, 128, 240}) {
                    EXPECT_NEAR(alpha.at(static_cast<std::size_t>(x)) / 257.0, x, 4.0)
                        << input << " to " << output.options << effect << " at " << x;
                }
            }
        }
    }
    // Colours below nothing, and where the file cannot.
    Render("render qtrle.mov -o flat.mkv --codec ffv1 --alpha '#0000FF'");
    EXPECT_NEAR(Row("flat.mkv", "format=gbrp,extractplanes=b").at(2) / 257.0, 253.0, 6.0);
    Render("render qtrle.mov -o keyed.webm --effect Chromakey:color=#C83C1E --alpha keep");
    EXPECT_LT(Row("keyed.webm", "alphaextract", 16, "-c:v libvpx-vp9").at(128), 2000);
    EXPECT_THAT(Fail("render qtrle.mov -o out.mp4 --alpha keep --codec libx264", 2), HasSubstr("prores_ks"));
    Fail("render qtrle.mov -o out2.mov --alpha purplish", 2);
}

TEST_F(FormsTest, StillsOfSixteenBits) {
    Make("color=black:s=256x32,format=rgba64le,geq=r='X*257':g='X*200+128':b=300:a='65535-X*100'",
         "-frames:v 1 -pix_fmt rgba64be deep.png");
    for (std::string const& file : std::vector<std::string>{"out.png", "out.tif", "out.exr"}) {
        Render("apply Flip deep.png -o " + file + " --set horizontal=0 --set vertical=1");
        std::vector<int> const green = Row(file, "format=gbrap16le,extractplanes=g");
        EXPECT_GE(CountLevels(green), 250U) << file;
        if (file != "out.exr") {  // whose colours are multiplied by alpha
            EXPECT_NEAR(green.at(99), 99 * 200 + 128, 20) << file;
        }
    }
    Fail("apply Flip deep.png -o out.bmp", 2);
}

}  // namespace
}  // namespace Kaltor
