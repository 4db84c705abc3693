// Outputs and inputs as other programs see them: encoders, sequences, pipes, and what is said to machines. What was
// written is decoded by ffmpeg and ffprobe.
#include <nlohmann/json.hpp>

#include "CommandTest.h"

namespace Kaltor {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Tests::Outcome;

class OutputTest : public Tests::CommandTest {
protected:
    void SetUp() override {
        if (std::system("ffmpeg -version > /dev/null 2>&1") != 0) {
            GTEST_SKIP() << "ffmpeg makes the clips and decodes the outputs";
        }
        Expect(
            "ffmpeg -v error -f lavfi -i testsrc2=s=64x36:r=10 -f lavfi -i sine=440:r=48000 -t 2 "
            "-c:v ffv1 -pix_fmt yuv420p -c:a pcm_s16le a.mkv");
        Expect("ffmpeg -v error -f lavfi -i mandelbrot=s=64x36:r=10 -t 1 -c:v ffv1 -pix_fmt yuv420p b.mkv");
    }

    /// A line of bash in the folder; "kaltor" is the program under test.
    Outcome Shell(std::string const& line) const {
        fs::path const out = folder / "log" / "out";
        fs::path const err = folder / "log" / "err";
        std::ofstream(folder / "log" / "script")
            << fmt::format("set -o pipefail; cd '{}'; PATH='{}':\"$PATH\"; {}\n", (folder / "work").string(),
                           fs::path(KALTOR_COMMAND).parent_path().string(), line);
        int const status = std::system(fmt::format("NO_COLOR=1 bash '{}' > '{}' 2> '{}' < /dev/null",
                                                   (folder / "log" / "script").string(), out.string(), err.string())
                                           .c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAll(out), ReadAll(err)};
    }
    /// What it prints when it succeeds without a word on standard error.
    std::string Expect(std::string const& line) const {
        Outcome const outcome = Shell(line);
        EXPECT_EQ(outcome.status, 0) << line;
        EXPECT_EQ(outcome.err, "") << line;
        return outcome.out;
    }
    /// A line for each picture, with the sum of its bytes.
    std::string Sums(std::string const& input) const {
        return Expect("ffmpeg -v error " + input +
                      " -map 0:v -pix_fmt yuv420p -f rawvideo - | split -b 3456 "
                      "--filter=md5sum");
    }
    std::string Probe(std::string const& entries, std::string const& file) const {
        return Expect("ffprobe -v error -show_entries " + entries + " -of compact " + file);
    }
};

TEST_F(OutputTest, EncodersAreGivenWhatIsAskedFor) {
    Succeed("render a.mkv b.mkv -o web.mp4 --for web --gop 5 --metadata title=Hello --chapters --audio-bitrate 64k");
    EXPECT_THAT(
        Probe("stream=codec_name,pix_fmt:format_tags=title", "web.mp4"),
        AllOf(HasSubstr("codec_name=h264|pix_fmt=yuv420p"), HasSubstr("codec_name=aac"), HasSubstr("tag:title=Hello")));
    // The second clip begins one second before the first one ends.
    EXPECT_EQ(Probe("chapter=start_time,end_time:chapter_tags=title", "web.mp4"),
              "chapter|start_time=0.000000|end_time=1.000000|tag:title=a\n"
              "chapter|start_time=1.000000|end_time=2.000000|tag:title=b\n");
    std::string const packets = Probe("packet=flags -select_streams v", "web.mp4");
    EXPECT_EQ(packets.find("flags=K", 16), 5 * 16 + 7U) << packets;
    std::string const bytes = ReadAll(In("web.mp4"));
    EXPECT_LT(bytes.find("moov"), bytes.find("mdat")) << "players wait for the end of the file";

    Succeed("render a.mkv -o p.mov --for prores");
    EXPECT_THAT(Probe("stream=codec_name,profile,pix_fmt", "p.mov"),
                AllOf(HasSubstr("prores|profile=HQ|pix_fmt=yuv422p10le"), HasSubstr("pcm_s24le")));
    Succeed("render a.mkv -o a2.mkv --for archive");
    EXPECT_EQ(Sums("-i a2.mkv"), Sums("-i a.mkv"));
    Succeed(
        "render a.mkv -o s.mkv --codec libx264 --bitrate 100k --preset ultrafast --pix-fmt yuv444p --no-audio "
        "--encoder-option bf=0");
    EXPECT_THAT(Probe("stream=pix_fmt,has_b_frames", "s.mkv"), HasSubstr("has_b_frames=0|pix_fmt=yuv444p"));
    EXPECT_THAT(ReadAll(In("s.mkv")), AllOf(HasSubstr("rc=abr"), HasSubstr("bitrate=100"), HasSubstr("subme=0")));
    for (char const* const codec : {"libx265", "libsvtav1"}) {  // they print what they do, unless they are told
        Succeed(fmt::format("render b.mkv -o {0}.mkv --codec {0} --size 128x72", codec));
    }
    Succeed("render b.mkv -o b.webp --for webp");
    EXPECT_GT(fs::file_size(In("b.webp")), 3000U) << "of poor quality";

    for (auto const& [words, message] : std::initializer_list<std::pair<char const*, char const*>>{
             {"--for cinema", "web, small, archive"},
             {"--for gif", "makes .gif files"},
             {"--format tape", "mp4, mkv, webm"},
             {"--preset quick", "ultrafast, superfast"},
             {"--codec libsvtav1 --preset 99", "-1 to 13"},
             {"--bitrate lots", "800k or 5M"},
             {"--bitrate 1M --crf 20", "excludes"},
             {"--codec ffv1 --bitrate 1M", "takes no bit rate"},
             {"--pix-fmt yuv9", "yuv420p"},
             {"--gop 0", "from 1"},
             {"--encoder-option tuna=film", "did you mean tune?"},
             {"--encoder-option tune", "KEY=VALUE"},
             {"--encoder-option bf=many", "does not take \"many\" for bf"},
             {"--audio-codec mp9", "aac"},
             {"--codec h264_vaapi", "no VAAPI device"},
             {"--codec hevc_nvenc", "no CUDA device"},
             {"--progress often", "bar, json or none"},
             {"--progress-fd 77", "no file is open"},
             {"--resume", "sequence of pictures"},
         }) {
        EXPECT_THAT(Fail(fmt::format("render a.mkv -o x.mkv {}", words), 2), HasSubstr(message)) << words;
    }
}

TEST_F(OutputTest, AnEditHasTheEncodersSettings) {
    Succeed(
        "render a.mkv --save-edit e.json --for archive --bitrate 2M --metadata artist=me --encoder-option "
        "tune=film --chapters");
    json const output = json::parse(ReadAll(In("e.json"))).at("output");
    EXPECT_EQ(output, json::parse(R"({"for": "archive", "bitrate": "2M", "metadata": {"artist": "me"},
                                      "encoderOptions": {"tune": "film"}, "chapters": true})"));
    // They can name files.
    EXPECT_THAT(Fail("render e.json -o x.mkv --codec libx264", 2), HasSubstr("--trust"));
    Succeed("render e.json -o x.mkv --codec libx264 --trust");
    EXPECT_THAT(Probe("format_tags=ARTIST", "x.mkv"), HasSubstr("me"));
}

TEST_F(OutputTest, SequencesAreWholeOrResumed) {
    Succeed("render a.mkv -o all.mkv --codec ffv1 --no-audio");
    fs::create_directory(In("p"));
    Succeed("render a.mkv -o 'p/f%03d.tiff' --pix-fmt yuv420p --first-number 8 --no-audio");
    EXPECT_EQ(Expect("ls p | tr '\\n' ' '").substr(0, 20), "f008.tiff f009.tiff ");
    EXPECT_EQ(Sums("-start_number 8 -i p/f%03d.tiff"), Sums("-i all.mkv"));
    // In order of the numbers, also where the names' order is another.
    Expect("for i in $(seq 1 20); do cp p/f$(printf %03d $((i + 7))).tiff p/g$i.tiff; done");
    for (char const* const pattern : {"p/f%03d.tiff", "p/g%d.tiff", "p/g*.tiff"}) {
        Succeed(fmt::format("render '{}' -o back.mkv --codec ffv1 --fps 10 -y", pattern));
        EXPECT_EQ(Sums("-i back.mkv"), Sums("-i all.mkv")) << pattern;
    }

    EXPECT_THAT(Fail("render a.mkv -o 'p/f%03d.tiff' --no-audio", 1), HasSubstr("f008.tiff: exists already"));
    Expect("rm p/f010.tiff; cp small.png p/h1.png; cp a.png p/h2.png");
    EXPECT_THAT(Fail("render 'p/f%03d.tiff' -o x.mkv", 1), HasSubstr("p/f010.tiff is missing"));
    EXPECT_THAT(Fail("render 'p/h%d.png' -o x.mkv", 1), HasSubstr("p/h2.png: 24x14 is not the size"));
    EXPECT_THAT(Fail("render 'p/none%d.png' -o x.mkv", 1), HasSubstr("no such picture"));

    // A run that fails half-way leaves nothing; with --resume the pictures stay, and the rest follows.
    fs::create_directory(In("q"));
    Expect(
        "ffmpeg -v error -stream_loop 4 -i a.mkv -an -c copy l.mkv; ffmpeg -v error -i l.mkv -f rawvideo c.yuv; "
        "cat c.yuv <(head -c 1000 c.yuv) > cut.yuv");
    for (char const* const words : {"", "--resume"}) {
        Outcome const failed =
            Shell(fmt::format("cat cut.yuv | kaltor render -@raw:64x36:yuv420p:10 -o 'q/%d.png' {}", words));
        EXPECT_EQ(failed.status, 1);
        EXPECT_EQ(failed.err, "kaltor: standard input: ends in the middle of a frame\n");
        EXPECT_EQ(fs::is_empty(In("q")), *words == '\0');
    }
    Expect(
        "touch -d 2001-01-01 q/*.png; ls q | wc -l > before; kaltor render l.mkv -o 'q/%d.png' --resume; "
        "find q -type f ! -newermt 2002-01-01 | wc -l | diff - before; test $(ls -A q | wc -l) = 100");
    Succeed("render l.mkv -o 'p/whole%d.png'");
    EXPECT_EQ(Sums("-i q/%d.png"), Sums("-i p/whole%d.png"));
    EXPECT_THAT(Fail("render l.mkv -o 'q/%d.png' --resume", 1), HasSubstr("all 100 pictures are there"));
}

TEST_F(OutputTest, PipesCarryWhatFilesDo) {
    Succeed("render a.mkv -o all.mkv --codec ffv1 --audio-codec pcm_s16le");
    std::string const all = Sums("-i all.mkv");
    std::string const sound = Expect("ffmpeg -v error -i all.mkv -map 0:a -f s16le - | md5sum");
    Expect(
        "ffmpeg -v error -i a.mkv -f rawvideo -pix_fmt rgb24 - 2>/dev/null | kaltor render -@raw:64x36:rgb24:10 -o "
        "r.mkv "
        "--codec ffv1");
    EXPECT_EQ(Probe("stream=r_frame_rate,width", "r.mkv"), "stream|width=64|r_frame_rate=10/1\n");
    for (auto const& [to, from, hasSound] : std::initializer_list<std::tuple<char const*, char const*, bool>>{
             {"-f yuv4mpegpipe", "--format y4m --no-audio", false},
             {"-f nut -c copy", "--format nut", true},
             {"-f matroska -c copy", "--format mkv --codec ffv1 --audio-codec pcm_s16le", true}}) {
        Expect(fmt::format("ffmpeg -v error -i a.mkv {} - | kaltor render - -o - {} | cat > piped", to, from));
        EXPECT_EQ(Sums("-i piped"), all) << from;
        if (hasSound) {
            EXPECT_EQ(Expect("ffmpeg -v error -i piped -map 0:a -f s16le - | md5sum"), sound) << from;
        }
    }
    // As the last clip, with a transition before and an effect on it; a piece has a length.
    Expect(
        "ffmpeg -v error -i a.mkv -f yuv4mpegpipe - | kaltor render b.mkv - -o j.mkv --transition Wipe@0.5 "
        "--effect 2:Invert");
    EXPECT_EQ(Probe("stream=nb_read_frames -count_frames -select_streams v", "j.mkv"), "stream|nb_read_frames=25\n");
    Expect(
        "ffmpeg -v error -i a.mkv -f yuv4mpegpipe - | kaltor render -@0.5-1.5 b.mkv -o k.mkv --codec ffv1 --transition "
        "none");
    EXPECT_EQ(Sums("-i k.mkv"), Sums("-ss 0.5 -t 1 -i a.mkv") + Sums("-i b.mkv"));
    Expect(
        "ffmpeg -v error -i a.mkv -c:v libx264 -c:a aac -f mpegts - | kaltor render - -o - --format mp4 | cat > "
        "frag.mp4");
    EXPECT_THAT(Probe("stream=codec_name,nb_read_frames -count_frames", "frag.mp4"),
                HasSubstr("h264|nb_read_frames=20"));

    // Frames come out before the input has ended.
    EXPECT_EQ(Expect("ffmpeg -v error -i a.mkv -f yuv4mpegpipe c.y4m; mkfifo in out wait; "
                     "(cat c.y4m; read -r < wait) > in & kaltor render in -o out --format y4m 2> /dev/null & "
                     "timeout 600 head -c $((15 * 3456)) < out | wc -c; echo go > wait; wait"),
              "51840\n");

    // A picture whose alpha stands beside its colours comes whole.
    Succeed("apply FrameDownloader c.png -o c.avif");
    std::string const rest = "@-0.1 -o - --format nut --codec ffv1 --depth 8 | md5sum";
    EXPECT_EQ(Expect("cat c.avif | kaltor render -" + rest), Expect("kaltor render c.avif" + rest));
    EXPECT_THAT(Expect("cat c.avif | kaltor render -@-0.1 -o alpha.mkv --codec ffv1; ffprobe -v error -show_entries "
                       "stream=pix_fmt alpha.mkv"),
                HasSubstr("yuva444p"));

    // So long that it cannot be written before the reader has gone.
    Outcome const closed = Shell(
        "ffmpeg -v error -stream_loop 2000 -i a.mkv -f nut -c copy - 2> /dev/null | kaltor render - -o - --format nut "
        "| head -c 1000 > /dev/null; echo ${PIPESTATUS[1]}");
    EXPECT_EQ(closed.out + closed.err, "141\n");
    for (auto const& [line, message] : std::initializer_list<std::pair<char const*, char const*>>{
             {": | kaltor render - -o x.mkv", "standard input: is empty"},
             {"echo no video | kaltor render - -o x.mkv", "standard input: not a video or picture"},
             {"cat a.mkv | kaltor render - - -o x.mkv", "can be shown once only"},
             {"ffmpeg -v error -i a.mkv -f yuv4mpegpipe - 2> /dev/null | head -c 20000 | kaltor render - -o x.mkv",
              "standard input: ends in the middle of a frame"},
             {"ffmpeg -v error -i a.mkv -f yuv4mpegpipe - 2> /dev/null | kaltor render - b.mkv -o x.mkv",
              "can only be the last clip"},
             {"ffmpeg -v error -i a.mkv -f yuv4mpegpipe - 2> /dev/null | kaltor render - -o x.mkv --effect PanAndZoom",
              "how long the video is"},
             {"ffmpeg -v error -i a.mkv -f yuv4mpegpipe - 2> /dev/null | kaltor render - -o x.mkv --fade-out 1",
              "how long the video is"},
             {"kaltor render -@raw:64:rgba:10 -o x.mkv", "is no size"},
             {"kaltor render -@raw:64x36:rgbz:10 -o x.mkv", "no pixel format"},
             {"kaltor render a.mkv -o - | cat", "--format"},
             {"kaltor render a.mkv -o - --format webp --no-audio | cat", "cannot go through a pipe"},
             // Sound or pictures may come first; without sound it is the pictures.
             {"kaltor render a.mkv -o - --format nut > /dev/full", "standard output: cannot be written (No space"},
             {"kaltor render a.mkv -o - --format nut --no-audio > /dev/full", "standard output: cannot be written (No"}}) {
        Outcome const failed = Shell(line);
        EXPECT_NE(failed.status, 0) << line;
        EXPECT_EQ(std::count(failed.err.begin(), failed.err.end(), '\n'), 1) << line << "\n" << failed.err;
        EXPECT_THAT(failed.err, HasSubstr(message)) << line;
        EXPECT_FALSE(fs::exists(In("x.mkv"))) << line;
    }
}

TEST_F(OutputTest, MachinesAreToldWhatHappensAndWhatIsLost) {
    json const result = json::parse(Succeed("render a.mkv b.mkv -o r.mkv --json"));
    EXPECT_EQ(result.at("frames"), 20);
    EXPECT_EQ(result.at("container"), "matroska");
    EXPECT_EQ(result.at("codec"), "libx264");
    EXPECT_EQ(result.at("frameRate"), "10/1");
    EXPECT_EQ(result.at("bytes"), fs::file_size(In("r.mkv")));
    EXPECT_EQ(result.at("sound").at("sampleRate"), 48000);
    Expect("kaltor render a.mkv -o r2.mkv --progress-fd 3 3> lines");
    // What takes longer than a second says more than the last line.
    auto const parseLastLine = [](std::string const& lines) {
        return json::parse(lines.substr(lines.find_last_of('\n', lines.find_last_not_of('\n')) + 1));
    };
    json const last = parseLastLine(ReadAll(In("lines")));
    EXPECT_EQ(last.at("frame"), 20);
    EXPECT_EQ(last.at("frames"), 20);
    EXPECT_EQ(last.at("secondsLeft"), 0);
    EXPECT_GT(last.at("fps"), 0);
    EXPECT_NEAR(last.at("speed").get<double>(), last.at("fps").get<double>() / 10.0, 0.01);
    EXPECT_TRUE(parseLastLine(Shell("kaltor render a.mkv -o - --format nut --progress json | cat > /dev/null").err)
                    .is_object());

    std::ofstream(In("t.srt")) << "1\n00:00:00,000 --> 00:00:01,000\nHello\n";
    Expect(
        "ffmpeg -v error -f lavfi -i testsrc2=s=64x36:r=10 -i t.srt -f lavfi -i sine -ac 6 -t 1 -c:v ffv1 -pix_fmt "
        "yuva444p10le -c:s srt c.mkv; ffmpeg -v error -i b.mkv -c:v ffv1 -color_trc smpte2084 h.mkv");
    Expect("ffmpeg -v error -i b.mkv -r 20 -c:v ffv1 fast.mkv");
    std::string const line = "render a.mkv c.mkv fast.mkv -o x.mp4 --codec mpeg4 --transition none ";
    json const plan = json::parse(
        Succeed("render a.mkv c.mkv fast.mkv h.mkv -o x.mp4 --codec mpeg4 --transition none --dry-run --json"));
    std::set<std::string> kinds;
    for (json const& loss : plan.at("losses")) {
        kinds.insert(loss.at("file").get<std::string>() + " " + loss.at("kind").get<std::string>());
    }
    EXPECT_THAT(kinds, testing::UnorderedElementsAre("c.mkv alpha", "c.mkv depth", "c.mkv channels", "c.mkv subtitles",
                                                     "fast.mkv frameRate", "h.mkv hdr"));
    EXPECT_THAT(Fail(line + "--strict", 1), AllOf(HasSubstr("c.mkv: "), HasSubstr("4 more")));
    Outcome const warned = Run(line);
    EXPECT_EQ(warned.status, 0);
    for (char const* const what : {"alpha is lost", "10 bits become 8", "6 channels", "subtitles", "20 frames"}) {
        EXPECT_THAT(warned.err, HasSubstr(what));
    }
    Succeed("render a.mkv b.mkv -o y.mp4 --strict");
}

}  // namespace
}  // namespace Kaltor
