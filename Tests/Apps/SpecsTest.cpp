#include "Apps/Kaltor/Specs.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Cli {
namespace {

constexpr std::int64_t kSecond = 1'000'000;

template <typename Parser>
void ExpectRefused(Parser const& parse, std::initializer_list<char const*> wrong) {
    for (char const* const text : wrong) {
        EXPECT_THROW(parse(text), UsageError) << "\"" << text << "\"";
    }
}

TEST(Specs, TimesAreSecondsOrClockTimes) {
    EXPECT_EQ(ParseTime("0"), 0);
    EXPECT_EQ(ParseTime("90.25"), 90 * kSecond + kSecond / 4);
    EXPECT_EQ(ParseTime("1:30.5"), 90 * kSecond + kSecond / 2);
    EXPECT_EQ(ParseTime("01:02:03.000001"), 3723 * kSecond + 1);
    EXPECT_EQ(ParseTime("100:00"), 6000 * kSecond);
    ExpectRefused(&ParseTime, {"", "x", "-1", "+1", "1e3", "nan", "inf", "1:60", "1:2:3:4", "1.5:00", ":30",
                               "1:", "1..2", " 1", "1 ", "99999999999"});
}

TEST(Specs, SizesAndRates) {
    EXPECT_EQ(ParseSize("1280x720").width, 1280U);
    EXPECT_EQ(ParseSize("720X1280").height, 1280U);
    ExpectRefused(&ParseSize, {"", "1280", "x", "1280x", "0x720", "1280x0", "-2x2", "2x2x2", "99999999999x2"});
    for (auto const& [text, numerator, denominator] : {std::tuple{"30000/1001", 30000, 1001},
                                                       {"29.97", 30000, 1001},
                                                       {"23.976", 24000, 1001},
                                                       {"59.94", 60000, 1001},
                                                       {"25", 25, 1},
                                                       {"12.5", 25, 2}}) {
        Rate const rate = ParseRate(text);
        EXPECT_EQ(rate.numerator * denominator, numerator * rate.denominator) << text;
    }
    ExpectRefused(&ParseRate, {"", "0", "-25", "25/0", "/", "25/", "1001", "fast", "1e2", "0.0001", "2000000000/1"});
}

TEST(Specs, NamesWithValues) {
    NameSpec const spec = ParseNameSpec("TransitionWipe:width=2:color=#FF0080:d=");
    EXPECT_EQ(spec.name, "TransitionWipe");
    EXPECT_THAT(spec.values,
                ElementsAre(Assignment("width", "2"), Assignment("color", "#FF0080"), Assignment("d", "")));
    ExpectRefused(&ParseNameSpec, {"", ":", "A:", "A:width", "A:=2", "A:width=1:", ":width=1"});

    std::ofstream("settings.json") << R"({"scale": 0.02, "on": true, "c": "#FF0080", "eight": [1, -2.5]})";
    std::ofstream("list.json") << "[1]";
    EXPECT_THAT(ParseNameSpec("A:@settings.json:scale=1").values,
                ElementsAre(Assignment("scale", "0.02"), Assignment("on", "true"), Assignment("c", "#FF0080"),
                            Assignment("eight", "1,-2.5"), Assignment("scale", "1")));
    EXPECT_THAT(Catch<UsageError>([] { ParseNameSpec("A:@list.json"); }).what,
                HasSubstr("list.json: is no JSON object"));
    EXPECT_THAT(Catch<UsageError>([] { ParseNameSpec("A:@none.json"); }).what, HasSubstr("none.json: no such file"));
    std::filesystem::remove("settings.json");
    std::filesystem::remove("list.json");

    EXPECT_FALSE(ParseIndexedSpec("EffectFlip:vertical=true").index);
    IndexedSpec const second = ParseIndexedSpec("2:EffectFlip:vertical=true");
    EXPECT_EQ(second.index, 2U);
    EXPECT_EQ(second.spec.name, "EffectFlip");
    EXPECT_THAT(second.spec.values, ElementsAre(Assignment("vertical", "true")));
    ExpectRefused(&ParseIndexedSpec, {"0:EffectFlip", "2", "2:", "99999999999999999999:EffectFlip"});
}

TEST(Specs, PiecesOfClips) {
    std::filesystem::path const folder = testing::TempDir();
    std::string const real = folder / fmt::format("clip{}@1-2", getpid());  // a file that really has the name wins
    std::ofstream(real) << "here";
    using Time = std::optional<std::int64_t>;
    for (auto const& [text, path, start, end] :
         {std::tuple<std::string, std::string, Time, Time>{"a.mp4", "a.mp4", {}, {}},
          {"a.mp4@5-12.5", "a.mp4", 5 * kSecond, 12 * kSecond + kSecond / 2},
          {"a.mp4@1:00-", "a.mp4", 60 * kSecond, {}},
          {"a.mp4@-0:02", "a.mp4", {}, 2 * kSecond},
          {"me@home.mp4", "me@home.mp4", {}, {}},
          {"me@home.mp4@1-2", "me@home.mp4", kSecond, 2 * kSecond},
          {real, real, {}, {}},
          {real + "@3-", real, 3 * kSecond, {}}}) {
        ClipSpec const clip = ParseClip(text);
        EXPECT_EQ(clip.path, path);
        EXPECT_EQ(clip.start, start) << text;
        EXPECT_EQ(clip.end, end) << text;
    }
    std::filesystem::remove(real);
    EXPECT_THAT(Catch<UsageError>([] { ParseClip("a.mp4@5"); }).what, HasSubstr("@START-END"));
    EXPECT_THAT(Catch<UsageError>([] { ParseClip("a.mp4@3-2"); }).what, HasSubstr("before"));
    ExpectRefused(&ParseClip, {"a.mp4@-", "a.mp4@", "a.mp4@1-2-3", "a.mp4@1:99-", "a.mp4@2-2", "a.mp4@-0"});
}

}  // namespace
}  // namespace Kaltor::Cli
