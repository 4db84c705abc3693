#include "Tests/Support/TransitionFixture.h"

#include <algorithm>

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace Kaltor::Tests {

Rgba Mix(Rgba const& a, Rgba const& b, double weight) {
    Rgba result{};
    for (std::size_t c = 0; c < result.size(); ++c) {
        result[c] = a[c] * (1 - weight) + b[c] * weight;
    }
    return result;
}

Picture ForEachPixel(Picture const& like, std::function<Rgba(double s, double t)> const& at) {
    return Picture::Make(like.width, like.height, like.hasAlpha, [&](unsigned x, unsigned y) {
        return at((x + 0.5) / like.width, 1 - (y + 0.5) / like.height);
    });
}

std::string Describe(Proc::Settings const& settings) {
    std::string text = settings.GetClassId();
    for (Proc::Field const& field : settings.GetFields()) {
        text += fmt::format(" {}={}", field.key, field.Format(field.get(settings)));
    }
    return text;
}

void TransitionFixture::Expect(Proc::Settings const& settings, std::vector<double> const& progresses,
                               Expectation const& expectation, double tolerance) {
    for (Size const& size : kSizes) {
        bool const hasAlpha = size.width % 2 == 0;
        Picture const first = Picture::Noise(size.width, size.height, hasAlpha, 1);
        Picture const second = Picture::Noise(size.width, size.height, hasAlpha, 2);
        for (double const progress : progresses) {
            EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = progress}),
                               expectation(first, second, progress), tolerance))
                << Describe(settings) << " at progress " << progress;
        }
    }
}

void TransitionFixture::ExpectSharpEdges(Proc::Settings const& settings, std::vector<double> const& progresses,
                                         Expectation const& expectation) {
    Picture const first = Picture::Flat(64, 36, {1, 0.2, 0, 1});
    Picture const second = Picture::Flat(64, 36, {0, 0.4, 1, 1});
    for (double const progress : progresses) {
        EXPECT_TRUE(
            IsNear(Run(settings, first, second, {.progress = progress}), expectation(first, second, progress), 0))
            << Describe(settings) << " at progress " << progress;
    }
}

void TransitionFixture::ExpectEnds(std::vector<EndsCase> const& cases) {
    for (EndsCase const& tested : cases) {
        for (std::string_view const value : tested.values) {
            std::unique_ptr<Proc::Settings> const settings = Proc::MakeSettings(tested.name);
            settings->Set(tested.field, value);
            for (Size const& size : kSizes) {
                for (bool const hasAlpha : {false, true}) {
                    Picture const first = Picture::Noise(size.width, size.height, hasAlpha, 1);
                    Picture const second = Picture::Noise(size.width, size.height, hasAlpha, 2);
                    if (tested.isFirstAt0) {
                        EXPECT_TRUE(IsNear(Run(*settings, first, second, {.progress = 0}), first, 0))
                            << Describe(*settings);
                    }
                    if (tested.isSecondAt1) {
                        EXPECT_TRUE(IsNear(Run(*settings, first, second, {.progress = 1}), second, 0))
                            << Describe(*settings);
                    }
                }
            }
        }
    }
}

void TransitionFixture::ExpectRefused(Proc::Settings const& settings, std::string const& text) {
    auto const transition = MakeTransition(*Proc::MakeSettings(settings.GetClassId()));
    try {
        transition->SetSettings(settings);
        FAIL() << Describe(settings);
    } catch (std::invalid_argument const& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr(text));
    }
    Picture const first = Picture::Noise(32, 18, false, 1);
    Picture const second = Picture::Noise(32, 18, false, 2);
    boost::intrusive_ptr<Proc::IDataVideo> data = first.ToFrame();
    transition->Process(data, second.ToFrame());
    EXPECT_TRUE(
        IsNear(Picture::FromFrame(*Download(data)), Run(*Proc::MakeSettings(settings.GetClassId()), first, second), 0));
}

void TransitionFixture::ExpectMixedFormats(std::vector<std::string_view> const& names) {
    constexpr unsigned kWidth = 32;
    constexpr unsigned kHeight = 20;
    Picture const first = Picture::Noise(kWidth, kHeight, true);
    // A grey ramp of limited range.
    boost::intrusive_ptr<Proc::DataVideoFF> const ramp =
        Proc::DataVideoFF::Create(PixFmt::Yuv420p, {kWidth, kHeight, 1, 1});
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
    Picture const grey = Picture::Make(kWidth, kHeight, true, [](unsigned x, unsigned) {
        double const level = 6 * x / 219.0;
        return Rgba{level, level, level, 1};
    });
    for (Ogl::FrameStrategy const& frames : {kSoftwareStrategy, kGpuStrategy}) {
        ScopedStrategy const strategy(frames);
        for (std::string_view const name : names) {
            std::unique_ptr<Proc::Settings> const settings = Proc::MakeSettings(name);
            for (double const progress : {0.4, 0.7}) {
                boost::intrusive_ptr<Proc::IDataVideo> data = first.ToFrame();
                MakeTransition(*settings, {.progress = progress})->Process(data, ramp);
                // Grey of 8 bits is rounded once more on its way.
                EXPECT_TRUE(IsNear(Picture::FromFrame(*Download(data)),
                                   Run(*settings, first, grey, {.progress = progress}), kFiltered))
                    << name << " at progress " << progress;
            }
        }
    }
}

}  // namespace Kaltor::Tests
