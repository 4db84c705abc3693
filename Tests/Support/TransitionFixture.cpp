#include "Tests/Support/TransitionFixture.h"

namespace Kaltor::Tests {

Rgba Mix(Rgba const& a, Rgba const& b, double weight) {
    Rgba result{};
    for (std::size_t c = 0; c < result.size(); ++c) {
        result[c] = a[c] * (1 - weight) + b[c] * weight;
    }
    return result;
}

Rgba Straight(Rgba color) {
    return color[3] < 0.5 / 255 ? Rgba{} : EachColor(color, [&color](std::size_t c) { return color[c] / color[3]; });
}

double Luminance(Rgba const& color) {
    return 0.2126 * color[0] + 0.7152 * color[1] + 0.0722 * color[2];
}

Rgba EachColor(Rgba const& color, std::function<double(std::size_t)> const& map) {
    return {map(0), map(1), map(2), color[3]};
}

double SmoothStep(double low, double high, double x) {
    double const u = std::clamp((x - low) / (high - low), 0.0, 1.0);
    return u * u * (3 - 2 * u);
}

Picture ForEachPixel(Picture const& like, std::function<Rgba(double s, double t)> const& at) {
    return Picture::Make(like.width, like.height, like.hasAlpha, [&](unsigned x, unsigned y) {
        return at((x + 0.5) / like.width, 1 - (y + 0.5) / like.height);
    });
}

Picture MakeCoveringNoise(Size const& size, bool hasAlpha, std::uint32_t seed) {
    Picture picture = Picture::Noise(size.width, size.height, hasAlpha, seed);
    for (Rgba& pixel : picture.pixels) {
        pixel[3] = hasAlpha ? (128.0 + std::floor(pixel[3] * 127.0)) / 255.0 : 1.0;
    }
    return picture;
}

Picture DrawPixels(Picture const& first, Picture const& second, double progress, double aspect,
                   PixelFormula const& formula) {
    return ForEachPixel(first, [&](double s, double t) {
        return formula({first, second, s, t, progress, aspect, first.SampleNearest(s, t), second.SampleNearest(s, t)});
    });
}

void TransitionFixture::ExpectDrawn(std::string const& settings, Picture const& first, Picture const& second,
                                    double progress, Picture const& expected, double tolerance) {
    std::srand(kSeed);
    EXPECT_TRUE(IsNear(Run(settings, first, second, {.progress = progress}), expected, tolerance))
        << settings << " at progress " << progress;
}

void TransitionFixture::Expect(std::string const& settings, std::vector<double> const& progresses,
                               Expectation const& expectation, double tolerance, std::vector<Size> const& sizes) {
    for (Size const& size : sizes) {
        Picture const first = MakeCoveringNoise(size, size.width % 2 == 0, 1);
        Picture const second = MakeCoveringNoise(size, size.width % 2 == 0, 2);
        for (double const progress : progresses) {
            ExpectDrawn(settings, first, second, progress, expectation(first, second, progress), tolerance);
        }
    }
}

void TransitionFixture::ExpectPixels(std::string const& settings, std::vector<double> const& progresses,
                                     PixelFormula const& formula, double tolerance) {
    Expect(
        settings, progresses,
        [&formula](Picture const& first, Picture const& second, double progress) {
            return DrawPixels(first, second, progress, static_cast<double>(first.width) / first.height, formula);
        },
        tolerance);
}

void TransitionFixture::ExpectSharpEdges(std::string const& settings, std::vector<double> const& progresses,
                                         Expectation const& expectation) {
    Picture const first = Picture::Flat(64, 36, {1, 0.2, 0, 1});
    Picture const second = Picture::Flat(64, 36, {0, 0.4, 1, 1});
    for (double const progress : progresses) {
        ExpectDrawn(settings, first, second, progress, expectation(first, second, progress), 0);
    }
}

Picture TransitionFixture::DrawNext(Proc::ITwoInputEffectVideo& transition, Picture const& first, Picture const& second,
                                    double progress) {
    transition.SetProgress(Always(progress));
    boost::intrusive_ptr<Proc::IDataVideo> data = first.ToFrame();
    transition.Process(data, second.ToFrame());
    return Picture::FromFrame(*Download(data));
}

void EffectFixture::Expect(std::string const& settings, EffectExpectation const& expectation, double tolerance,
                           Moment const& moment) {
    for (auto const& [width, height, hasAlpha] :
         {std::tuple{64U, 36U, false}, {36U, 64U, true}, {37U, 20U, true}, {20U, 37U, false}, {33U, 33U, true}}) {
        Picture const input = Picture::Noise(width, height, hasAlpha);
        EXPECT_TRUE(IsNear(Run(settings, input, moment), expectation(input), tolerance)) << settings;
    }
}

void EffectFixture::ExpectColors(std::string const& settings, std::function<Rgba(Rgba const&)> const& formula,
                                 double tolerance, Moment const& moment) {
    Expect(
        settings,
        [&formula](Picture const& input) {
            return Picture::Make(input.width, input.height, input.hasAlpha,
                                 [&](unsigned x, unsigned y) { return formula(input.At(x, y)); });
        },
        tolerance, moment);
}

}  // namespace Kaltor::Tests
