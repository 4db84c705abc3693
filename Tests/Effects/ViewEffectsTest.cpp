// Effects that show the picture from another place, turned, or on a part of the frame.

#include <cmath>

#include "Proc/Settings/SettingsGeometryEffects.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;
using ViewEffectsTest = GlTest;

TEST_F(ViewEffectsTest, TransposeTurnsToTheByteAndSwapsPixelAspect) {
    for (auto const& [w, h] : {std::pair{64U, 36U}, {36U, 64U}, {31U, 17U}, {1U, 5U}}) {
        for (bool const hasAlpha : {false, true}) {
            Picture const input = Picture::Noise(w, h, hasAlpha);
            for (std::int32_t mode = 0; mode < 4; ++mode) {
                SettingsEffectTranspose settings;
                settings.SetMode(mode);
                Picture const expected = Picture::Make(h, w, hasAlpha, [&, w = w, h = h](unsigned x, unsigned y) {
                    switch (mode) {
                        case 0:
                            return input.At(y, x);
                        case 1:
                            return input.At(y, h - 1 - x);
                        case 2:
                            return input.At(w - 1 - y, x);
                        default:
                            return input.At(w - 1 - y, h - 1 - x);
                    }
                });
                EXPECT_TRUE(IsNear(Run(settings, input), expected, 0.0)) << "mode " << mode;
            }
        }
    }
    Conf::FrameInfo const wide{32, 18, 4, 3};
    Conf::FrameInfo const turned{18, 32, 3, 4};
    auto const effect = MakeEffect(SettingsEffectTranspose());
    boost::intrusive_ptr<IDataVideo> frame = DataVideoFF::Create(PixFmt::Yuv420p, wide);
    effect->Process(frame);
    EXPECT_EQ(Download(frame)->GetFrameInfo(), turned);
    boost::intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(PixFmt::Yuv420p, wide);
    effect->UpdateFormatCodec(codec);
    EXPECT_EQ(codec->GetFrameInfo(), turned);
}

TEST_F(ViewEffectsTest, MirrorReflectsOneSideToTheByte) {
    // Where pixel `at` of a side comes from: reflected on the axis and on the border until it lies on the kept side.
    auto const reflect = [](unsigned at, unsigned side, double position, bool isFarKept) {
        long const axis = std::lround((isFarKept ? 1 - position : position) * 2 * side);  // in halves of a pixel
        long place = 2 * (isFarKept ? side - 1 - at : at) + 1;
        while (place < 0 || place > axis) {
            place = place < 0 ? -place : 2 * axis - place;
        }
        auto const pixel = static_cast<unsigned>(place / 2);
        return isFarKept ? side - 1 - pixel : pixel;
    };
    for (auto const& [w, h] : {std::pair{64U, 36U}, {36U, 64U}, {31U, 17U}}) {
        Picture const input = Picture::Noise(w, h, true);
        for (double const position : {0.5, 0.3, 0.77, 0.02}) {
            for (std::int32_t axis = 0; axis < 5; ++axis) {
                SettingsEffectMirror settings;
                settings.SetAxis(axis);
                settings.SetPosition(position);
                Picture const expected = Picture::Make(w, h, true, [&, w = w, h = h](unsigned x, unsigned y) {
                    bool const isAlongX = axis == 0 || axis == 1 || axis == 4;
                    bool const isAlongY = axis >= 2;
                    // Rows count from the top, positions from the bottom.
                    return input.At(isAlongX ? reflect(x, w, position, axis == 1) : x,
                                    isAlongY ? reflect(y, h, 1 - position, axis == 2) : y);
                });
                EXPECT_TRUE(IsNear(Run(settings, input), expected, 0.0)) << "axis " << axis << " at " << position;
            }
        }
    }
}

}  // namespace
}  // namespace Kaltor::Tests
