// What is seen only from one frame to the next: jumps at the ends of transitions, pops on their way, lines that
// twinkle.

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Proc/Interfaces/ISeeded.h"
#include "Proc/Settings/Settings.h"
#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {
namespace {

class Motion : public TransitionFixture {
protected:
    static constexpr unsigned kLong = 64;
    static constexpr unsigned kShort = 36;

    /// Soft shapes of many tones, about as a photograph has.
    static Picture MakeScene(double shift) {
        return Picture::Make(kLong, kShort, false, [shift](unsigned px, unsigned py) {
            double const x = (px + 0.5) / kShort;
            double const y = (py + 0.5) / kShort;
            double const disc = std::hypot(std::remainder(x + shift, 0.6), std::remainder(y, 0.5)) - 0.15;
            return Rgba{0.5 + 0.4 * std::sin(7.0 * x + 3.0 * y + shift),
                        0.5 - 0.35 * std::clamp(disc * 20.0, -1.0, 1.0),
                        0.5 + 0.4 * std::cos(5.0 * y - 4.0 * x * shift)};
        });
    }

    /// How far two frames are apart, of 255: the mean over the frame, and that over the block that differs most.
    struct Step {
        double mean = 0.0;
        double most = 0.0;
    };
    static Step Compare(Picture const& a, Picture const& b) {
        constexpr unsigned kBlock = 4;
        Step step;
        for (unsigned top = 0; top < kShort; top += kBlock) {
            for (unsigned left = 0; left < kLong; left += kBlock) {
                double sum = 0.0;
                for (unsigned i = 0; i < kBlock * kBlock; ++i) {
                    Rgba const& p = a.At(left + i % kBlock, top + i / kBlock);
                    Rgba const& q = b.At(left + i % kBlock, top + i / kBlock);
                    sum += std::max({std::fabs(p[0] - q[0]), std::fabs(p[1] - q[1]), std::fabs(p[2] - q[2])});
                }
                double const block = 255.0 * sum / (kBlock * kBlock);
                step.mean += block * kBlock * kBlock / (kLong * kShort);
                step.most = std::max(step.most, block);
            }
        }
        return step;
    }

    static boost::intrusive_ptr<Proc::ITwoInputEffectVideo> Make(std::string const& name) {
        auto transition = MakeTransition(*MakeDefaults(name));
        Proc::Seed(*transition, 7);
        return transition;
    }
    static std::vector<std::string> ListTransitions() {
        std::vector<std::string> names;
        for (std::unique_ptr<Proc::Settings> const& settings : MakeAllSettings()) {
            if (settings->GetClassId().rfind("Transition", 0) == 0) {
                names.push_back(settings->GetClassId());
            }
        }
        return names;
    }

    Picture const first = MakeScene(0.0);
    Picture const second = MakeScene(1.3);
};

struct ByDesign {
    std::string_view name;
    std::string_view reason;
};

template <typename Table>
bool IsByDesign(Table const& table, std::string const& name) {
    return std::any_of(table.begin(), table.end(), [&name](ByDesign const& row) { return row.name == name; });
}

TEST_F(Motion, TransitionsBeginAndEndWithoutAJump) {
    constexpr std::array kJump{
        ByDesign{"TransitionShatter", "drawn at twice the size and made smaller, which softens"},
        ByDesign{"TransitionLens", "the lens has a rim from the start"},
        ByDesign{"TransitionSnake", "rows are sampled at their lower edge"},
        ByDesign{"TransitionCross", "the cuts are soft from the start"},
        ByDesign{"TransitionFlash", "a flash comes at once"},
        ByDesign{"TransitionSpin", "the picture has a soft border to the end"},
    };
    for (std::string const& name : ListTransitions()) {
        auto const transition = Make(name);
        Step const begin = Compare(DrawNext(*transition, first, second, 1e-4), first);
        Step const end = Compare(DrawNext(*transition, first, second, 1.0 - 1e-4), second);
        // An edge that has just come in covers less than a fiftieth of a block.
        EXPECT_TRUE(std::max(begin.most, end.most) < 5.0 || IsByDesign(kJump, name))
            << name << ": " << begin.most << " of 255 in a block at the beginning, " << end.most << " at the end";
    }
}

TEST_F(Motion, TransitionsDoNotPop) {
    constexpr std::array kPop{
        ByDesign{"TransitionGlitch", "bursts come and go"},
        ByDesign{"TransitionFlash", "a flash comes at once"},
    };
    constexpr int kSteps = 24;
    for (std::string const& name : ListTransitions()) {
        auto const transition = Make(name);
        std::vector<double> means;
        Picture before = DrawNext(*transition, first, second, 0.0);
        for (int i = 1; i <= kSteps; ++i) {
            Picture frame = DrawNext(*transition, first, second, static_cast<double>(i) / kSteps);
            means.push_back(Compare(frame, before).mean);
            before = std::move(frame);
        }
        std::string pops;
        for (int i = 0; i < kSteps; ++i) {
            std::vector<double> around;
            for (int j = std::max(i - 3, 0); j <= std::min(i + 3, kSteps - 1); ++j) {
                around.push_back(means[static_cast<std::size_t>(j)]);
            }
            std::sort(around.begin(), around.end());
            double const usual = around[around.size() / 2];
            double const here = means[static_cast<std::size_t>(i)];
            if (here > 4.0 * usual && here > 16.0) {
                pops += fmt::format(" {} ({:.1f} of 255, around it {:.1f})", i, here, usual);
            }
        }
        EXPECT_TRUE(pops.empty() || IsByDesign(kPop, name)) << name << " pops at" << pops;
    }
}

TEST_F(Motion, MovesFillTheirTime) {
    std::vector<std::string> all{"TransitionSlitScan curve=0.5", "TransitionSlitScan curve=-0.5",
                                 "TransitionSlitScan curve=0.2 delay=0.9"};
    for (char const* const map : {"iris", "blinds", "hexagons", "spiral", "rings", "clouds", "ink", "strokes"}) {
        for (char const* const scale : {"0.7", "1.5"}) {
            all.push_back(fmt::format("TransitionLumaWipe softness=0 map={} scale={}", map, scale));
        }
    }
    for (std::string const& settings : all) {
        Step const begin = Compare(Run(settings, first, second, {.progress = 0.07}), first);
        Step const end = Compare(Run(settings, first, second, {.progress = 0.93}), second);
        // Something moves, be it in one place.
        EXPECT_GT(begin.most, 5.0) << settings;
        EXPECT_GT(end.most, 5.0) << settings;
    }
}

TEST_F(Motion, NeonLinesDoNotTwinkleWhenThePictureMovesSlowly) {
    // Lines are found in a picture of 300 texels, which is enlarged: the light of one must not depend on its place.
    std::vector<double> lights;
    for (double const shift : {0.0, 0.5, 1.0, 1.5, 2.0, 2.5}) {
        Picture const drawn =
            Run("EffectEdgeGlow width=0.01 glow=0 dim=1", Picture::Make(640, 24, false, [shift](unsigned x, unsigned) {
                    double const v = 0.3 + 0.5 / (1.0 + std::exp((x - 320.0 - shift) / 1.5));
                    return Rgba{v, v, v, 1.0};
                }));
        double light = 0.0;
        for (unsigned x = 0; x < 640; ++x) {
            light += drawn.At(x, 12)[2];
        }
        lights.push_back(light);
    }
    auto const [least, most] = std::minmax_element(lights.begin(), lights.end());
    EXPECT_GT(*least, 2.0) << "there is a line";
    EXPECT_LT(*most / *least, 1.08) << fmt::format("{}", fmt::join(lights, " "));
}

}  // namespace
}  // namespace Kaltor::Tests
