// Jobs from their plan to the joined file, and the faults that a farm lives with.
#include <cmath>
#include <fstream>
#include <numeric>
#include <set>

#include <gmock/gmock.h>

#include "Edit/DocumentReader.h"
#include "Farm/Join.h"
#include "Farm/LocalEngine.h"
#include "Farm/Planning.h"
#include "Farm/Run.h"
#include "Media/Demuxer.h"
#include "Media/Ffmpeg.h"
#include "Render/Render.h"
#include "Tests/Media/MediaTest.h"

namespace Kaltor::Farm {
namespace {

namespace fs = std::filesystem;
using Media::Tests::ClipSpec;
using testing::HasSubstr;

template <typename Action>
std::string ErrorOf(Action const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        return error.what();
    }
    return "no error";
}

class FarmTest : public Media::Tests::MediaTest {
protected:
    FarmTest() {
        ClipSpec spec;
        spec.draw = Media::Tests::DrawNoise;
        spec.sound = Media::SoundFormat{48000, 1};
        spec.wave = [](std::int64_t n) { return 0.3F * std::sin(static_cast<float>(n) * 0.05F); };
        Make("a.mkv", spec);
        spec.frames = 40;
        spec.frameRate = {25, 1};
        Make("b.mkv", spec);
    }

    /// Nearly all that a frame may depend on.
    Edit::Document MakeDocument(std::string const& codec) const {
        Edit::Json json = Edit::Json::parse(R"({"version": 1, "output": {"fps": 30, "seed": 3},
            "clips": [{"file": "a.mkv", "effects": [{"effect": "CameraShake"}],
                       "joint": {"transition": "Disintegrate", "duration": 0.4}},
                      {"file": "b.mkv", "speed": 1.3,
                       "effects": [{"effect": "Twirl", "baseRotation": {"from": 0, "to": 1.5}}]}],
            "effects": [{"effect": "AddNoize", "strength": 0.1, "from": 0.2}],
            "overlays": [{"file": "b.mkv", "from": 0.5, "to": 1.6, "width": 0.4, "loop": true}]})");
        json["output"]["codec"] = codec;
        Edit::Document document = Edit::ReadDocument(json, catalog);
        Edit::ResolvePaths(document, folder.string(), Edit::Trust::OwnFolder);
        return document;
    }

    JobFolder Plan(std::string const& name, std::string const& codec = "ffv1", double partSeconds = 0.4) const {
        PlanningOptions options;
        options.output = At(name);
        options.partSeconds = partSeconds;
        options.keepsParts = true;
        PlannedJob const planned = PlanVideo(MakeDocument(codec), 1, options);
        return JobFolder::Create(At(name + ".farm"), planned.job, planned.texts);
    }

    std::string RunAll(JobFolder const& job) const {
        return ErrorOf([&] {
            // In the other order: nothing depends on what ran before.
            std::vector<Task> tasks = job.ListTasks();
            std::reverse(tasks.begin(), tasks.end());
            for (Task const& task : tasks) {
                Farm::Run(job, task, catalog, {});
            }
        });
    }

    std::string RenderWhole(std::string const& name, std::string const& codec) const {
        Render::RenderJob job;
        job.document = MakeDocument(codec);
        job.output = At(name);
        Render::Render(job, catalog.GetFactory());
        return job.output;
    }

    static void Damage(std::string const& path) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(static_cast<std::streamoff>(fs::file_size(path) / 2));
        char const byte = static_cast<char>(file.peek() ^ 1);
        file.seekp(static_cast<std::streamoff>(fs::file_size(path) / 2));
        file.put(byte);
    }

    Host::Catalog const catalog = Host::Catalog::Load();
};

TEST_F(FarmTest, APlanOfPartsGivesTheFramesTheSoundAndTheTimesOfOneRender) {
    // MP4 has an order of decoding of its own and gives the sound's first packet a time below 0; Matroska moves both.
    for (auto const& [ending, codec] : {std::pair{".mkv", "ffv1"}, {".mp4", "h264"}, {".mkv", "h264"}}) {
        SCOPED_TRACE(std::string(codec) + " in " + ending);
        std::string const whole = RenderWhole(std::string("whole") + codec + ending, codec);
        JobFolder const job = Plan(std::string("farm") + codec + ending, codec);
        ASSERT_GE(job.GetJob().parts.size(), 4U);
        ASSERT_EQ(RunAll(job), "no error");
        Joined const joined = Join(job, {});
        EXPECT_EQ(joined.frames, job.GetJob().frames);

        auto const expected = Media::Tests::ReadPlanes(whole);
        auto const found = Media::Tests::ReadPlanes(joined.output);
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; codec == std::string("ffv1") && i < expected.size(); ++i) {
            EXPECT_TRUE(found[i] == expected[i]) << "frame " << i;
        }
        for (AVMediaType const type : {AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO}) {
            EXPECT_NEAR(Media::Tests::EndOf(joined.output, type), Media::Tests::EndOf(whole, type), 0.0011);
        }
        // Sample by sample: a shift by the encoder's delay, 1024 samples, turns the tone by 8 turns and an eighth.
        Media::SoundFormat const format{48000, 1};
        EXPECT_EQ(Media::Tests::ReadSound(joined.output, format, 40000), Media::Tests::ReadSound(whole, format, 40000));
        // Each part begins with a key frame, and the encoder's order goes on evenly over the joints.
        Media::Demuxer demuxer(joined.output);
        AVStream const& stream = demuxer.RequireVideo();
        demuxer.Select(stream);
        Media::PacketPtr const packet = Media::MakePacket();
        std::int64_t last = AV_NOPTS_VALUE;
        std::set<std::int64_t> keys;
        std::int64_t const origin = stream.start_time;
        while (demuxer.Read(*packet) >= 0) {
            if (packet->stream_index != stream.index) {
                continue;
            }
            if (ending == std::string(".mp4")) {  // Matroska keeps no such times
                EXPECT_EQ(packet->dts, last == AV_NOPTS_VALUE ? packet->dts : last + packet->duration);
                EXPECT_LE(packet->dts, packet->pts);
            }
            last = packet->dts;
            if ((packet->flags & AV_PKT_FLAG_KEY) != 0) {
                keys.insert(av_rescale_q(packet->pts - origin, stream.time_base, {1, 30}));
            }
        }
        for (Part const& part : job.GetJob().parts) {
            EXPECT_TRUE(keys.contains(part.first) || keys.contains(part.first - 1)) << part.first;  // milliseconds
        }
    }
}

TEST_F(FarmTest, EachFaultHasADefinedEnd) {
    JobFolder const job = Plan("out.mkv");
    // A part looks at none of the files that it does not need.
    fs::rename(At("b.mkv"), At("away.mkv"));
    Farm::Run(job, {0}, catalog, {});
    EXPECT_THAT(ErrorOf([&] { Farm::Run(job, {2}, catalog, {}); }), HasSubstr("b.mkv"));
    fs::rename(At("away.mkv"), At("b.mkv"));
    EXPECT_THAT(ErrorOf([&] { Join(job, {}); }), HasSubstr("not done yet: parts 2"));
    ASSERT_EQ(RunAll(job), "no error");

    // The same task at once: the first result counts, nothing of the second is left.
    std::size_t const files = std::distance(fs::directory_iterator(job.PartsFile("")), fs::directory_iterator());
    PartResult second = *job.FindResult({1});
    second.file = "00002-other.mkv";
    fs::copy(job.PartsFile(job.FindResult({1})->file), job.PartsFile(second.file));
    job.Commit({1}, second);
    EXPECT_NE(job.FindResult({1})->file, second.file);
    EXPECT_EQ(std::distance(fs::directory_iterator(job.PartsFile("")), fs::directory_iterator()), files);

    // A part that is damaged on its disk is made again.
    Damage(job.PartsFile(job.FindResult({1})->file));
    EXPECT_THAT(ErrorOf([&] { Join(job, {}); }), HasSubstr("damaged or gone: part 2"));
    EXPECT_FALSE(job.FindResult({1}));
    EXPECT_FALSE(fs::exists(At("out.mkv")));
    // A source that has changed ends it; the others are not touched.
    fs::copy(At("a.mkv"), At("keep.mkv"));
    Damage(At("a.mkv"));
    EXPECT_THAT(RunAll(job), HasSubstr("a.mkv: has changed since the job was planned"));
    EXPECT_EQ(job.GetState({1}).stage, TaskState::Stage::Failed);
    EXPECT_THAT(ErrorOf([&] { Join(job, {}); }),
                testing::AllOf(HasSubstr("part 2 of"), HasSubstr("has changed since")));
    fs::rename(At("keep.mkv"), At("a.mkv"));
    // So does an edit that has.
    std::string const edit = job.ReadEdit();
    std::ofstream(job.At("edit.json")) << edit << " ";
    EXPECT_THAT(RunAll(job), HasSubstr("edit.json: has changed"));
    std::ofstream(job.At("edit.json")) << edit;
    ASSERT_EQ(RunAll(job), "no error");
    EXPECT_EQ(Join(job, {}).frames, job.GetJob().frames);

    // Another version of the program, and a plan that is not the one that parts were made for.
    std::ifstream file(job.At("job.json"));
    Edit::Json json = Edit::Json::parse(file);
    json["version"] = "0.0.1";
    std::ofstream(job.At("job.json")) << json.dump();
    JobFolder const other(job.GetPath());
    EXPECT_FALSE(other.FindResult({0}));
    EXPECT_THAT(RunAll(other), HasSubstr("planned by kaltor 0.0.1"));

    // A process that comes to no task.
    JobFolder const silent = Plan("silent.mkv");
    LocalOptions local;
    local.program = "/bin/false";
    RunLocally(silent, local);
    EXPECT_THAT(ErrorOf([&] { Join(silent, {}); }), HasSubstr("with status 1; see " + silent.At("log/00001.txt")));

    // A folder that somebody else has written: what it calls its parts is not read and removed elsewhere.
    fs::copy(At("a.mkv"), At("precious.mkv"));
    json["version"] = job.GetJob().version;
    for (auto const& [key, value] : std::initializer_list<std::pair<char const*, Edit::Json>>{
             {"parts", Edit::Json::array()},
             {"parts", {{{"first", 0}, {"end", -5}, {"work", 1.0}}}},
             {"frames", -1},
             {"frameRate", {0, 0}}}) {
        Edit::Json changed = json;
        changed[key] = value;
        std::ofstream(job.At("job.json")) << changed.dump();
        EXPECT_THAT(ErrorOf([&] { JobFolder{job.GetPath()}; }), HasSubstr("job.json: damaged")) << key;
    }
    std::ofstream(job.At("job.json")) << json.dump();
    JobFolder const strange(job.GetPath());
    strange.Commit({2}, {});
    std::ifstream committed(strange.PartsFile("00003.json"));
    Edit::Json result = Edit::Json::parse(committed);
    result["file"] = "../../precious.mkv";
    std::ofstream(strange.PartsFile("00003.json")) << result.dump();
    EXPECT_THAT(ErrorOf([&] { strange.Discard({2}); }), HasSubstr("00003.json: damaged"));
    EXPECT_TRUE(fs::exists(At("precious.mkv")));

    EXPECT_THAT(ErrorOf([&] { JobFolder(At("")); }), HasSubstr("no farm job in this folder"));
    EXPECT_THAT(ErrorOf([&] { JobFolder(At("nowhere")); }), HasSubstr("does not see it"));
    EXPECT_THAT(ErrorOf([&] { Plan("x.gif", ""); }), HasSubstr("gif files cannot be joined"));
    EXPECT_THAT(ErrorOf([&] { Plan("x.mkv", "theora"); }), HasSubstr("x.mkv"));
}

TEST_F(FarmTest, ABatchThatWasStoppedGoesOnWithTheNextVideo) {
    BatchSource source;
    source.form = Edit::Json::parse(R"({"version": 1, "output": {"codec": "ffv1", "seed": "{seed:number}"},
                                        "clips": [{"file": "a.mkv", "effects": [{"effect": "CameraShake"}]}]})");
    source.table = ParseTable("name,seed\none,1\ntwo,2\n", "t.csv");
    source.folder = folder.string();
    PlanningOptions options;
    options.output = At("{name}.mkv");
    PlannedJob const planned = PlanBatch(source, 9, catalog, options);
    ASSERT_EQ(planned.job.parts.size(), 1U);
    JobFolder const job = JobFolder::Create(At("batch"), planned.job, planned.texts);
    ASSERT_EQ(RunAll(job), "no error");
    PartResult const whole = *job.FindResult({0});
    EXPECT_EQ(whole.frames, planned.job.frames);
    EXPECT_FALSE(Media::Tests::ReadPlanes(At("one.mkv")) == Media::Tests::ReadPlanes(At("two.mkv"))) << "their seeds";

    // As it is left by a stop in the second video.
    PartResult first = whole;
    first.videos.pop_back();
    first.frames = first.videos.front().frames;
    job.Discard({0});
    job.KeepAttempt({0}, first);
    fs::remove(At("two.mkv"));
    fs::file_time_type const written = fs::last_write_time(At("one.mkv"));
    ASSERT_EQ(RunAll(job), "no error");
    EXPECT_EQ(fs::last_write_time(At("one.mkv")), written);
    EXPECT_EQ(Join(job, {}).frames, planned.job.frames);
    EXPECT_EQ(job.FindResult({0})->videos.size(), 2U);

    source.form["output"] = 5;
    EXPECT_THAT(ErrorOf([&] { PlanBatch(source, 9, catalog, options); }), HasSubstr("row 1: output: "));
}

TEST(FarmCut, PartsAreOfEqualWorkAndBeginWhereLittleHasToBeOpened) {
    // A cheap half, a dear one, and an overlap of two files around the middle of the work.
    std::vector<Stretch> const stretches{{0, 600, 0.01, 0.1, 0.0},
                                         {600, 1000, 0.04, 0.1, 0.0},
                                         {1000, 1060, 0.05, 1.0, 0.1},
                                         {1060, 1500, 0.04, 0.1, 0.1}};
    for (std::int64_t const count : {1, 2, 7, 40, 5000}) {
        std::vector<Part> const parts = Cut(stretches, count);
        ASSERT_EQ(parts.size(), static_cast<std::size_t>(std::min<std::int64_t>(count, 1500)));
        std::int64_t at = 0;
        for (Part const& part : parts) {
            EXPECT_EQ(part.first, at);
            EXPECT_GT(part.end, part.first);
            at = part.end;
            if (count <= 40) {
                double const mean = SumWork(stretches) / static_cast<double>(count);
                EXPECT_NEAR(part.work, mean, 0.26 * mean + 0.05);
            }
            if (count <= 7) {
                EXPECT_FALSE(part.first > 1000 && part.first < 1060) << part.first;
            }
        }
        EXPECT_EQ(at, 1500);
    }
}

TEST(FarmBatch, TablesAndFields) {
    Table const table = ParseTable("\xEF\xBB\xBFname,n,x\r\n\"Bo, \"\"Jr.\"\"\nII\",2.5,..\n\nÄnne,x,true\n", "t.csv");
    ASSERT_EQ(table.rows.size(), 2U);
    EXPECT_EQ(table.rows[0][0], "Bo, \"Jr.\"\nII");
    Edit::Json const form = Edit::Json::parse(R"({"a": [{"b": "{{{name}}} {n}"}, "{n:number}", 7]})");
    EXPECT_EQ(Fill(form, table, 0), Edit::Json::parse(R"({"a": [{"b": "{Bo, \"Jr.\"\nII} 2.5"}, 2.5, 7]})"));
    EXPECT_THAT(ErrorOf([&] { Fill(form, table, 1); }), HasSubstr("a/1: column n: \"x\" is not a number"));
    EXPECT_EQ(Fill(Edit::Json("{x:flag}"), table, 1), Edit::Json(true));
    EXPECT_THAT(ErrorOf([&] { Fill(std::string("{nam}"), table, 0); }), HasSubstr("did you mean name?"));
    EXPECT_EQ(FillName("/out/v-{n}.mp4", table, 0), "/out/v-2.5.mp4");
    EXPECT_THAT(ErrorOf([&] { FillName("/out/{x}/v.mp4", table, 0); }), HasSubstr("cannot be in the name"));
    Table const slash{{"name"}, {{"../../etc/x"}}};
    EXPECT_THAT(ErrorOf([&] { FillName("/out/v{name}.mp4", slash, 0); }), HasSubstr("cannot be in the name"));
    EXPECT_THAT(ErrorOf([] { ParseTable("a,b\n1\n", "t.csv"); }), HasSubstr("t.csv: line 2 has 1 fields"));
    EXPECT_THAT(ErrorOf([] { ParseTable("a,a\n1,2\n", "t.csv"); }), HasSubstr("two columns a"));
    EXPECT_THAT(ErrorOf([] { ParseTable("a\n\"x\n", "t.csv"); }), HasSubstr("never ends"));
}

}  // namespace
}  // namespace Kaltor::Farm
