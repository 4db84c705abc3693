// The library for programs, as a program with an OpenGL context of its own sees it.
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include <epoxy/egl.h>
#include <epoxy/gl.h>
#include <gmock/gmock.h>

#include "kaltor/Embed.h"

namespace Kaltor::Embed {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using Bytes = std::vector<std::uint8_t>;

/// 3 x 2 pixels, none like another; the alpha of one is 0.
Bytes const kPixels{0,   10, 20, 255, 30, 40, 50, 128, 60,  70,  80,  0,  //
                    100, 90, 70, 200, 11, 22, 33, 44,  255, 200, 150, 100};
constexpr std::uint32_t kWidth = 3;
constexpr std::uint32_t kHeight = 2;

Bytes Invert(Bytes pixels, bool isOpaque = false) {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = i % 4 != 3 ? static_cast<std::uint8_t>(255 - pixels[i]) : isOpaque ? 255 : pixels[i];
    }
    return pixels;
}

Bytes TurnOver(Bytes const& pixels) {
    auto const middle = pixels.begin() + static_cast<std::ptrdiff_t>(pixels.size() / 2);
    Bytes turned(middle, pixels.end());
    turned.insert(turned.end(), pixels.begin(), middle);
    return turned;
}

/// A program's own context, current on the test's thread, and handed to Kaltor.
class EmbedTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        display = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        ASSERT_EQ(eglInitialize(display, nullptr, nullptr), EGL_TRUE);
        ASSERT_EQ(eglBindAPI(EGL_OPENGL_API), EGL_TRUE);
        std::array<EGLint, 5> const wanted{EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        ASSERT_EQ(eglChooseConfig(display, wanted.data(), &config, 1, &count), EGL_TRUE);
        context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
        ASSERT_EQ(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context), EGL_TRUE);
        ShareGl(display, context);
        library = new Library;
    }
    static void TearDownTestSuite() { delete library; }

    static TextureView MakeTexture(std::uint8_t const* pixels) {
        TextureView view{0, kWidth, kHeight};
        glGenTextures(1, &view.name);
        glBindTexture(GL_TEXTURE_2D, view.name);
        // Filters stay as they are made: with mipmaps, which this texture does not have.
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kWidth, kHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
        glFinish();
        return view;
    }
    static Bytes ReadTexture(TextureView const& view) {
        Bytes pixels(kPixels.size());
        glBindTexture(GL_TEXTURE_2D, view.name);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        return pixels;
    }

    static inline EGLDisplay display = EGL_NO_DISPLAY;
    static inline EGLContext context = EGL_NO_CONTEXT;
    static inline Library* library = nullptr;
};

TEST_F(EmbedTest, TexturesOfTheCallerAreReadAndFilled) {
    Effect invert = library->Make("Invert");
    TextureView source = MakeTexture(kPixels.data());
    TextureView target = MakeTexture(nullptr);
    for (bool const isSourceTurned : {false, true}) {
        for (bool const isTargetTurned : {false, true}) {
            for (bool const hasAlpha : {true, false}) {
                SCOPED_TRACE(testing::Message() << isSourceTurned << isTargetTurned << hasAlpha);
                source.isTopRowFirst = isSourceTurned;
                source.hasAlpha = hasAlpha;
                target.isTopRowFirst = isTargetTurned;
                invert.Apply(std::array{source}, target);
                Bytes const wanted = Invert(kPixels, !hasAlpha);
                // No filter, and no arithmetic but a difference: exact.
                EXPECT_THAT(ReadTexture(target),
                            ElementsAreArray(isSourceTurned == isTargetTurned ? wanted : TurnOver(wanted)));
            }
        }
    }
    EXPECT_EQ(eglGetCurrentContext(), context);
    EXPECT_THAT(ReadTexture(source), ElementsAreArray(kPixels));

    // What cannot be used is refused, and the effect can be used on.
    TextureView wrong = source;
    wrong.name = 12345;
    EXPECT_THROW(invert.Apply(std::array{wrong}, target), std::invalid_argument);
    EXPECT_THROW(invert.Apply(std::array{source}, wrong), std::invalid_argument);
    wrong = target;
    wrong.width = kWidth + 1;
    EXPECT_THROW(invert.Apply(std::array{source}, wrong), std::invalid_argument);
    EXPECT_THROW(invert.Apply(std::array{source, source}, target), std::invalid_argument);
    source.hasAlpha = true;
    source.isTopRowFirst = target.isTopRowFirst;
    invert.Apply(std::array{source}, target);
    EXPECT_THAT(ReadTexture(target), ElementsAreArray(Invert(kPixels)));
    EXPECT_THROW(ShareGl(display, context), std::logic_error);  // too late
}

TEST_F(EmbedTest, PicturesInMemoryHaveAnyDistanceOfRowsAndOrderOfChannels) {
    Effect invert = library->Make("Invert");
    Bytes wide(2 * 20, 99);
    std::copy_n(kPixels.begin(), 12, wide.begin());
    std::copy_n(kPixels.begin() + 12, 12, wide.begin() + 20);
    Bytes const upended = TurnOver(kPixels);
    Bytes turned = kPixels;
    for (std::size_t i = 0; i < turned.size(); i += 4) {
        std::swap(turned[i], turned[i + 2]);
    }
    for (ImageView const& view : {ImageView{wide.data(), kWidth, kHeight, 20},
                                  {upended.data() + 12, kWidth, kHeight, -12},
                                  {turned.data(), kWidth, kHeight, 0, Layout::Bgra}}) {
        Image const image = invert.Apply(view);
        ASSERT_EQ(image.GetLayout(), Layout::Rgba);
        Bytes got;
        for (std::uint32_t y = 0; y < image.GetHeight(); ++y) {
            std::uint8_t const* const row = image.GetPixels() + std::ptrdiff_t{y} * image.GetStride();
            got.insert(got.end(), row, row + image.GetWidth() * image.GetChannels());
        }
        EXPECT_THAT(got, ElementsAreArray(Invert(kPixels)));
    }
    EXPECT_THROW(invert.Apply({kPixels.data(), kWidth, kHeight, 5}), std::invalid_argument);
    EXPECT_THROW(invert.Apply({nullptr, kWidth, kHeight}), std::invalid_argument);
}

TEST_F(EmbedTest, MomentsAndFieldsAreThoseThatWereSetLast) {
    Bytes const black(4 * 4, 0);
    Bytes const white(4 * 4, 255);
    ImageView const from{black.data(), 2, 2};
    ImageView const to{white.data(), 2, 2};
    Effect fade = library->Make("dissolve");
    auto const red = [&](Moment const& moment) { return int{fade.Apply(from, to, moment).GetPixels()[0]}; };
    EXPECT_EQ(red({.progress = 1.0}), 255);
    EXPECT_NEAR(red({.seconds = 0.25}), 64, 1);  // progress follows from the time again
    EXPECT_EQ(red({.seconds = 0.25, .progress = 0.0}), 0);

    Effect blur = library->Make("Blur", 1);
    blur.Set("scale", 0.5);
    EXPECT_THROW(blur.Set("scale", -1.0), std::invalid_argument);
    EXPECT_THROW(blur.Set("scale", "wide"), std::invalid_argument);
    std::vector<FieldInfo> const fields = blur.GetFields();
    auto const scale =
        std::find_if(fields.begin(), fields.end(), [](FieldInfo const& field) { return field.name == "scale"; });
    ASSERT_NE(scale, fields.end());
    EXPECT_EQ(scale->value, "0.5");
    EXPECT_NE(scale->defaultValue, "0.5");
    EXPECT_EQ(scale->kind, FieldKind::Number);
    try {
        library->Make("BlurGausian");
        ADD_FAILURE() << "a name that does not exist is accepted";
    } catch (std::invalid_argument const& error) {
        EXPECT_THAT(error.what(), HasSubstr("did you mean"));
    }
}

}  // namespace
}  // namespace Kaltor::Embed
