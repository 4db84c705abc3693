#include "Tests/Support/Scene.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kPi = std::numbers::pi;

class WipeTransitionsTest : public TransitionFixture {
protected:
    /// `weight` is how much of the second picture is seen; also where pixels are not square.
    static void ExpectMix(std::string const& settings, std::vector<double> const& progresses,
                          std::function<double(Meeting const& at)> const& weight) {
        auto const mix = [&weight](Meeting const& at) { return at.Mix(weight(at)); };
        ExpectPixels(settings, progresses, mix);
        Picture const first = Picture::Noise(48, 48, true, 3);
        Picture const second = Picture::Noise(48, 48, true, 4);
        boost::intrusive_ptr<Proc::IDataVideo> data = first.ToFrame(16, 11);
        MakeTransition(*Typed(settings), {.progress = progresses[0]})->Process(data, second.ToFrame(16, 11));
        EXPECT_TRUE(IsNear(Picture::FromFrame(*Download(data)),
                           DrawPixels(first, second, progresses[0], 16.0 / 11.0, mix), kUnfiltered))
            << settings << " of 16:11 pixels at progress " << progresses[0];
    }
};

TEST_F(WipeTransitionsTest, WipeStartsWhereItSaysAndRunsAt45DegreesFromCorners) {
    for (std::size_t direction = 0; direction < 10; ++direction) {
        for (int const step : {0, 3}) {
            std::string const settings = fmt::format("TransitionWipe direction={} width={}", direction, step);
            ExpectMix(settings, {0.22, 0.83}, [&](Meeting const& at) {
                auto const [s, t, p, aspect] = std::tuple{at.s, at.t, at.progress, at.aspect};
                // Distances on screen, in heights of the picture, from where the wipe starts to where it ends.
                double const fromLeft = s * aspect;
                double const fromRight = (1 - s) * aspect;
                double const fromTop = 1 - t;
                auto const wedge = [t = t, aspect = aspect](double along) {  // opens to half the height at the far side
                    double const off = std::abs(t - 0.5);
                    return along * aspect + off + (0.5 - off) * along;
                };
                std::array<double, 10> const distances{fromTop,
                                                       t,
                                                       fromRight,
                                                       fromLeft,
                                                       fromRight + fromTop,
                                                       fromRight + t,
                                                       fromLeft + fromTop,
                                                       fromLeft + t,
                                                       wedge(s),
                                                       wedge(1 - s)};
                double const unit = direction < 2 ? 1 : direction < 4 ? aspect : aspect + 1;
                double const reach = direction < 8 ? 1 : (aspect + 0.5) / (aspect + 1);
                double const width = (step + 1) * 0.2;
                double const front = p * (reach + width);
                return std::clamp((front - distances[direction] / unit) / width, 0.0, 1.0);
            });
        }
    }
}

TEST_F(WipeTransitionsTest, BarnDoorsCarryTheirPicture) {
    for (int mode = -1; mode <= 6; ++mode) {
        auto const expectation = [mode](Picture const& first, Picture const& second, double p) {
            bool const isKnown = mode >= 0 && mode <= 5;
            bool const opens = mode == 1 || mode == 3 || mode == 5;
            double const opening = opens ? p : 1 - p;
            Scene scene;
            scene.AddWhole(-1, -1, 1, 1, opens || !isKnown ? second : first);
            // Each half or quarter, moved out along the ways that it opens.
            for (auto const& [x, y] : {std::pair{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}) {
                double const dx = mode == 0 || mode == 1 ? 0 : x * opening;
                double const dy = mode == 2 || mode == 3 ? 0 : y * opening;
                if (isKnown) {
                    scene.AddRectangle(
                        {0.5 + std::min(x, 0) / 2.0, 0.5 + std::min(y, 0) / 2.0, 0.5 + std::max(x, 0) / 2.0,
                         0.5 + std::max(y, 0) / 2.0},
                        {std::min(x, 0) + dx, std::min(y, 0) + dy, 0, std::max(x, 0) + dx, std::max(y, 0) + dy, 0},
                        opens ? first : second);
                }
            }
            return scene.DrawLike(first);
        };
        std::string const settings = fmt::format("TransitionBarnDoor mode={}", mode);
        Expect(settings, {0.11, 0.84}, expectation, kFiltered, {{64, 36}, {36, 64}, {31, 17}});
        // Just before and behind the centres of column 20 and row 11 from the edge, and of those from the middle.
        ExpectSharpEdges(settings, {0.5, 20.9 / 64, 21.1 / 64, 1 - 10.9 / 36, 1 - 11.1 / 36}, expectation);
    }
}

TEST_F(WipeTransitionsTest, BlindsRiseInTheirPlace) {
    // Not on a row's centre, but just beside one of the 36.
    ExpectPixels("TransitionBlinds count=9", {0.113, 0.771, 3.4 / 9, 3.6 / 9},
                 [](Meeting const& at) { return at.Mix(4 * at.t - std::floor(4 * at.t) < at.progress ? 1 : 0); });
}

TEST_F(WipeTransitionsTest, SlidingDoorBlendsInABand) {
    for (int const orientation : {0, 1}) {
        // The last two: the outermost centres of 64 pixels, 63 / 128 from the line, turn at once.
        ExpectMix(fmt::format("TransitionSlidingDoor orientation={}", orientation), {0.113, 0.743, 0.507, 0.509},
                  [&](Meeting const& at) {
                      double const indent = std::abs((orientation == 0 ? at.s : at.t) - 0.5);
                      bool const isInBand = indent < std::min(at.progress, 1 - at.progress);
                      return isInBand ? 2 * indent : indent > at.progress ? 0.0 : 1.0;
                  });
    }
}

TEST_F(WipeTransitionsTest, CircleIsRoundOnScreen) {
    for (int const sense : {0, 1}) {
        ExpectMix(fmt::format("TransitionCircle sense={}", sense), {0.08, 0.77}, [&](Meeting const& at) {
            double const size = sense == 1 ? at.progress : 1 - at.progress;
            double const radius = size * std::hypot(at.aspect, 1) / 2 * 1.005;
            double const inside = radius - std::hypot((at.s - 0.5) * at.aspect, at.t - 0.5);
            double const weight = std::clamp(inside / 0.005, 0.0, 1.0);
            return sense == 1 ? weight : 1 - weight;
        });
    }
    // The rim reaches half a percent beyond the corners: in a tall picture less than its own width.
    Picture const first = Picture::Flat(9, 1600, {1, 0, 0, 1});
    Picture const second = Picture::Flat(9, 1600, {0, 0, 1, 1});
    EXPECT_TRUE(IsNear(Run("TransitionCircle", first, second, {.progress = 1}), second, 0));
    EXPECT_TRUE(IsNear(Run("TransitionCircle sense=0", first, second, {.progress = 0}), first, 0));
}

TEST_F(WipeTransitionsTest, RadialSweepsOnceAroundFromBelow) {
    for (int const sense : {0, 1}) {
        ExpectMix(fmt::format("TransitionRadial sense={}", sense), {0.07, 0.613}, [&](Meeting const& at) {
            double const x = at.s - 0.5;
            double const y = at.t - 0.5;
            double angle = std::atan2(x * at.aspect, -y);  // the middle column belongs to the left half
            angle += angle < 0 || (std::abs(x) < 1e-9 && y < 0) ? 2 * kPi : 0;
            // The screen's true angle, but the edge's width goes by the texture's distance.
            angle = std::abs(x) < 1e-9 && std::abs(y) < 1e-9 ? 0 : angle;
            double const hand = 2 * kPi * (sense == 0 ? at.progress : 1 - at.progress);
            double const swept = 1 - std::clamp((angle - hand) * std::hypot(x, y) * 100 * kPi, 0.0, 1.0);
            return sense == 0 ? swept : 1 - swept;
        });
    }
}

TEST_F(WipeTransitionsTest, SpiralTwistsAroundItsDisc) {
    for (auto const& [type, centre] : {std::pair{0, 0.0}, {1, 1.0}, {2, 0.5}, {7, 0.0}}) {
        auto const formula = [centre = centre](Meeting const& at) {
            double const scaleX = std::min(1.0, at.aspect);
            double const scaleY = std::min(1.0, 1 / at.aspect);
            double const x = (at.s - centre) * scaleX;
            double const y = (at.t - centre) * scaleY;
            double const farthest = std::max(centre, 1 - centre) * std::numbers::sqrt2;
            double const lens = std::max(std::hypot(x, y) - at.progress * farthest, 0.0);
            double const angle = std::pow(20 * std::max(0.2 * at.progress - (lens - 0.05) * (1 - at.progress), 0.0), 2);
            double const u = (x * std::cos(angle) - y * std::sin(angle)) / scaleX + centre;
            double const v = (x * std::sin(angle) + y * std::cos(angle)) / scaleY + centre;
            return Mix(at.to, at.first.Sample(u, v), std::min(300 * lens, 1.0));
        };
        ExpectPixels(fmt::format("TransitionSpiral type={}", type), {0.13, 0.8}, formula, kFiltered);
    }
}

TEST_F(WipeTransitionsTest, SnakeRunsToAndFroUpwards) {
    for (auto const& [bands, smoothness] : {std::pair{0, 4}, {2, 7}, {1, 40}, {5, 1}, {3, 0}}) {
        auto const formula = [bands = bands, front = smoothness / 7.0](Meeting const& at) {
            unsigned const count = 2U << static_cast<unsigned>(bands);
            auto const row = static_cast<unsigned>(at.t * at.first.height);
            unsigned const band = row * count / at.first.height;
            double const along = band + (band % 2 == 0 ? at.s : 1 - at.s);
            double const left = along + front - (count + front) * at.progress;
            double const snapped = static_cast<double>(row) / at.first.height;
            return Mix(at.second.Sample(at.s, snapped), at.first.Sample(at.s, snapped),
                       front == 0 ? (left > 0 ? 1.0 : 0.0) : std::clamp(left / front, 0.0, 1.0));
        };
        ExpectPixels(fmt::format("TransitionSnake bands={} smoothness={}", bands, smoothness), {0.21, 0.87}, formula,
                     kFiltered);
    }
}

TEST_F(WipeTransitionsTest, PinwheelFillsEachBladeFromItsLeadingEdge) {
    for (auto const& [num, freq, ampl, smoothness] : {std::tuple{6, 20, 40, 10}, {1, 5, 90, 30}, {17, 3, 25, 100}}) {
        ExpectPixels(
            fmt::format("TransitionPinwheel num={} freq={} ampl={} smoothness={}", num, freq, ampl, smoothness),
            {0.12, 0.86},
            [blade = 2 * kPi / num, freq = freq, ampl = ampl, soft = smoothness / 100.0](Meeting const& at) {
                double const x = (at.s - 0.5) * 4 * std::min(at.aspect, 1.0);
                double const y = (at.t - 0.5) * 4 * std::min(1 / at.aspect, 1.0);
                double const distance = std::max(std::hypot(x, y), 1e-4);
                double const bent = std::atan2(y, x) + ampl / 400.0 * std::sin(freq * kPi / 25 * distance) / distance;
                double const behind = bent - blade * std::floor(bent / blade);
                return at.Mix(std::clamp(((1 + soft) * at.progress - behind / blade) / soft, 0.0, 1.0));
            });
    }
}

TEST_F(WipeTransitionsTest, CrossFliesApartAlongTheDiagonals) {
    for (bool const scrolls : {false, true}) {
        auto const formula = [scrolls](Meeting const& at) {
            double const p = at.progress;
            Rgba pixel = scrolls ? at.second.Sample(at.s, at.t < p ? at.t - p + 1 : at.t - p) : at.to;
            // Where a pixel of each piece came from: left, right, lower, upper.
            for (auto const& [x, y] : {std::pair{-1, 0}, {1, 0}, {0, -1}, {0, 1}}) {
                double const u = at.s - x * p / 2;
                double const v = at.t - y * p / 2;
                if ((u - 0.5) * x + (v - 0.5) * y >= std::abs((u - 0.5) * y + (v - 0.5) * x)) {
                    Rgba piece = at.first.Sample(u, v);
                    piece[3] = std::min({200 * std::abs(u - v), 200 * std::abs(u + v - 1), 1.0});
                    pixel = Mix(pixel, piece, piece[3]);
                }
            }
            return pixel;
        };
        ExpectPixels(fmt::format("TransitionCross scroll={}", scrolls), {0.21, 0.583}, formula,
                     kFiltered + 1.0 / 255.0);
    }
}

}  // namespace
}  // namespace Kaltor::Tests
