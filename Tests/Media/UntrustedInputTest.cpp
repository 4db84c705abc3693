// What files of others and a busy machine may do to a reader and a writer: nothing but an error.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "Media/PartialFile.h"
#include "Media/Picture.h"
#include "MediaTest.h"

namespace Kaltor::Media::Tests {
namespace {

using testing::UnorderedElementsAre;
using UntrustedInputTest = MediaTest;

/// A server on this machine that counts who calls.
class Listener {
public:
    Listener() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        EXPECT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(socket, 8), 0);
        EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
        port = ntohs(address.sin_port);
    }
    ~Listener() { close(socket); }
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;

    bool WasCalled() const {
        int const caller = accept4(socket, nullptr, nullptr, SOCK_NONBLOCK);
        if (caller >= 0) {
            close(caller);
        }
        return caller >= 0;
    }

    int port = 0;

private:
    int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
};

TEST_F(UntrustedInputTest, AFileOpensNoOtherUnlessAskedAndNeverTheNetwork) {
    Make("secret.mkv", {.frames = 7});
    Listener const server;
    std::string const segment = fmt::format(
        "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nhttp://127.0.0.1:{}/a.ts\n#EXT-X-ENDLIST\n", server.port);
    struct Case {
        std::string text;
        char const* message;
        bool isNetwork;
    };
    for (Case const& c :
         {Case{"ffconcat version 1.0\nfile secret.mkv\n", "is a playlist (concat)", false},
          {segment, "is a playlist (hls)", true},
          {"<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
           "profiles=\"urn:mpeg:dash:profile:isoff-on-demand:2011\"></MPD>",
           "is a playlist (dash)", false},
          {fmt::format("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video {} RTP/AVP 96\n"
                       "a=rtpmap:96 H264/90000\n",
                       server.port),
           "describes a stream on a network (sdp)", true}}) {
        for (std::string const name : {"x.mp4", "x"}) {
            WriteText(At(name), c.text);
            EXPECT_THAT(Catch<MediaError>([&] { Probe(At(name)); }).what, HasSubstr(c.message)) << name;
        }
        // What has the name of a picture is refused as a playlist or, the network's text, as a damaged picture.
        WriteText(At("x.png"), c.text);
        EXPECT_THROW(Probe(At("x.png")), MediaError);
        EXPECT_THROW(ReadPicture(At("x.png")), MediaError);
        std::vector<std::uint8_t> const bytes(c.text.begin(), c.text.end());
        EXPECT_THAT(Catch<MediaError>([&] { DecodePicture(bytes, "standard input"); }).what, HasSubstr(c.message));
        if (c.isNetwork) {
            EXPECT_THROW(Probe(At("x"), {.allowPlaylists = true}), MediaError);
        }
        EXPECT_FALSE(server.WasCalled()) << c.message;
    }
    WriteText(At("list"), "ffconcat version 1.0\nfile secret.mkv\nfile secret.mkv\n");
    EXPECT_NEAR(static_cast<double>(Probe(At("list"), {.allowPlaylists = true}).duration.count()), 14e6 / 30, 1e4);

    // FFmpeg's seeking in such a list crashes.
    WriteText(At("gap"),
              "ffconcat version 1.0\nfile secret.mkv\ninpoint 0.1\noutpoint 0.2\nfile secret.mkv\nduration 1\n"
              "stream\nexact_stream_id 0.2\nfile missing.mkv\nduration 1\nstream\nexact_stream_id 1\n");
    EXPECT_LT(Probe(At("gap"), {.allowPlaylists = true}).duration, std::chrono::seconds(2));

    // A stop is seen while files are opened.
    std::atomic<bool> const stop{true};
    EXPECT_THROW(Probe(At("list"), {.allowPlaylists = true, .stop = &stop}), Cancelled);
}

TEST_F(UntrustedInputTest, APlaylistThatIsAllowedHasLimits) {
    Make("a.mkv", {.frames = 7});
    fs::create_symlink("/dev/zero", At("zero.m3u8"));
    std::string const master = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1000\n{}\n";
    std::string const list = "ffconcat version 1.0\n{}";
    std::string const large = std::string(1 << 20, '#') + "\n";
    WriteText(At("large.m3u8"), "#EXTM3U\n" + large);
    WriteText(At("list"), fmt::format(fmt::runtime(list), "file a.mkv\n"));
    Watchdog const watchdog;
    struct Case {
        std::string text;
        char const* message;
    };
    for (Case const& c : {Case{fmt::format(fmt::runtime(master), "x.m3u8"), "names more than 100 playlists, or itself"},
                          {fmt::format(fmt::runtime(master), "zero.m3u8"), "which is not a plain file"},
                          {fmt::format(fmt::runtime(master), "large.m3u8"), "large.m3u8\", which has more than"},
                          {"#EXTM3U\n#EXT-X-TARGETDURATION:1\n" + large, "is a playlist of more than 1048576 bytes"},
                          {fmt::format(fmt::runtime(list), large), "is a playlist of more than 1048576 bytes"},
                          {fmt::format(fmt::runtime(list), "file list\n"), "no playlists but HLS's own"},
                          {fmt::format(fmt::runtime(list), "file x.m3u8\n"), "no playlists but HLS's own"}}) {
        WriteText(At("x.m3u8"), c.text);
        EXPECT_THAT(Catch<MediaError>([&] { Probe(At("x.m3u8"), {.allowPlaylists = true}); }).what,
                    HasSubstr(c.message));
    }
}

TEST_F(UntrustedInputTest, APictureThatMemoryCannotHoldIsNotDecoded) {
#ifdef KALTOR_SANITIZED
    GTEST_SKIP() << "the sanitizer's own memory counts, too";
#endif
    constexpr int kSide = 5000;
    WriteText(At("large.pgm"), fmt::format("P5\n{0} {0}\n255\n", kSide) + std::string(kSide * kSide, 'x'));
    EXPECT_EQ(Probe(At("large.pgm")).frame.width, 5000U);
    rlimit before{};
    getrlimit(RLIMIT_DATA, &before);
    rlimit const less{rlim_t{24} * kSide * kSide, before.rlim_max};
    setrlimit(RLIMIT_DATA, &less);
    std::string const message = Catch<MediaError>([&] { Probe(At("large.pgm")); }).what;
    setrlimit(RLIMIT_DATA, &before);
    EXPECT_THAT(message, HasSubstr("large.pgm: its picture, 5000x5000, is too large"));
}

TEST_F(UntrustedInputTest, WhatAKilledProcessLeftIsSweptAndNothingElse) {
    for (std::string const name :
         {".x.mp4.999-3.partial", ".x.mp4.mine.partial", ".y.mp4.999-3.partial", ".x.mp4.partial"}) {
        WriteText(At(name), "left");
    }
    std::vector<std::string> warnings;
    auto const warn = [&](std::string const& text) { warnings.push_back(text); };
    PartialFile first(At("x.mp4"), false, warn);
    EXPECT_THAT(warnings, ElementsAre(AllOf(HasSubstr("x.mp4: removed "), HasSubstr(".x.mp4.999-3.partial"))));
    PartialFile const second(At("x.mp4"), false, warn);
    EXPECT_EQ(warnings.size(), 1U) << "the first one still grows";
    EXPECT_THAT(ListFolder(), UnorderedElementsAre(".x.mp4.mine.partial", ".y.mp4.999-3.partial", ".x.mp4.partial",
                                                   fs::path(first.GetPath()).filename().string(),
                                                   fs::path(second.GetPath()).filename().string()));
    first.Commit();
    EXPECT_EQ(ReadAll(At("x.mp4")), "");
}

TEST_F(UntrustedInputTest, ALinkStaysAndItsTargetIsWritten) {
    fs::create_directory(At("there"));
    fs::create_symlink("there/video", At("link"));
    fs::create_symlink("link", At("further"));
    fs::create_symlink("loop", At("loop"));
    std::vector<std::uint8_t> const content{'n', 'e', 'w'};
    EXPECT_THAT(Catch<MediaError>([&] { PartialFile(At("link"), false); }).what, HasSubstr("which is not there"));
    EXPECT_THAT(Catch<MediaError>([&] { PartialFile(At("loop"), true); }).what, HasSubstr("leads nowhere"));
    for (std::string const before : {"", "old"}) {
        if (!before.empty()) {
            WriteText(At("there/video"), before);
            EXPECT_THAT(Catch<MediaError>([&] { PartialFile(At("further"), false); }).what,
                        HasSubstr("exists already"));
        }
        if (!before.empty()) {
            fs::permissions(At("there/video"), fs::perms::owner_read);
        }
        WriteFile(At("further"), content, true);
        EXPECT_EQ(ReadAll(At("there/video")), "new");
        EXPECT_EQ(fs::status(At("there/video")).permissions() == fs::perms::owner_read, !before.empty());
        EXPECT_TRUE(fs::is_symlink(At("link")) && fs::is_symlink(At("further")));
        EXPECT_THAT(ListFolder(), ElementsAre("further", "link", "loop", "there"));
    }
}

}  // namespace
}  // namespace Kaltor::Media::Tests
