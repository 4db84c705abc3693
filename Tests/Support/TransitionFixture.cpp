#include "Tests/Support/TransitionFixture.h"

#include <fmt/format.h>

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

Picture TransitionFixture::DrawNext(Proc::ITwoInputEffectVideo& transition, Picture const& first, Picture const& second,
                                    double progress) {
    transition.GetProgress().mapping = [progress](auto const&...) { return progress; };
    boost::intrusive_ptr<Proc::IDataVideo> data = first.ToFrame();
    transition.Process(data, second.ToFrame());
    return Picture::FromFrame(*Download(data));
}

}  // namespace Kaltor::Tests
