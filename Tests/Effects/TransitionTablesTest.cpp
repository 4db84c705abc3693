// What transitions of all families promise, beyond the contract of their defaults: exact ends by other settings, what
// they refuse, inputs of other formats, and frames that depend on nothing that was drawn before.

#include <algorithm>
#include <cstdlib>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

using boost::intrusive_ptr;
using Proc::IDataVideo;
using Proc::Settings;

class TransitionTablesTest : public TransitionFixture {
protected:
    static std::vector<std::unique_ptr<Settings>> MakeAllTransitions() {
        std::vector<std::unique_ptr<Settings>> all = Proc::MakeAllSettings();
        std::erase_if(all, [](auto const& settings) { return settings->GetClassId().rfind("Transition", 0) != 0; });
        return all;
    }
};

TEST_F(TransitionTablesTest, EndsAreTheInputsToTheByte) {
    struct Case {
        std::string_view name;
        std::string_view field;
        std::vector<std::string_view> values;
        bool isFirstAt0 = true;
        bool isSecondAt1 = true;
    };
    for (Case const& tested : std::initializer_list<Case>{
             {"TransitionWipe", "direction", {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"}},
             {"TransitionWipe", "width", {"4"}},
             {"TransitionBarnDoor", "mode", {"0", "1", "2", "3", "4", "5"}},
             {"TransitionBlinds", "count", {"4"}},
             {"TransitionSlidingDoor", "orientation", {"0", "1"}, false, true},
             {"TransitionCircle", "sense", {"0", "1"}},
             {"TransitionCross", "scroll", {"false", "true"}, false, true},
             {"TransitionRadial", "sense", {"0", "1"}},
             {"TransitionSpiral", "type", {"0", "1", "2"}, false, true},
             {"TransitionPinwheel", "num", {"1", "6"}},
             {"TransitionPinwheel", "ampl", {"0", "1000"}},
             {"TransitionPush", "dir", {"0", "1", "2", "3"}},
             {"TransitionScale", "type", {"0", "1"}},
             {"TransitionZoom", "type", {"0", "1", "2"}},
             {"TransitionRoll", "dir", {"0", "1", "2", "3"}},
             {"TransitionRoll", "type", {"0", "1"}},
             {"TransitionRoll", "size", {"0", "1", "600"}},
             {"TransitionLens", "type", {"0", "1", "2"}, false, true},
             {"TransitionSpin", "mode", {"0"}, true, false},
             {"TransitionSpin", "mode", {"1"}, false, true},
             {"TransitionKenBurns", "fade", {"0", "0.5", "1"}},
             {"TransitionSlide", "direction", {"0", "3", "4", "5", "6", "7"}},
             {"TransitionSlide", "direction", {"1"}, true, false},
             {"TransitionRippleSmooth", "freq", {"0", "50"}},
             {"TransitionDisintegrate", "num", {"1", "8"}},
             {"TransitionPieces", "", {""}},
             {"TransitionWaterbrush", "angle", {"-90", "-30", "0", "30", "90"}},
             {"TransitionWaterbrush", "size", {"1", "1000"}},
             {"TransitionPageturn", "dir", {"0", "1", "2", "3"}},
             {"TransitionPageturn", "type", {"0", "1"}},
             {"TransitionOrigamiFlips", "num", {"2", "6", "13"}},
             {"TransitionOrigamiFlips", "num", {"1"}, false, true},  // one strip alone only dips
         }) {
        for (std::string_view const value : tested.values) {
            std::unique_ptr<Settings> const settings = Proc::MakeSettings(tested.name);
            if (!tested.field.empty()) {
                settings->Set(tested.field, value);
            }
            for (Size const& size : kSizes) {
                bool const hasAlpha = size.height > 20;
                Picture const first = Picture::Noise(size.width, size.height, hasAlpha, 1);
                Picture const second = Picture::Noise(size.width, size.height, hasAlpha, 2);
                EXPECT_TRUE(!tested.isFirstAt0 || IsNear(Run(*settings, first, second, {.progress = 0}), first, 0))
                    << Describe(*settings) << " at the start";
                EXPECT_TRUE(!tested.isSecondAt1 || IsNear(Run(*settings, first, second, {.progress = 1}), second, 0))
                    << Describe(*settings) << " at the end";
            }
        }
    }
}

TEST_F(TransitionTablesTest, RefuseWhatTheyHaveNoPictureForAndKeepWhatTheyHad) {
    struct Case {
        std::string_view name;
        std::string_view field;
        std::vector<std::int32_t> values;
    };
    constexpr std::int32_t kMost = 2147483647;
    Picture const first = Picture::Noise(32, 18, false, 1);
    Picture const second = Picture::Noise(32, 18, false, 2);
    for (Case const& tested : std::initializer_list<Case>{{"TransitionWipe", "direction", {-1, 10, kMost}},
                                                          {"TransitionSlidingDoor", "orientation", {-1, 2}},
                                                          {"TransitionCircle", "sense", {-1, 2}},
                                                          {"TransitionRadial", "sense", {-1, 2}},
                                                          {"TransitionSnake", "bands", {30}},
                                                          {"TransitionPinwheel", "num", {0}},
                                                          {"TransitionRoll", "dir", {-1, 4, kMost}},
                                                          {"TransitionLens", "type", {-1, 3}},
                                                          {"TransitionOrigamiPleats", "num", {0}},
                                                          {"TransitionOrigamiPleats", "dir", {0}},
                                                          {"TransitionOrigamiFlips", "num", {0}}}) {
        for (std::int32_t const value : tested.values) {
            std::unique_ptr<Settings> const defaults = Proc::MakeSettings(tested.name);
            std::unique_ptr<Settings> const refused = defaults->Clone();
            refused->FindField(tested.field).set(*refused, value);
            auto const transition = MakeTransition(*defaults);
            try {
                transition->SetSettings(*refused);
                ADD_FAILURE() << Describe(*refused);
            } catch (std::invalid_argument const& error) {
                EXPECT_THAT(error.what(), testing::HasSubstr(fmt::format("{} {}", tested.field, value)));
            }
            EXPECT_TRUE(IsNear(DrawNext(*transition, first, second, 0.3),
                               Run(*defaults, first, second, {.progress = 0.3}), kFiltered))
                << Describe(*refused);
        }
    }
}

TEST_F(TransitionTablesTest, FramesDependNeitherOnTheirOrderNorOnEarlierSettings) {
    Picture const first = Picture::Noise(40, 26, false, 1);
    Picture const second = Picture::Noise(40, 26, false, 2);
    for (std::unique_ptr<Settings> const& settings : MakeAllTransitions()) {
        auto const transition = MakeTransition(*settings);
        Picture const once = DrawNext(*transition, first, second, 0.7);
        DrawNext(*transition, first, second, 0.2);
        EXPECT_TRUE(IsNear(DrawNext(*transition, first, second, 0.7), once, kFiltered)) << settings->GetClassId();
    }
    // Counts that what is kept from frame to frame depends on.
    for (auto const& [name, field, value] : {std::tuple{"TransitionOrigamiPleats", "num", "11"},
                                             {"TransitionOrigamiPleats", "dir", "-1"},
                                             {"TransitionOrigamiFlips", "num", "1"}}) {
        std::unique_ptr<Settings> const settings = Proc::MakeSettings(name);
        auto const transition = MakeTransition(*settings);
        DrawNext(*transition, first, second, 0.4);
        settings->Set(field, value);
        transition->SetSettings(*settings);
        EXPECT_TRUE(IsNear(DrawNext(*transition, first, second, 0.4), Run(*settings, first, second, {.progress = 0.4}),
                           kFiltered))
            << Describe(*settings);
    }
}

TEST_F(TransitionTablesTest, TheSecondInputMayHaveAnotherFormat) {
    constexpr unsigned kWidth = 32;
    constexpr unsigned kHeight = 20;
    Picture const first = Picture::Noise(kWidth, kHeight, true);
    // A grey ramp of limited range.
    intrusive_ptr<Proc::DataVideoFF> const ramp = Proc::DataVideoFF::Create(PixFmt::Yuv420p, {kWidth, kHeight, 1, 1});
    AVFrame& samples = ramp->GetWritableFrame();
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            samples.data[0][std::ptrdiff_t{samples.linesize[0]} * y + x] = static_cast<std::uint8_t>(16 + 6 * x);
        }
        for (int const plane : {1, 2}) {
            std::fill_n(samples.data[plane] + std::ptrdiff_t{samples.linesize[plane]} * (y / 2), kWidth / 2,
                        std::uint8_t{128});
        }
    }
    Picture const grey = Picture::Make(kWidth, kHeight, false, [](unsigned x, unsigned) {
        double const level = 6 * x / 219.0;
        return Rgba{level, level, level, 1};
    });
    ScopedStrategy const strategy(kGpuStrategy);  // which leaves conversion to those who draw
    for (std::unique_ptr<Settings> const& settings : MakeAllTransitions()) {
        std::srand(1);
        intrusive_ptr<IDataVideo> data = first.ToFrame();
        MakeTransition(*settings, {.progress = 0.6})->Process(data, ramp);
        Picture const drawn = Picture::FromFrame(*Download(data));
        std::srand(1);
        // Grey of 8 bits is rounded once more on its way.
        EXPECT_TRUE(IsNear(drawn, Run(*settings, first, grey, {.progress = 0.6}), kFiltered)) << settings->GetClassId();
    }
}

}  // namespace
}  // namespace Kaltor::Tests
