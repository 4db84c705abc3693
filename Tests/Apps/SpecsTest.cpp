#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Apps/Kaltor/Specs.h"

namespace Kaltor::Cli {
namespace {

constexpr std::int64_t kSecond = 1'000'000;

template <typename Action>
std::string RefusalOf(Action action) {
    try {
        action();
    } catch (UsageError const& error) {
        return error.what();
    }
    return "was not refused";
}

TEST(Specs, TimesAreSecondsOrClockTimes) {
    EXPECT_EQ(ParseTime("0"), 0);
    EXPECT_EQ(ParseTime("90.25"), 90 * kSecond + kSecond / 4);
    EXPECT_EQ(ParseTime("1:30.5"), 90 * kSecond + kSecond / 2);
    EXPECT_EQ(ParseTime("01:02:03.000001"), 3723 * kSecond + 1);
    EXPECT_EQ(ParseTime("100:00"), 6000 * kSecond);
    for (char const* const wrong : {"", "x", "-1", "+1", "1e3", "nan", "inf", "1:60", "1:2:3:4", "1.5:00", ":30",
                                    "1:", "1..2", " 1", "1 ", "99999999999"}) {
        EXPECT_THROW(ParseTime(wrong), UsageError) << wrong;
    }
}

TEST(Specs, SizesAndRates) {
    EXPECT_EQ(ParseSize("1280x720").width, 1280U);
    EXPECT_EQ(ParseSize("720X1280").height, 1280U);
    for (char const* const wrong : {"", "1280", "x", "1280x", "0x720", "1280x0", "-2x2", "2x2x2", "99999999999x2"}) {
        EXPECT_THROW(ParseSize(wrong), UsageError) << wrong;
    }
    auto const rate = [](char const* text) {
        Rate const parsed = ParseRate(text);
        return std::pair(parsed.numerator, parsed.denominator);
    };
    EXPECT_EQ(rate("30000/1001"), std::pair(30000, 1001));
    EXPECT_EQ(rate("29.97"), std::pair(30000, 1001));
    EXPECT_EQ(rate("23.976"), std::pair(24000, 1001));
    EXPECT_EQ(rate("59.94"), std::pair(60000, 1001));
    EXPECT_EQ(rate("25").first, 25 * rate("25").second);
    EXPECT_EQ(rate("12.5").first * 2, 25 * rate("12.5").second);
    for (char const* const wrong :
         {"", "0", "-25", "25/0", "/", "25/", "1001", "fast", "1e2", "0.0001", "2000000000/1"}) {
        EXPECT_THROW(ParseRate(wrong), UsageError) << wrong;
    }
}

TEST(Specs, NamesWithValues) {
    NameSpec const spec = ParseNameSpec("TransitionWipe:width=2:direction=wedge-from-left");
    EXPECT_EQ(spec.name, "TransitionWipe");
    EXPECT_THAT(spec.values,
                testing::ElementsAre(Assignment("width", "2"), Assignment("direction", "wedge-from-left")));
    EXPECT_EQ(ParseNameSpec("A:c=#FF0080:d=").values[0].second, "#FF0080");
    for (char const* const wrong : {"", ":", "A:", "A:width", "A:=2", "A:width=1:", ":width=1"}) {
        EXPECT_THROW(ParseNameSpec(wrong), UsageError) << wrong;
    }

    EXPECT_FALSE(ParseEffectSpec("EffectFlip:vertical=true").clip);
    EffectSpec const second = ParseEffectSpec("2:EffectFlip:vertical=true");
    EXPECT_EQ(second.clip, 2U);
    EXPECT_EQ(second.effect.name, "EffectFlip");
    EXPECT_EQ(second.effect.values.size(), 1U);
    for (char const* const wrong : {"0:EffectFlip", "2", "2:", "99999999999999999999:EffectFlip"}) {
        EXPECT_THROW(ParseEffectSpec(wrong), UsageError) << wrong;
    }
}

TEST(Specs, PiecesOfClips) {
    auto const piece = [](char const* text) {
        ClipSpec const clip = ParseClip(text);
        return std::tuple(clip.path, clip.start, clip.end);
    };
    using Time = std::optional<std::int64_t>;
    EXPECT_EQ(piece("a.mp4"), std::tuple("a.mp4", Time(), Time()));
    EXPECT_EQ(piece("a.mp4@5-12.5"), std::tuple("a.mp4", Time(5 * kSecond), Time(12 * kSecond + kSecond / 2)));
    EXPECT_EQ(piece("a.mp4@1:00-"), std::tuple("a.mp4", Time(60 * kSecond), Time()));
    EXPECT_EQ(piece("a.mp4@-0:02"), std::tuple("a.mp4", Time(), Time(2 * kSecond)));
    EXPECT_EQ(piece("me@home.mp4"), std::tuple("me@home.mp4", Time(), Time()));
    EXPECT_EQ(piece("me@home.mp4@1-2"), std::tuple("me@home.mp4", Time(kSecond), Time(2 * kSecond)));
    EXPECT_THAT(RefusalOf([] { ParseClip("a.mp4@5"); }), testing::HasSubstr("@START-END"));
    EXPECT_THAT(RefusalOf([] { ParseClip("a.mp4@3-2"); }), testing::HasSubstr("before"));
    for (char const* const wrong : {"a.mp4@-", "a.mp4@", "a.mp4@1-2-3", "a.mp4@1:99-", "a.mp4@2-2", "a.mp4@-0"}) {
        EXPECT_THROW(ParseClip(wrong), UsageError) << wrong;
    }
}

TEST(Specs, AFileThatReallyHasTheNameWins) {
    std::filesystem::path const file = std::filesystem::path(testing::TempDir()) / "clip@1-2";
    std::ofstream(file) << "here";
    EXPECT_EQ(ParseClip(file.string()).path, file.string());
    EXPECT_FALSE(ParseClip(file.string()).start);
    EXPECT_EQ(ParseClip(file.string() + "@3-").path, file.string());
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace Kaltor::Cli
