#pragma once

#include "Media/MediaWriter.h"
#include "Tests/Support/FrameSamples.h"
#include "Tests/Support/TemporaryFolder.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace Kaltor::Media::Tests {

inline Codes Grey(double luma) {
    return {luma, 128, 128};
}

/// A luma that distinguishes frame numbers, even with an error of 1; it differs for 28 frames.
inline int LumaOf(int frame) {
    return 20 + frame * 7 % 200;
}

/// What a test clip shows and sounds like.
struct ClipSpec {
    Conf::FrameInfo frame{64, 48, 1, 1};
    AVRational frameRate{30, 1};
    int frames = 30;
    /// The picture's colour at frame k.
    std::function<Codes(int frame)> color = [](int frame) { return Grey(LumaOf(frame)); };
    /// Draws over the plain colour.
    std::function<void(AVFrame& picture, int frame)> draw = {};
    ColorSpec colorSpec{ColorMatrix::Bt601, ColorRange::Limited};
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;  ///< of BT.2020
    std::optional<SoundFormat> sound = {};
    /// Sample n of all channels.
    std::function<float(std::int64_t sample)> wave = [](std::int64_t) { return 0.0F; };
    std::string codec = "ffv1";  ///< lossless: what is written comes back; the usual one where the container takes none
};

/// A folder of its own for each test, removed with it.
class MediaTest : public testing::Test {
protected:
    std::string At(std::string const& name) const { return (folder / name).string(); }
    /// Names in the folder, hidden ones too.
    std::vector<std::string> ListFolder() const;
    /// Writes a clip into the folder through `MediaWriter` and returns its path, from whose ending the container
    /// follows.
    std::string Make(std::string const& name, ClipSpec const& spec) const;
    /// Copies a file's packets into another container without giving it a frame rate. `edit` may change a packet or
    /// drop it (false); `matrix`, nine elements, becomes the picture's display matrix.
    std::string Remux(std::string const& from, std::string const& name,
                      std::function<bool(AVPacket&, AVStream const&)> const& edit,
                      std::int32_t const* matrix = nullptr) const;

    Kaltor::Tests::TemporaryFolder temporary;
    std::filesystem::path const& folder = temporary.Get();
};

/// Ends the process with the running test's name if the watchdog still exists after some minutes, so that a test that
/// hangs fails by name. No test takes that long on a busy machine, also under a sanitizer.
class Watchdog {
public:
    Watchdog();
    ~Watchdog();
    Watchdog(Watchdog const&) = delete;
    Watchdog& operator=(Watchdog const&) = delete;

private:
    std::promise<void> done;
    std::thread thread;
};

/// Noise for `ClipSpec::draw`, so that a file's size grows evenly.
void DrawNoise(AVFrame& picture, int frame);
/// Keeps the first part of a file.
void Truncate(std::string const& path, double part);
/// When the last packet of a kind ends, in seconds; below 0 where there is no such stream.
double EndOf(std::string const& path, AVMediaType type);

/// A picture of one colour.
Proc::AvFramePtr MakePicture(Conf::FrameInfo const& frame, Codes const& color);
/// The mean of a picture's middle part.
double MeanLuma(AVFrame const& picture);
/// Whether each sample is within `tolerance` of `expected`; a failure shows the first that is not.
testing::AssertionResult Shows(AVFrame const& picture, Kaltor::Tests::CodesAt const& expected, int tolerance);

/// The luma planes of all pictures of a file, read in its own form.
std::vector<std::vector<std::uint8_t>> ReadPlanes(std::string const& path);
/// The rounded lumas of all pictures of a file, read in its own form.
std::vector<int> ReadLumas(std::string const& path);
/// Samples of a file from `start` on, plane by plane.
std::vector<std::vector<float>> ReadSound(std::string const& path, SoundFormat const& format, std::size_t samples,
                                          Microseconds start = Microseconds(0));

}  // namespace Kaltor::Media::Tests
