// The studio's server as its pages use it: over HTTP, in this process.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Edit/DocumentReader.h"
#include "Media/Picture.h"
#include "Render/Render.h"
#include "Studio/Pages.h"
#include "Studio/RequestError.h"
#include "Studio/Server.h"
#include "Studio/Sounds.h"
#include "Tests/Media/MediaTest.h"

namespace Kaltor::Studio {
namespace {

namespace fs = std::filesystem;
using Edit::Json;
using testing::HasSubstr;

/// Nearly all that a frame may depend on, and sound that is heard through it.
constexpr char kEverything[] = R"({"version": 1,
    "output": {"size": "96x64", "fps": 30, "seed": 3},
    "clips": [
      {"file": "a.mkv", "from": 0.2, "fit": "blur", "effects": [{"effect": "CameraShake"}],
       "joint": {"transition": "Disintegrate", "duration": 0.4}},
      {"file": "b.mkv", "speed": 1.3, "reversed": true,
       "effects": [{"effect": "Twirl", "baseRotation": {"from": 0, "to": 1.5}}]},
      {"title": {"text": "One\nTwo", "animation": "rise"}, "duration": 0.5}],
    "opening": {"transition": "fade", "duration": 0.2},
    "effects": [{"effect": "AddNoize", "strength": 0.1, "from": 0.2}, {"effect": "warm.glsl", "amount": 0.7}],
    "overlays": [
      {"file": "b.mkv", "from": 0.5, "to": 1.6, "width": 0.4, "loop": true, "rotation": {"from": 0, "to": 40},
       "enter": {"transition": "Circle", "duration": 0.3}},
      {"file": "mark.png", "anchor": "top-right", "radius": 0.5, "blend": "screen"},
      {"title": {"text": "Name", "style": "lower-third"}, "from": 0.4}],
    "subtitles": [{"file": "lines.srt"}],
    "sounds": [{"file": "b.mkv", "loop": true, "volume": -6, "duck": {"by": 12}}]})";

constexpr char kShader[] = R"(// Warmer.
uniform float amount = 0.5; // 0..1, how much
vec4 effect(vec2 uv) { vec4 c = getColor(uv); return vec4(mix(c.rgb, c.rgb * vec3(1.1, 1.0, 0.8), amount), c.a); }
)";

class StudioTest : public Media::Tests::MediaTest {
protected:
    StudioTest() {
        Media::Tests::ClipSpec spec;
        spec.draw = Media::Tests::DrawNoise;
        spec.codec = "h264";  // pictures that need others before and behind them
        spec.frames = 60;
        spec.sound = Media::SoundFormat{48000, 2};
        spec.wave = [](std::int64_t n) { return 0.3F * std::sin(static_cast<float>(n) * 0.05F); };
        Make("a.mkv", spec);
        spec.frames = 40;
        spec.frameRate = {25, 1};
        spec.wave = [](std::int64_t n) { return 0.2F * std::sin(static_cast<float>(n) * 0.02F); };
        Make("b.mkv", spec);
        Media::WritePng(At("mark.png"),
                        *Proc::DataVideoFF::Wrap(Media::Tests::MakePicture({20, 12, 1, 1}, Media::Tests::Grey(180))),
                        true);
        Write("lines.srt", "1\n00:00:00,300 --> 00:00:01,500\nA line\n");
        Write("warm.glsl", kShader);
        Write("edit.json", kEverything);
    }
    ~StudioTest() override { End(); }

    void Write(std::string const& name, std::string const& text) const { std::ofstream(At(name)) << text; }
    std::string ReadFile(std::string const& name) const {
        std::ifstream file(At(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void Start(Options options = {}) {
        options.folder = folder.string();
        options.document = "edit.json";
        options.version = "test";
        static constexpr PageFile kPage[]{{"index.html", "<!doctype html><title>page</title>"}};
        options.page = kPage;
        options.loadCatalog = [] { return Host::Catalog::Load(); };
        options.describeEntry = [](Host::CatalogEntry const& entry) { return Json{{"name", entry.name}}; };
        server = std::make_unique<Server>(std::move(options));
        thread = std::thread([this] { server->Run(cancel); });
        std::string const address = server->GetAddress();
        std::size_t const slash = address.find('/', std::string("http://").size());
        host = address.substr(std::string("http://").size(), slash - std::string("http://").size());
        prefix = address.substr(slash);
        // It answers as soon as it listens.
        EXPECT_TRUE(Tests::WaitUntil([this] { return bool(Client()->Get(prefix + "api/alive")); }));
    }
    /// Starts with this limit for the head of a request; gives the address for requests that are no HTTP.
    sockaddr_in StartWithLimit(std::chrono::milliseconds head) {
        Options options;
        options.longestHead = head;
        Start(std::move(options));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(server->GetPort());
        return address;
    }
    void End() {
        if (thread.joinable()) {
            cancel = true;
            thread.join();
            server.reset();
        }
    }

    std::unique_ptr<httplib::Client> Client() const {
        auto client = std::make_unique<httplib::Client>("http://" + host);
        client->set_read_timeout(300);
        return client;
    }
    httplib::Response Get(std::string const& path, httplib::Headers const& headers = {}) const {
        httplib::Result const result = Client()->Get(prefix + path, headers);
        return result ? *result : httplib::Response();
    }
    httplib::Response Post(std::string const& path, std::string const& body,
                           std::string const& type = "application/json") const {
        httplib::Result const result = Client()->Post(prefix + path, body, type);
        return result ? *result : httplib::Response();
    }
    Json PostJson(std::string const& path, Json const& body, int status = 200) const {
        httplib::Response const response = Post(path, body.dump());
        EXPECT_EQ(response.status, status) << path << ": " << response.body;
        return response.body.empty() ? Json() : Json::parse(response.body);
    }
    std::string PlanOf(Json const& document) const { return PostJson("api/plan", document).at("plan"); }

    std::unique_ptr<Server> server;
    std::atomic<bool> cancel = false;
    std::thread thread;
    std::string host;
    std::string prefix;
};

TEST(OpenPages, AHiddenPageIsNoClosedOne) {
    using std::chrono::seconds;
    OpenPages pages;
    OpenPages::Clock::time_point const start = OpenPages::Clock::now();
    EXPECT_FALSE(pages.AreGone(start + seconds(1000))) << "before the first one";
    pages.NoteOpen("a", start);
    pages.NoteOpen("b", start + seconds(1));
    pages.NoteClosed("a", start + seconds(2));
    EXPECT_FALSE(pages.AreGone(start + seconds(61))) << "browsers let hidden pages speak once a minute";
    pages.NoteOpen("b", start + seconds(62));
    pages.NoteClosed("b", start + seconds(63));
    EXPECT_FALSE(pages.AreGone(start + seconds(77))) << "it may be loaded again";
    EXPECT_TRUE(pages.AreGone(start + seconds(79)));
    pages.NoteOpen("c", start + seconds(80));
    EXPECT_FALSE(pages.AreGone(start + seconds(200)));
    EXPECT_TRUE(pages.AreGone(start + seconds(300))) << "a browser that was killed says nothing";
}

TEST_F(StudioTest, OnlyItsOwnPagesGetAnything) {
    Media::Tests::Watchdog const watchdog;
    Start();
    EXPECT_EQ(Get("").status, 200);
    EXPECT_THAT(Get("").get_header_value("Content-Security-Policy"), HasSubstr("default-src 'self'"));
    std::string const port = host.substr(host.find(':'));
    auto const status = [&](httplib::Headers const& headers) { return Get("api/session", headers).status; };
    EXPECT_EQ(status({}), 200);
    EXPECT_EQ(status({{"Host", "localhost" + port}, {"Origin", "http://localhost" + port}}), 200);
    EXPECT_EQ(status({{"Host", "studio.example" + port}}), 403);
    EXPECT_EQ(status({{"Host", "127.0.0.1"}}), 403);
    EXPECT_EQ(status({{"Origin", "http://studio.example"}}), 403);
    EXPECT_EQ(status({{"Origin", "null"}}), 403);
    EXPECT_EQ(status({{"Origin", "http://localhost" + port}}), 403) << "another origin than the host's";
    EXPECT_EQ(status({{"Sec-Fetch-Site", "cross-site"}}), 403);
    EXPECT_EQ(Post("api/plan", kEverything, "text/plain").status, 415) << "a form of another site could send it";
    EXPECT_EQ(Post("api/quit", "{}", "text/plain").status, 415);
    std::string wrong = prefix;
    wrong[5] = wrong[5] == '0' ? '1' : '0';
    for (std::string const& path : {std::string("/"), std::string("/api/session"), wrong, wrong + "api/session",
                                    prefix.substr(0, prefix.size() - 1)}) {
        httplib::Result const result = Client()->Get(path);
        ASSERT_TRUE(result) << path;
        EXPECT_EQ(result->status, 404) << path;
        EXPECT_EQ(result->body, "") << path;
    }
    EXPECT_EQ(Post("api/plan", std::string(std::size_t{18} << 20U, ' ')).status, 413);
    EXPECT_EQ(Post("api/plan", std::string(100, '[')).status, 400);
    httplib::Result const packed =
        Client()->Post(prefix + "api/plan", {{"Content-Encoding", "gzip"}}, "{}", "application/json");
    ASSERT_TRUE(packed);
    EXPECT_EQ(packed->status, 415) << "a small body could unpack to gigabytes";
    auto const sendChunks = [this] {
        return Client()->Post(
            prefix + "api/plan",
            [](std::size_t, httplib::DataSink& sink) {
                sink.write("{}", 2);
                sink.done();
                return true;
            },
            "application/json");
    };
    httplib::Result chunked = sendChunks();
    // The server may close the connection before all is sent: the client then reads no answer.
    for (int attempt = 0; attempt < 100 && !chunked; ++attempt) {
        chunked = sendChunks();
    }
    ASSERT_TRUE(chunked);
    EXPECT_EQ(chunked->status, 411) << "such a body has no limit";
    for (auto const& [key, value] : {std::pair<char const*, Json>{"output", 5}, {"output", Json::array()}}) {
        Json document = Json::parse(Get("api/session").body).at("document");
        document[key] = value;
        Json const wanted{{"document", document}, {"output", "o.mkv"}, {"options", Json::object()}};
        EXPECT_EQ(PostJson("api/export", wanted, 400).at("error"), "\"output\" is not an object");
    }
    EXPECT_EQ(Post("api/quit", "{}").status, 204);
    thread.join();
}

TEST_F(StudioTest, FilesElsewhereStayOutOfReach) {
    Media::Tests::Watchdog const watchdog;
    std::string const secret = folder.string() + "-outside.mkv";
    fs::copy_file(At("a.mkv"), secret);
    fs::create_symlink(secret, At("link.mkv"));
    fs::create_directory(At("sub"));
    mkfifo(At("pipe.mkv").c_str(), 0600);
    std::string const named = folder.string() + "-named.mkv";
    fs::copy_file(At("a.mkv"), named);
    Options options;
    options.named = {named};
    Start(std::move(options));
    auto const document = [](std::string const& file) {
        return Json{{"version", 1}, {"clips", Json::array({Json{{"file", file}}})}};
    };
    std::string const relative = "../" + fs::path(secret).filename().string();
    for (std::string const& file : {secret, relative, "sub/../" + relative, std::string("link.mkv")}) {
        for (std::string const what : {"probe?file=", "thumbnail?file=", "waveform?points=9&file="}) {
            EXPECT_EQ(Get("api/" + what + file).status, 403) << what << file;
        }
        Json const refused = PostJson("api/plan", document(file), 422);
        EXPECT_EQ(refused.at("place"), "/clips/0/file");
        EXPECT_THAT(refused.at("error"), HasSubstr("outside"));
        Json const write{{"document", document("a.mkv")}, {"output", file}, {"overwrite", true}};
        PostJson("api/export", write, 403);
    }
    EXPECT_EQ(Get("api/files?folder=..").status, 403);
    EXPECT_EQ(Get("api/shader?path=../x.glsl").status, 403);
    PostJson("api/shader/save", {{"path", "../x.glsl"}, {"source", kShader}}, 403);
    PostJson("api/save", {{"document", document("a.mkv")}, {"path", "../x.json"}}, 403);
    PostJson("api/save", {{"document", document("a.mkv")}, {"path", ".x.json"}}, 400);
    EXPECT_THAT(PostJson("api/plan", document("pipe.mkv"), 422).at("error"), HasSubstr("pipe"));
    EXPECT_EQ(Get("api/probe?file=" + named).status, 200);
    PlanOf(document(named));
    Json const files = Json::parse(Get("api/files").body);
    std::vector<std::string> names;
    for (Json const& entry : files.at("entries")) {
        names.push_back(entry.at("name"));
    }
    EXPECT_THAT(names, testing::IsSupersetOf({std::string("a.mkv"), std::string("sub"), named}));
    EXPECT_THAT(names, testing::Not(testing::Contains("link.mkv")));
    fs::remove(secret);
    fs::remove(named);
}

TEST_F(StudioTest, FullFramesAreThoseOfRenderInAnyOrder) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Json const document = Json::parse(Get("api/session").body).at("document");
    Json const plan = PostJson("api/plan", document);
    Host::Catalog const catalog = Host::Catalog::Load();
    Render::RenderJob job;
    job.document = Edit::ReadDocument(document, catalog, {folder.string()});
    Edit::ResolvePaths(job.document, folder.string(), Edit::Trust::OwnFolder);
    auto const compare = [&](std::int64_t number) {
        httplib::Response const frame =
            Get(fmt::format("api/plan/{}/frame/{}?width=0", plan.at("plan").get<std::string>(), number));
        ASSERT_EQ(frame.status, 200) << frame.body;
        std::vector<std::uint8_t> const expected = Media::EncodePng(*Proc::DataVideoFF::Wrap(
            Render::RenderPicture(job, (static_cast<double>(number) + 0.01) / 30.0, catalog.GetFactory())));
        EXPECT_TRUE(frame.body == std::string(expected.begin(), expected.end())) << "frame " << number;
    };
    std::int64_t const frames = plan.at("frames");
    // There and back; then one after the other, through the joint; then the same once more.
    for (std::int64_t const number :
         {std::int64_t{30}, std::int64_t{3}, frames - 1, std::int64_t{55}, std::int64_t{12}, std::int64_t{40},
          std::int64_t{41}, std::int64_t{42}, std::int64_t{43}, std::int64_t{44}, std::int64_t{39}, frames - 8}) {
        compare(number);
    }
    EXPECT_EQ(Get(fmt::format("api/plan/{}/frame/{}?width=0", plan.at("plan").get<std::string>(), frames)).status, 404);
}

TEST_F(StudioTest, PreviewsAreTheWholeFramesMadeSmaller) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Media::Tests::ClipSpec spec;
    spec.frame = {192, 144, 1, 1};
    spec.draw = [](AVFrame& picture, int) {
        for (int y = 0; y < picture.height; ++y) {
            for (int x = 0; x < picture.width; ++x) {
                picture.data[0][y * picture.linesize[0] + x] = static_cast<std::uint8_t>(30 + x / 2 + y / 2);
            }
        }
    };
    Make("slope.mkv", spec);
    // Everything that is measured in pixels, and what fits in no other shape.
    Json const document = Json::parse(R"({"version": 1, "output": {"size": "384x256"}, "clips": [
        {"file": "slope.mkv", "fit": "fill", "effects": [{"effect": "blur", "scale": 0.02}]}],
        "overlays": [{"file": "mark.png", "anchor": "top-left", "x": 40, "y": 60, "inPixels": true, "radius": "8px"},
                     {"color": "#00FF0080", "opacity": 0.3, "blend": "screen"},
                     {"color": "#FF0000", "width": "96px", "height": "64px", "anchor": "bottom-right"},
                     {"title": {"text": "Title", "size": 0.2}}]})");
    std::string const plan = PlanOf(document);
    auto const show = [&](std::string const& width) {
        std::string const body = Get(fmt::format("api/plan/{}/frame/7?width={}", plan, width)).body;
        return Media::DecodePicture({body.begin(), body.end()}, width);
    };
    auto const whole = show("0");
    auto const small = show("192");
    ASSERT_EQ(small->GetFrameInfo().width, 192U);
    ASSERT_EQ(small->GetFrameInfo().height, 128U);
    // In blocks of 8 x 8 pixels of the small one: JPEG, resampling and the letters' edges differ.
    double worst = 0.0;
    double sum = 0.0;
    for (int y = 0; y < 128; y += 8) {
        for (int x = 0; x < 192; x += 8) {
            for (int c = 0; c < 3; ++c) {
                auto const mean = [c](Proc::DataVideoFF const& picture, int left, int top, int side) {
                    AVFrame const& frame = picture.GetFrame();
                    double total = 0.0;
                    for (int row = top; row < top + side; ++row) {
                        for (int column = left; column < left + side; ++column) {
                            total += frame.data[0][row * frame.linesize[0] + 3 * column + c];
                        }
                    }
                    return total / (side * side);
                };
                double const difference = std::abs(mean(*small, x, y, 8) - mean(*whole, 2 * x, 2 * y, 16));
                worst = std::max(worst, difference);
                sum += difference;
            }
        }
    }
    EXPECT_LT(sum / (16 * 24 * 3), 3.0);
    EXPECT_LT(worst, 40.0) << "something lies elsewhere";
}

TEST_F(StudioTest, SoundIsTheRendersSampleBySample) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Json const document = Json::parse(kEverything);
    std::string const plan = PlanOf(document);
    Host::Catalog const catalog = Host::Catalog::Load();
    Render::RenderJob job;
    job.document = Edit::ReadDocument(document, catalog, {folder.string()});
    Edit::ResolvePaths(job.document, folder.string(), Edit::Trust::OwnFolder);
    job.document.output.audioCodec = "pcm_s16le";
    job.document.mix.channels = Edit::Mix::Channels::Stereo;
    job.output = At("sound.mkv");
    job.content = Render::RenderJob::Content::Sound;
    Render::Render(job, catalog.GetFactory());
    constexpr std::size_t kSamples = 48'000 * 18 / 10;
    std::vector<std::vector<float>> const expected = Media::Tests::ReadSound(At("sound.mkv"), {48'000, 2}, kSamples);
    // A later piece first: what is before it is heard in it.
    for (auto const& [from, to] : {std::pair(1.15, 1.8), {0.0, 0.4}, {0.4, 1.15}}) {
        std::string const wav = Get(fmt::format("api/plan/{}/sound?from={}&to={}", plan, from, to)).body;
        auto const first = static_cast<std::size_t>(std::lround(from * 48'000));
        auto const count = static_cast<std::size_t>(std::lround(to * 48'000)) - first;
        constexpr std::size_t kHeader = 44;
        ASSERT_EQ(wav.size(), kHeader + 4 * count);
        for (std::size_t i = 0; i < 2 * count; ++i) {
            std::int16_t sample = 0;
            std::memcpy(&sample, wav.data() + kHeader + 2 * i, sizeof sample);
            ASSERT_EQ(sample, std::lround(expected[i % 2][first + i / 2] * 32768.0F)) << from << ", sample " << i / 2;
        }
    }
    EXPECT_EQ(Get(fmt::format("api/plan/{}/sound?from=0&to=1000", plan)).status, 400);

    // The sound's own id changes with what is heard, how a volume goes over included, and with nothing else.
    auto const soundOf = [this](Json const& edit) { return PostJson("api/plan", edit).at("soundId"); };
    Json eased = document;
    eased["sounds"][0]["volume"] = {{"from", -20}, {"to", 0}, {"easing", "linear"}};
    Json const linear = soundOf(eased);
    eased["sounds"][0]["volume"]["easing"] = "easeInCubic";
    EXPECT_NE(soundOf(eased), linear);
    Json tinted = document;
    tinted["effects"].push_back({{"effect", "Invert"}});
    EXPECT_EQ(soundOf(tinted), soundOf(document));
}

TEST_F(StudioTest, ExportsAreTheRendersFilesAndCanBeStopped) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Json const document = Json::parse(kEverything);
    Json const options{{"codec", "ffv1"}, {"size", "48x32"}};
    auto const start = [&](Json const& body) { return PostJson("api/export", body).at("job").get<std::string>(); };
    auto const wait = [&](std::string const& job) {
        for (;;) {
            Json const state = Json::parse(Get("api/export/" + job).body);
            if (state.at("state") != "running") {
                return state;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    };
    Json const done = wait(start({{"document", document}, {"output", "out.mkv"}, {"options", options}}));
    EXPECT_EQ(done.at("state"), "done") << done;
    EXPECT_EQ(done.at("frame"), done.at("frames"));
    Host::Catalog const catalog = Host::Catalog::Load();
    Render::RenderJob job;
    job.document = Edit::ReadDocument(document, catalog, {folder.string()});
    Edit::ResolvePaths(job.document, folder.string(), Edit::Trust::OwnFolder);
    job.document.output.codec = "ffv1";
    job.document.output.size = Edit::PixelSize{48, 32};
    job.output = At("expected.mkv");
    Render::Render(job, catalog.GetFactory());
    // Matroska files have a random number each.
    EXPECT_TRUE(Media::Tests::ReadPlanes(At("out.mkv")) == Media::Tests::ReadPlanes(At("expected.mkv")));
    auto const hear = [this](char const* file) { return Media::Tests::ReadSound(At(file), {48'000, 2}, 96'000); };
    EXPECT_TRUE(hear("out.mkv") == hear("expected.mkv"));
    PostJson("api/export", {{"document", document}, {"output", "out.mkv"}}, 409);
    PostJson("api/export", {{"document", document}, {"output", "a.mkv"}, {"overwrite", true}}, 409);
    // Long enough to be caught.
    Json longer = document;
    longer["clips"].push_back({{"color", "#FF0000"}, {"duration", 600}});
    std::string const stopped = start({{"document", longer}, {"output", "long.mkv"}});
    PostJson("api/export/" + stopped + "/cancel", Json::object(), 204);
    EXPECT_EQ(wait(stopped).at("state"), "cancelled");
    EXPECT_THAT(ListFolder(), testing::Not(testing::Contains(HasSubstr("long"))));
    EXPECT_EQ(wait(start({{"document", document}, {"output", "out.txt"}})).at("state"), "failed");
    // What still runs at the end leaves nothing behind.
    start({{"document", longer}, {"output", "long.mkv"}});
    start({{"document", longer}, {"output", "long2.mkv"}});
    PostJson("api/export", {{"document", longer}, {"output", "long3.mkv"}}, 429);
    End();
    EXPECT_THAT(ListFolder(), testing::Not(testing::Contains(HasSubstr("long"))));
}

TEST_F(StudioTest, ConnectionsThatNeverEndKeepNeitherPagesNorItsEndWaiting) {
    Media::Tests::Watchdog const watchdog;
    sockaddr_in const address = StartWithLimit(std::chrono::milliseconds(500));
    constexpr std::size_t kSenders = 60;  // more than there are threads
    std::vector<int> sockets(kSenders);
    auto const connect = [&address](int& slow) {
        slow = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(::connect(slow, reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
    };
    std::for_each(sockets.begin(), sockets.end(), connect);
    std::jthread const dripping([&sockets](std::stop_token const& stop) {
        while (!stop.stop_requested()) {
            for (int const slow : sockets) {
                ::send(slow, "x", 1, MSG_NOSIGNAL);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        std::for_each(sockets.begin(), sockets.end(), ::close);
    });
    auto const get = [this] {
        std::unique_ptr<httplib::Client> const client = Client();
        client->set_read_timeout(20);
        return client->Get(prefix + "api/session");
    };
    // On a busy machine a request of ours may be late, too.
    httplib::Result answer = get();
    for (int attempt = 0; attempt < 20 && !answer; ++attempt) {
        answer = get();
    }
    ASSERT_TRUE(answer) << "slow senders have all threads";
    EXPECT_EQ(answer->status, 200);
    End();
}

/// Lets this process have so many descriptors at most, and takes of them.
class FewDescriptors {
public:
    explicit FewDescriptors(rlim_t most) {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
        rlimit const fewer{most, before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &fewer), 0);
    }
    ~FewDescriptors() {
        std::for_each(taken.begin(), taken.end(), ::close);
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    }
    FewDescriptors(FewDescriptors const&) = delete;
    FewDescriptors& operator=(FewDescriptors const&) = delete;

    void Take(int file) { taken.push_back(::dup(file)); }

private:
    rlimit before{};
    std::vector<int> taken;
};

TEST_F(StudioTest, AConnectionThatCannotBeWatchedIsEnded) {
    Media::Tests::Watchdog const watchdog;
    sockaddr_in const address = StartWithLimit(std::chrono::milliseconds(200));
    int const slow = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    constexpr int kMost = 256;
    std::optional<FewDescriptors> few(kMost);
    auto const countFree = [] {
        int count = 0;
        for (int file = 0; file < kMost; ++file) {
            count += ::fcntl(file, F_GETFD) < 0 ? 1 : 0;
        }
        return count;
    };
    // One is left, for the connection itself. Earlier ones are closed a little later.
    for (int i = 0; i < 20; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        while (countFree() > 1) {
            few->Take(slow);
        }
    }
    ASSERT_EQ(::connect(slow, reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
    // The library's own limit begins anew with each byte.
    EXPECT_TRUE(Tests::WaitUntil([slow] {
        ::send(slow, "x", 1, MSG_NOSIGNAL);
        pollfd waiting{slow, POLLIN, 0};
        return ::poll(&waiting, 1, 100) > 0;
    })) << "it has a thread for ever";
    few.reset();
    ::close(slow);
    // On a busy machine a request of ours may be late, too.
    EXPECT_TRUE(Tests::WaitUntil([this] { return Get("api/session").status == 200; })) << "others are not served again";
    End();
}

TEST_F(StudioTest, WhatAViewNoLongerWaitsForIsDropped) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Json document = Json::parse(kEverything);
    document["output"]["size"] = "640x426";
    std::string plan;
    auto const frame = [this, &plan](int number, std::string const& view, int sequence) {
        return std::async(std::launch::async, [this, plan, number, view, sequence] {
            return Get(fmt::format("api/plan/{}/frame/{}?width=0&view={}&seq={}", plan, number, view, sequence)).status;
        });
    };
    constexpr int kRequests = 30;
    int dropped = 0;
    int sequence = 0;
    // Where requests come no faster than frames are drawn, nothing has to be dropped.
    for (int round = 0; round < 10 && dropped <= 5; ++round) {
        document["output"]["seed"] = round;
        plan = PlanOf(document);
        std::future<int> other = frame(2, "other", round);
        std::vector<std::future<int>> scrub;
        for (int i = 0; i < kRequests; ++i) {
            scrub.push_back(frame(10 + i, "one", ++sequence));
        }
        for (std::size_t i = 0; i < scrub.size(); ++i) {
            int const status = scrub[i].get();
            dropped += status == 409 ? 1 : 0;
            EXPECT_TRUE(status == 200 || (status == 409 && i + 1 < scrub.size())) << "the last one is wanted";
        }
        EXPECT_EQ(other.get(), 200) << "another view's";
    }
    EXPECT_GT(dropped, 5);
    EXPECT_EQ(Get(fmt::format("api/plan/{}/frame/2?width=0&view=one&seq=0", plan)).status, 200) << "it was kept";
    std::vector<std::future<int>> flood;
    for (int i = 0; i < kRequests; ++i) {
        flood.push_back(frame(i, "same", 100));  // one sequence drops nothing of its own
    }
    for (std::future<int>& one : flood) {
        EXPECT_EQ(one.get(), 200);
    }
}

TEST_F(StudioTest, PagesOfOneEditKeepCopiesOfTheirOwn) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Json const document = Json::parse(Get("api/session").body).at("document");
    auto const with = [&document](int seed) {
        Json changed = document;
        changed["output"]["seed"] = seed;
        return changed;
    };
    auto const seedIn = [this](std::string const& name) {
        return Json::parse(ReadFile(name)).at("output").at("seed").get<int>();
    };
    auto const keep = [&](int seed, Json const& copy) {
        return PostJson("api/autosave", {{"document", with(seed)}, {"copy", copy}}).at("copy");
    };
    Json const one = keep(1, nullptr);
    Json const two = keep(2, nullptr);  // another page, or another studio
    EXPECT_EQ(seedIn(".edit.autosave.json"), 1);
    EXPECT_EQ(seedIn(".edit.autosave-2.json"), 2);
    // Files that are written within one tick of the system's clock have the same time.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Json const newer = keep(11, one);
    EXPECT_EQ(seedIn(".edit.autosave.json"), 11) << "its own is replaced";
    EXPECT_EQ(Json::parse(Get("api/session").body).at("autosave").at("copy"), newer) << "the newest is offered";
    PostJson("api/autosave", {{"document", nullptr}, {"copy", one}}, 204);
    EXPECT_EQ(seedIn(".edit.autosave.json"), 11) << "a page that has seen the older one does not remove the newer";
    PostJson("api/save", {{"document", with(2)}, {"copy", two}, {"overwrite", true}});
    EXPECT_FALSE(fs::exists(At(".edit.autosave-2.json")));
    EXPECT_EQ(seedIn(".edit.autosave.json"), 11) << "saving ends only the page's own";
    fs::remove(At(".edit.autosave.json"));
    fs::create_symlink(At("warm.glsl"), At(".edit.autosave.json"));
    keep(12, newer);
    EXPECT_EQ(ReadFile("warm.glsl"), kShader);
    EXPECT_EQ(seedIn(".edit.autosave-2.json"), 12);
}

TEST_F(StudioTest, ACopyOfAnOpenPageIsNeitherTakenNorRemoved) {
    Media::Tests::Watchdog const watchdog;
    Options another;
    another.folder = folder.string();
    another.document = "edit.json";
    another.loadCatalog = [] { return Host::Catalog::Load(); };
    Start();
    Json const document = Json::parse(Get("api/session").body).at("document");
    auto const seedIn = [this](std::string const& name) {
        return Json::parse(ReadFile(name)).at("output").at("seed").get<int>();
    };
    auto const keep = [&](char const* page, int seed, Json const& copy, Json const& path) {
        Json changed = document;
        changed["output"]["seed"] = seed;
        return PostJson("api/autosave", {{"document", changed}, {"copy", copy}, {"page", page}, {"path", path}})
            .at("copy")
            .get<std::string>();
    };
    auto const offered = [this](std::string const& query = "") {
        return Json::parse(Get("api/session" + query).body).at("autosave");
    };
    auto const alive = [this](std::string const& page, std::string const& copy) {
        std::string const file = copy.substr(0, copy.find('|'));
        return Get("api/alive?page=" + page + "&copy=" + file + "%7C" + copy.substr(file.size() + 1)).status;
    };
    auto const remove = [this](std::string const& page, std::string const& copy) {
        PostJson("api/autosave", {{"document", nullptr}, {"copy", copy}, {"page", page}}, 204);
    };
    Get("api/alive?page=one");
    Get("api/alive?page=two");
    std::string const first = keep("one", 1, nullptr, "edit.json");
    EXPECT_TRUE(offered().at("open").get<bool>());
    remove("two", first);
    EXPECT_EQ(keep("two", 2, first, "edit.json").find(".edit.autosave-2.json"), 0U) << "taken, but it is another's";
    EXPECT_EQ(seedIn(".edit.autosave.json"), 1);
    EXPECT_EQ(alive("one", first), 204);
    EXPECT_EQ(alive("two", first), 404);

    // Another studio sees that they are kept, and begins its own.
    Server other(std::move(another));
    std::atomic<bool> isOver = false;
    std::jthread const serving([&] { other.Run(isOver); });
    std::string const address = other.GetAddress();
    std::size_t const slash = address.find('/', std::string("http://").size());
    httplib::Client client(address.substr(0, slash));
    client.set_read_timeout(300);
    Json const theirs{{"document", document}, {"copy", first}, {"page", "three"}};
    httplib::Result const begun =
        client.Post(address.substr(slash) + "api/autosave", theirs.dump(), "application/json");
    isOver = true;
    ASSERT_TRUE(begun);
    EXPECT_THAT(begun->body, HasSubstr(".edit.autosave-3.json"));
    EXPECT_EQ(seedIn(".edit.autosave.json"), 1);
    fs::remove(At(".edit.autosave-3.json"));

    // One page saves under another name: the other one's copy stays with the edit that it is of.
    std::string const second = keep("one", 11, first, "edit.json");
    PostJson("api/save", {{"document", document}, {"path", "new.json"}, {"copy", second}, {"page", "one"}});
    EXPECT_FALSE(fs::exists(At(".edit.autosave.json")));
    std::string const older = offered("?path=edit.json").at("copy");
    std::string const newer = keep("two", 22, older, "edit.json");
    EXPECT_EQ(seedIn(".edit.autosave-2.json"), 22) << "its own is replaced";
    EXPECT_FALSE(fs::exists(At(".new.autosave.json")));
    EXPECT_EQ(Json::parse(Get("api/session").body).at("path"), "new.json");
    EXPECT_TRUE(offered().is_null());

    // A page that is gone leaves its copy to the next one.
    keep("one", 31, nullptr, "edit.json");
    Get("api/alive?closed=1&page=two");
    Json const left = offered("?path=edit.json");
    EXPECT_EQ(left.at("copy"), newer) << "before the newer one of a page that is open";
    EXPECT_FALSE(left.at("open").get<bool>());
    keep("one", 32, newer, "edit.json");
    EXPECT_EQ(seedIn(".edit.autosave-2.json"), 32);
    EXPECT_EQ(Get("api/session?path=../edit.json").status, 403);
    PostJson("api/autosave", {{"document", document}, {"path", "../edit.json"}, {"page", "one"}}, 403);
}

TEST_F(StudioTest, SavingKeepsWhatOthersWroteAndAutosaveStandsBeside) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Json session = Json::parse(Get("api/session").body);
    EXPECT_EQ(session.at("path"), "edit.json");
    EXPECT_TRUE(session.at("autosave").is_null());
    Json document = session.at("document");
    document["output"]["seed"] = 4;
    Json const copy = PostJson("api/autosave", {{"document", document}}).at("copy");
    EXPECT_EQ(Json::parse(Get("api/session").body).at("autosave").at("document"), document);
    EXPECT_EQ(Json::parse(Get("api/session").body).at("autosave").at("copy"), copy);
    EXPECT_EQ(ReadFile("edit.json"), kEverything) << "the edit itself is as it was";
    Json const saved =
        PostJson("api/save", {{"document", document}, {"revision", session.at("revision")}, {"copy", copy}});
    EXPECT_TRUE(Json::parse(Get("api/session").body).at("autosave").is_null());
    Json const written = Json::parse(ReadFile("edit.json"));
    EXPECT_EQ(written.at("output").at("seed"), 4);
    EXPECT_EQ(written.at("clips").at(0).at("file"), "a.mkv");
    EXPECT_EQ(written.at("effects").at(1).at("effect"), "warm.glsl");
    PostJson("api/plan", written);
    Write("edit.json", "{\"version\": 1, \"clips\": [{\"file\": \"b.mkv\"}]}");
    Json const again{{"document", document}, {"revision", saved.at("revision")}};
    EXPECT_THAT(PostJson("api/save", again, 409).at("error"), HasSubstr("changed"));
    EXPECT_THAT(ReadFile("edit.json"), HasSubstr("b.mkv"));
    PostJson("api/save", {{"document", document}, {"overwrite", true}});
    EXPECT_THAT(ReadFile("edit.json"), HasSubstr("a.mkv"));
    Json broken = document;
    broken["clips"][0]["speed"] = 100;
    EXPECT_EQ(PostJson("api/save", {{"document", broken}, {"overwrite", true}}, 422).at("place"), "/clips/0/speed");
    EXPECT_EQ(PostJson("api/plan", broken, 422).at("error"), "100 is above 20");
    broken = document;
    broken["clips"][1]["file"] = "gone.mkv";
    EXPECT_EQ(PostJson("api/plan", broken, 422).at("place"), "/clips/1/file");
}

TEST_F(StudioTest, ChangedFilesMakeAnotherPlan) {
    Media::Tests::Watchdog const watchdog;
    Start();
    Json const document = Json::parse(R"({"version": 1, "clips": [{"file": "a.mkv"}], "effects": [
        {"effect": "warm.glsl", "amount": 1}]})");
    std::string const first = PlanOf(document);
    std::string const before = Get(fmt::format("api/plan/{}/frame/3?width=0", first)).body;
    EXPECT_EQ(PlanOf(document), first);
    std::string const source = "vec4 effect(vec2 uv) { return vec4(0.0, 0.0, 1.0, 1.0); }\n";
    PostJson("api/shader/save", {{"path", "warm.glsl"}, {"source", source}}, 409);
    Json const read = Json::parse(Get("api/shader?path=warm.glsl").body);
    EXPECT_EQ(read.at("source"), kShader);
    PostJson("api/shader/save", {{"path", "warm.glsl"}, {"source", source}, {"revision", read.at("revision")}});
    EXPECT_EQ(PostJson("api/plan", document, 422).at("place"), "/effects/0/amount") << "the new file has no such field";
    Json changed = document;
    changed["effects"][0].erase("amount");
    std::string const body = Get(fmt::format("api/plan/{}/frame/3?width=0", PlanOf(changed))).body;
    auto const blue = Media::DecodePicture({body.begin(), body.end()}, "frame");
    std::uint8_t const* const pixel = blue->GetFrame().data[0];
    EXPECT_LT(pixel[0], 10);
    EXPECT_GT(pixel[2], 240);
    // The former plan is still what it was.
    EXPECT_TRUE(Get(fmt::format("api/plan/{}/frame/3?width=0", first)).body == before);
    Json const errors = PostJson(
        "api/shader", {{"name", "x.glsl"}, {"source", "// A.\nvec4 effect(vec2 uv) {\n  return vec5(1.0);\n}\n"}});
    ASSERT_FALSE(errors.at("errors").empty());
    EXPECT_EQ(errors.at("errors").at(0).at("line"), 3) << errors;
    EXPECT_TRUE(PostJson("api/shader", {{"name", "x.glsl"}, {"source", kShader}}).at("errors").empty());
}

TEST_F(StudioTest, SourcesShowWhatTheyHold) {
    Media::Tests::Watchdog const watchdog;
    Media::Tests::ClipSpec spec;
    spec.frames = 60;
    spec.sound = Media::SoundFormat{48000, 1};
    // Silence, then a wave that reaches further up than down.
    spec.wave = [](std::int64_t n) { return n < 48'000 ? 0.0F : (n / 10 % 2 == 0 ? 0.75F : -0.25F); };
    Make("wave.mkv", spec);
    Start();
    Json const probe = Json::parse(Get("api/probe?file=wave.mkv").body);
    EXPECT_EQ(probe.at("width"), 64);
    EXPECT_NEAR(probe.at("seconds").get<double>(), 2.0, 0.05);
    EXPECT_TRUE(probe.at("sound").get<bool>());
    Json const wave = Json::parse(Get("api/waveform?file=wave.mkv&points=8").body);
    ASSERT_EQ(wave.at("peaks").size(), 8U);
    EXPECT_NEAR(wave.at("peaks").at(2).at(1).get<double>(), 0.0, 0.01);
    // The sound's codec overshoots at steps.
    EXPECT_NEAR(wave.at("peaks").at(6).at(0).get<double>(), -0.25, 0.15);
    EXPECT_NEAR(wave.at("peaks").at(6).at(1).get<double>(), 0.75, 0.15);
    EXPECT_EQ(Get("api/waveform?file=wave.mkv&points=1000000").status, 400);
    for (int const number : {5, 40}) {
        std::string const body =
            Get(fmt::format("api/thumbnail?file=wave.mkv&time={}&height=24", (number + 0.5) / 30.0)).body;
        auto const picture = Media::DecodePicture({body.begin(), body.end()}, "thumbnail");
        EXPECT_EQ(picture->GetFrameInfo().width, 32U);
        double const grey = (Media::Tests::LumaOf(number) - 16.0) * 255.0 / 219.0;
        EXPECT_NEAR(picture->GetFrame().data[0][0], grey, 4.0) << number;
    }
}

}  // namespace
}  // namespace Kaltor::Studio
