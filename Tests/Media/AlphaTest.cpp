// What pictures say of their alpha.
#include "Media/Alpha.h"
#include "Media/Picture.h"
#include "MediaTest.h"
#include "Tests/Support/Picture.h"

namespace Kaltor::Media::Tests {
namespace {

using Content = std::vector<std::uint8_t>;

boost::intrusive_ptr<Proc::DataVideoFF> MakeTranslucent(Rgba const& color) {
    return Kaltor::Tests::Picture::Flat(32, 16, color, true).ToFrame();
}

/// Where a text begins in a file's content.
std::size_t Find(Content const& content, std::string_view text) {
    auto const at = std::search(content.begin(), content.end(), text.begin(), text.end());
    EXPECT_NE(at, content.end()) << text;
    return static_cast<std::size_t>(at - content.begin());
}

/// Adds to a big-endian number of four bytes.
void AddTo(Content& content, std::size_t place, std::uint32_t added) {
    std::uint32_t value = added;
    for (std::size_t i = 0; i < 4; ++i) {
        value += static_cast<std::uint32_t>(content.at(place + i)) << (24U - 8U * i);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        content.at(place + i) = static_cast<std::uint8_t>(value >> (24U - 8U * i));
    }
}

/// Says in an AVIF file of a picture (item 1) and its alpha (item 2) that the colours are multiplied.
Content TagPremultiplied(Content content) {
    Content const box{0, 0, 0, 14, 'p', 'r', 'e', 'm', 0, 1, 0, 1, 0, 2};
    auto const added = static_cast<std::uint32_t>(box.size());
    std::size_t const references = Find(content, "iref");
    std::size_t const places = Find(content, "iloc");
    AddTo(content, Find(content, "meta") - 4, added);
    AddTo(content, references - 4, added);
    constexpr std::size_t kFirst = 12 + 6;  // the first item's offset, behind the head and three numbers
    AddTo(content, places + kFirst, added);
    AddTo(content, places + kFirst + 14, added);
    content.insert(content.begin() + static_cast<std::ptrdiff_t>(references + 8), box.begin(), box.end());
    return content;
}

void ExpectColor(Content const& content, Rgba const& expected, double tolerance) {
    for (bool const keepsDepth : {false, true}) {
        boost::intrusive_ptr<Proc::DataVideoFF> const picture = DecodePicture(content, "test", kAnySide, keepsDepth);
        if (!PixFmtDescription::Find(picture->GetPixFmt()).IsFloat()) {
            Rgba const pixel = Kaltor::Tests::Picture::FromFrame(*picture).At(9, 7);
            for (std::size_t c = 0; c < 4; ++c) {
                EXPECT_NEAR(pixel[c], expected[c], tolerance) << "component " << c;
            }
        }
    }
}

constexpr Rgba kStored{0.4, 0.2, 0.1, 0.5};
constexpr Rgba kDivided{0.8, 0.4, 0.2, 0.5};

TEST(AlphaTest, FilesThatSayItAreDivided) {
    Content tiff = EncodePicture(*MakeTranslucent(kStored), ".tif");
    ExpectColor(tiff, kStored, 0.003);
    constexpr std::string_view kExtraSamples("\x52\x01\x03\x00\x01\x00\x00\x00\x02", 9);
    tiff.at(Find(tiff, kExtraSamples) + 8) = 1;
    ExpectColor(tiff, kDivided, 0.008);  // 8 bits, divided by a half

    constexpr double kLossy = 0.015;
    Content const avif = EncodePicture(*MakeTranslucent(kStored), ".avif");
    ExpectColor(avif, kStored, kLossy);
    ExpectColor(TagPremultiplied(avif), kDivided, 2.0 * kLossy);

    constexpr double kTwoSteps = 2.0 / 255.0;  // FFmpeg's scaler rounds alpha up on its way through floats
    ExpectColor(EncodePicture(*MakeTranslucent(kStored), ".exr"), kStored, kTwoSteps);
}

TEST(AlphaTest, AvifPicturesAreRefusedBeforeTheFirstOne) {
    WriterOptions options;
    options.path = fmt::format("{}x{}-%d.avif", testing::TempDir(), getpid());
    options.overwrite = true;
    options.video = {{32, 16, 1, 1}, {25, 1}};
    MediaWriter{options};  // left alone, it takes back what it has begun
    options.crf = 400;
    EXPECT_THROW(MediaWriter{options}, std::invalid_argument);
}

TEST(AlphaTest, AlphaOfHevcIsFound) {
    Content header(22, 0);
    header[0] = 1;
    Content const lists{2, 32, 0, 1, 0, 4, 0x40, 1, 0xA5, 0, 39, 0, 1, 0, 5, 0x4E, 1, 0xA5, 4, 0};
    header.insert(header.end(), lists.begin(), lists.end());
    EXPECT_TRUE(HasHevcAlpha(header));
    for (std::size_t length = 0; length + 3 < header.size(); ++length) {  // cut off
        EXPECT_FALSE(HasHevcAlpha({header.data(), length})) << length;
    }
    header[header.size() - 3] = 137;  // mastering display
    EXPECT_FALSE(HasHevcAlpha(header));
    EXPECT_TRUE(HasHevcAlpha(Content{0, 0, 0, 1, 0x40, 1, 0xA5, 0, 0, 1, 0x4E, 1, 0xA5, 4}));
}

}  // namespace
}  // namespace Kaltor::Media::Tests
