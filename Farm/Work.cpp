#include "Farm/Work.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace Kaltor::Farm {
namespace {

// Seconds a pixel on one processor, software GL. A copy is what kaltor bench measures with two processors, doubled; the
// others are rough.
constexpr double kDecode = 6e-9;
constexpr double kEncode = 40e-9;
constexpr double kPack = 8e-9;
constexpr double kCopy = 9e-9;
/// What a drawn frame costs besides its effects: upload, download and conversion.
constexpr double kDrawn = 12e-9;
/// Opening a file, and decoding from the key frame before the wanted picture to it.
constexpr double kOpen = 0.04;
constexpr double kFramesToSeek = 30.0;

/// Effects and transitions that cost much more than a plain copy of a frame, in copies.
struct Cost {
    std::string_view name;
    double copies;
};
constexpr double kUsualCopies = 1.5;
constexpr std::array kCosts{
    Cost{"EffectAddNoize", 3.1}, Cost{"EffectBlurGaussian", 5.7}, Cost{"EffectCameraShake", 4.2}, Cost{"EffectColorBrush", 6.2}, Cost{"EffectDiffuse", 2.7}, Cost{"EffectErosion", 4.2}, Cost{"EffectFilmStrip", 5.8}, Cost{"EffectFindEdges", 3.9}, Cost{"EffectGlassMosaic", 4.2}, Cost{"EffectMask", 5.3}, Cost{"EffectOilPaint", 14.3}, Cost{"EffectPanAndZoom", 4.0}, Cost{"EffectPopArt", 4.6}, Cost{"EffectRetroArtefacts", 3.4}, Cost{"EffectSubFrame", 5.2}, Cost{"EffectTiltShiftQEL", 5.9}, Cost{"EffectVHS", 4.9}, Cost{"EffectVertigo", 4.7}, Cost{"EffectZoom", 3.9}, Cost{"TransitionBlur", 6.9}, Cost{"TransitionMatrix", 3.5}, Cost{"TransitionMosaic", 4.1}, Cost{"TransitionOrigamiPleats", 5.0}, Cost{"TransitionOrigamiValley", 4.3}, Cost{"TransitionPuzzle", 5.7}, Cost{"TransitionRipple", 2.6}, Cost{"TransitionShatter", 10.5}, Cost{"TransitionSmear", 4.2}, Cost{"TransitionTwist", 4.2}};

double CopiesOf(Edit::PlannedLook const& look) {
    std::string_view const name = look.settings->GetClassId();
    auto const* const found = std::find_if(kCosts.begin(), kCosts.end(), [&](Cost const& one) { return one.name == name; });
    return found != kCosts.end() ? found->copies : kUsualCopies;
}

double PixelsOf(Conf::FrameInfo const& frame) {
    return static_cast<double>(frame.width) * frame.height;
}

/// Adds up what begins and ends at each frame.
class Ledger {
public:
    explicit Ledger(Edit::Plan const& wholePlan) : plan(wholePlan), pixels(PixelsOf(wholePlan.target.frame)) {}

    void AddEffect(Edit::PlannedLook const& look) {
        if (look.settings && look.frames > 0) {
            AddDrawing(look.first, look.first + look.frames, CopiesOf(look) * kCopy * pixels);
        }
    }

    /// A pass of plain cost.
    void AddPass(std::int64_t first, std::int64_t end) { AddDrawing(first, end, kCopy * pixels); }

    void AddFeed(Edit::PlannedFeed const& feed, std::int64_t first, std::int64_t end) {
        if (feed.path.empty() || feed.info.isStill) {
            return;
        }
        double const rate = feed.info.frameRate.num > 0
                                ? av_q2d(feed.info.frameRate) * feed.speed / av_q2d(plan.time.frameRate)
                                : feed.speed;
        double const decoding = PixelsOf(feed.info.frame) * kDecode;
        // Backwards, each piece is decoded from a key frame again.
        double const each = decoding * std::max(rate, 0.1) * (feed.isReversed ? 2.0 : 1.0);
        changes.push_back({first, each, 0, kOpen + decoding * kFramesToSeek, true});
        changes.push_back({end, -each, 0, -(kOpen + decoding * kFramesToSeek), false});
    }

    std::vector<Stretch> Sum(double encoding) {
        std::stable_sort(changes.begin(), changes.end(),
                         [](Change const& a, Change const& b) { return a.frame < b.frame; });
        std::vector<Stretch> stretches;
        double work = 0.0;
        double opening = 0.0;
        int drawings = 0;
        std::size_t next = 0;
        for (std::int64_t position = 0; position < plan.frames;) {
            double begun = 0.0;
            for (; next < changes.size() && changes[next].frame <= position; ++next) {
                Change const& change = changes[next];
                work += change.work;
                opening += change.opening;
                drawings += change.drawings;
                begun += change.isBeginning ? change.opening : 0.0;
            }
            std::int64_t const end =
                next < changes.size() ? std::min(changes[next].frame, plan.frames) : plan.frames;
            stretches.push_back({position, end, work + encoding + (drawings > 0 ? kDrawn * pixels : 0.0), opening,
                                 std::max(0.0, opening - begun)});
            position = end;
        }
        return stretches;
    }

    double GetPixels() const { return pixels; }

private:
    struct Change {
        std::int64_t frame;
        double work;
        int drawings;
        double opening;
        bool isBeginning;
    };

    void AddDrawing(std::int64_t first, std::int64_t end, double work) {
        changes.push_back({first, work, 1, 0.0, true});
        changes.push_back({end, -work, -1, 0.0, false});
    }

    Edit::Plan const& plan;
    double pixels;
    std::vector<Change> changes;
};

}  // namespace

std::vector<Stretch> EstimateWork(Edit::Plan const& plan, bool hasCheapCodec) {
    Ledger ledger(plan);
    for (Edit::PlannedClip const& clip : plan.clips) {
        ledger.AddFeed(clip.feed, clip.first, clip.GetEnd());
        for (Edit::PlannedLook const& look : clip.effects) {
            ledger.AddEffect(look);
        }
        if (clip.fadeOut > 0) {
            ledger.AddEffect(clip.joint);
        }
        Conf::FrameInfo const& own = clip.feed.info.frame;
        bool const isSized = !clip.feed.path.empty() &&
                             (own.width != plan.target.frame.width || own.height != plan.target.frame.height);
        if (isSized || clip.title) {
            ledger.AddPass(clip.first, clip.GetEnd());
        }
    }
    for (Edit::PlannedLook const& look : plan.effects) {
        ledger.AddEffect(look);
    }
    for (Edit::PlannedOverlay const& overlay : plan.overlays) {
        ledger.AddFeed(overlay.feed, overlay.first, overlay.GetEnd());
        ledger.AddPass(overlay.first, overlay.GetEnd());
        for (Edit::PlannedLook const& look : overlay.effects) {
            ledger.AddEffect(look);
        }
    }
    if (!plan.subtitles.empty()) {
        ledger.AddPass(0, plan.frames);
    }
    for (std::optional<Edit::PlannedEdge> const* const edge : {&plan.opening, &plan.closing}) {
        if (*edge) {
            ledger.AddEffect((*edge)->look);
        }
    }
    return ledger.Sum((hasCheapCodec ? kPack : kEncode) * ledger.GetPixels());
}

double SumWork(std::vector<Stretch> const& stretches) {
    double sum = 0.0;
    for (Stretch const& stretch : stretches) {
        sum += stretch.secondsPerFrame * static_cast<double>(stretch.end - stretch.first);
    }
    return sum;
}

std::vector<Part> Cut(std::vector<Stretch> const& stretches, std::int64_t count) {
    constexpr double kMostShift = 0.125;
    std::int64_t const frames = stretches.back().end;
    count = std::clamp<std::int64_t>(count, 1, frames);
    std::vector<double> before{0.0};  // work before each stretch
    for (Stretch const& stretch : stretches) {
        before.push_back(before.back() + stretch.secondsPerFrame * static_cast<double>(stretch.end - stretch.first));
    }
    double const each = before.back() / static_cast<double>(count);
    auto const stretchOf = [&](std::int64_t frame) {
        auto const after = std::upper_bound(stretches.begin(), stretches.end(), frame,
                                            [](std::int64_t f, Stretch const& one) { return f < one.first; });
        return static_cast<std::size_t>(std::distance(stretches.begin(), after)) - 1;
    };
    auto const workBefore = [&](std::int64_t frame) {
        if (frame >= frames) {
            return before.back();
        }
        std::size_t const i = stretchOf(frame);
        return before[i] + stretches[i].secondsPerFrame * static_cast<double>(frame - stretches[i].first);
    };
    auto const openingAt = [&](std::int64_t frame) {
        Stretch const& stretch = stretches[stretchOf(frame)];
        return frame == stretch.first ? stretch.openingAtFirst : stretch.openingWithin;
    };
    auto const frameAt = [&](double work) {
        auto const after = std::upper_bound(before.begin(), before.end() - 1, work);
        auto const i = static_cast<std::size_t>(std::distance(before.begin(), after)) - 1;
        Stretch const& stretch = stretches[i];
        return std::min(stretch.end,
                        stretch.first + static_cast<std::int64_t>((work - before[i]) / stretch.secondsPerFrame + 0.5));
    };

    std::vector<Part> parts;
    std::int64_t first = 0;
    for (std::int64_t i = 1; i <= count; ++i) {
        std::int64_t const last = frames - (count - i);  // later parts have a frame at least
        std::int64_t end = last;
        if (i < count) {
            double const wanted = each * static_cast<double>(i);
            auto const costOf = [&](std::int64_t frame) {
                return std::abs(workBefore(frame) - wanted) + openingAt(frame);
            };
            end = std::clamp(frameAt(wanted), first + 1, last);
            double best = costOf(end);
            std::int64_t const earliest = std::max(first + 1, frameAt(wanted - kMostShift * each));
            std::int64_t const latest = std::min(last, frameAt(wanted + kMostShift * each));
            for (std::size_t k = stretchOf(earliest); k < stretches.size() && stretches[k].first <= latest; ++k) {
                std::int64_t const candidate = stretches[k].first;
                if (candidate >= earliest && costOf(candidate) < best) {
                    end = candidate;
                    best = costOf(candidate);
                }
            }
        }
        parts.push_back({first, end, workBefore(end) - workBefore(first)});
        first = end;
    }
    return parts;
}

}  // namespace Kaltor::Farm
