#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Media/MediaWriter.h"
#include "Media/Render.h"
#include "Proc/Data/DataVideoFF.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace Kaltor::Media::Tests {

/// A folder of its own for each test, removed with it.
class MediaTest : public testing::Test {
protected:
    MediaTest();
    ~MediaTest() override;

    std::string At(std::string const& name) const { return (folder / name).string(); }
    /// Names in the folder, hidden ones too.
    std::vector<std::string> ListFolder() const;

    std::filesystem::path folder;
};

/// Limited range.
struct Yuv {
    int y, u, v;
    bool operator==(Yuv const&) const = default;
};

/// What a test clip shows and sounds like.
struct ClipSpec {
    std::uint32_t width = 64;
    std::uint32_t height = 48;
    AVRational frameRate{30, 1};
    int frames = 30;
    /// The picture's colour at frame k; by default grey of luma `LumaOf(k)`.
    std::function<Yuv(int frame)> color;
    /// Draws over the plain colour.
    std::function<void(AVFrame& picture, int frame)> draw;
    ColorSpec colorSpec{ColorMatrix::Bt601, ColorRange::Limited};
    std::uint32_t pixelAspectX = 1;
    std::uint32_t pixelAspectY = 1;
    std::optional<SoundFormat> sound;
    /// Sample n of both channels.
    std::function<float(std::int64_t sample)> wave;
    std::string codec = "ffv1";  ///< lossless: what is written comes back; the usual one where the container takes none
};

/// Noise for `ClipSpec::draw`, so that a file's size grows evenly.
void DrawNoise(AVFrame& picture, int frame);

/// A luma that tells frame numbers apart, also when they are 1 off.
inline int LumaOf(int frame) {
    return 20 + frame * 7 % 200;
}

/// Writes a clip through `MediaWriter`; the container follows from the path.
void MakeClip(std::string const& path, ClipSpec const& spec);

/// Copies a file's packets into another container. `edit` may change a packet or drop it (false); `matrix`, nine
/// elements, becomes the picture's display matrix; `options` are the muxer's.
void Remux(std::string const& from, std::string const& to, std::function<bool(AVPacket&, AVStream const&)> const& edit,
           std::int32_t const* matrix = nullptr, std::string const& options = "");
/// Keeps the first part of a file.
void Truncate(std::string const& path, double part);
/// When the last packet of a kind ends, in seconds; below 0 where there is no such stream.
double EndOf(std::string const& path, AVMediaType type);

/// One colour all over.
Proc::AvFramePtr MakePicture(std::uint32_t width, std::uint32_t height, Yuv const& color);

/// The mean of a plane's middle part.
double MeanOf(AVFrame const& picture, int plane);
Yuv ColorAt(AVFrame const& picture, int x, int y);

/// All pictures of a file, as a reader gives them in the file's own form.
std::vector<Proc::AvFramePtr> ReadAll(std::string const& path, int most = 100000);
/// All sound of a file from its first picture on.
std::vector<std::vector<float>> ReadSound(std::string const& path, SoundFormat const& format, std::size_t samples);

/// What the fake effects saw, and what they do.
struct FakeLog {
    struct Call {
        std::int64_t timestamp;
        double progress;
        int luma;        ///< of the first input
        int secondLuma;  ///< of a transition's incoming input
    };

    std::mutex mutex;
    std::map<std::string, std::vector<Call>> calls;  ///< by settings class
    std::atomic<int> liveEffects{0};
    /// Called by every effect, before it makes its picture.
    std::function<void(std::string const& classId, Call const&)> onCall;
    /// The size that effects give their pictures; the input's where it is 0.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// Makes CPU effects that mix their inputs (a transition by its progress) and write down what they saw. The log must
/// outlive it.
boost::intrusive_ptr<Proc::IEffectFactory const> MakeFakeFactory(FakeLog& log);

/// Settings without fields.
class FakeSettings final : public Proc::Settings {
public:
    explicit FakeSettings(std::string id) : classId(std::move(id)) {}
    std::string const& GetClassId() const override { return classId; }
    std::string_view GetSummary() const override { return {}; }
    std::vector<Proc::Field> const& GetFields() const override;
    std::unique_ptr<Proc::Settings> Clone() const override { return std::make_unique<FakeSettings>(*this); }

private:
    std::string classId;
};

/// A job over clips, all joined by the fake transition "Mix" of one duration.
RenderJob MakeJob(std::vector<std::string> const& clips, std::string const& output,
                  Microseconds transition = std::chrono::milliseconds(500));

}  // namespace Kaltor::Media::Tests
