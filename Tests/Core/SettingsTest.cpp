#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include "Proc/Settings/Settings.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/Caught.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;
using testing::AllOf;
using testing::HasSubstr;

/// One field of every type.
struct SettingsOfAllTypes final : SettingsOf<SettingsOfAllTypes> {
    static inline std::string const CLASS_ID = "OfAllTypes";
    static constexpr std::string_view SUMMARY = "Has a field of every type.";

    std::int32_t whole = 4;
    std::uint32_t count = 7;
    double real = 0.1;
    float single = 0.1F;
    bool flag = false;
    enum class Choice : std::int32_t { Down, Up = 2, Left = 5 };
    Choice choice = Choice::Up;
    Color color{0x0a, 0xbc, 0xff, 255};
    Reals8 reals{1, 2, 3, 4, 5, 6, 7, 0.1};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::whole>(-5, 10, "a"),
                Declare<&This::count>(0, 4294967295.0, "b"),
                Declare<&This::real>(0, 0.3, "c", Outside::Defined),
                Declare<&This::single>(-0.1, 0.1, "d"),
                Declare<&This::flag>("e"),
                Declare<&This::choice>({{Choice::Down, "down"}, {Choice::Up, "up"}, {Choice::Left, "left"}}, "f"),
                Declare<&This::color>("g"),
                Declare<&This::reals>(-1, 8, "h")};
    }
};

std::string TextOf(Settings const& settings, std::string_view key) {
    Field const& field = settings.FindField(key);
    return field.Format(field.get(settings));
}

TEST(Fields, ParseWhatAUserTypes) {
    for (auto const& [key, text, value] : std::vector<std::tuple<char const*, char const*, FieldValue>>{
             {"whole", "-5", -5},
             {"whole", "+10", 10},
             {"count", "4294967295", 4294967295U},
             {"real", "1e-2", 0.01},
             {"real", "0.3", 0.3},
             {"single", "-0.1", -0.1F},  // whose nearest numbers lie outside
             {"single", "0.1", 0.1F},
             {"flag", "yes", true},
             {"flag", "0", false},
             {"choice", "left", 5},
             {"choice", "0", 0},
             {"color", "#01020304", Color{1, 2, 3, 4}},
             {"color", "#fFa000", Color{255, 160, 0, 255}},
             {"reals", "-1,0,0.5,1,2,3,4,8", Reals8{-1, 0, 0.5, 1, 2, 3, 4, 8}}}) {
        SettingsOfAllTypes settings;
        settings.Set(key, text);
        EXPECT_TRUE(settings.FindField(key).get(settings) == value) << key << " = " << text;
    }
}

TEST(Fields, RefuseToDrawWhatTheyDoNotOfferUnlessTheAlgorithmDefinesIt) {
    EXPECT_NO_THROW(SettingsOfAllTypes().Validate());
    auto const refusal = [](auto change) -> std::string {
        SettingsOfAllTypes settings;
        change(settings);
        try {
            settings.Validate();
        } catch (std::invalid_argument const& error) {
            return error.what();
        }
        return "";
    };
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    using S = SettingsOfAllTypes;
    EXPECT_EQ(refusal([](S& s) { s.whole = 11; }),
              "whole 11 is not accepted by OfAllTypes: it takes a whole number -5 to 10");
    EXPECT_THAT(refusal([](S& s) { s.choice = S::Choice{1}; }), HasSubstr("choice 1 is not accepted"));
    EXPECT_THAT(refusal([](S& s) { s.single = 0.11F; }), HasSubstr("single"));
    EXPECT_THAT(refusal([](S& s) { s.single = std::nanf(""); }), HasSubstr("single"));
    EXPECT_THAT(refusal([](S& s) { s.reals[7] = std::nan(""); }), HasSubstr("reals"));
    EXPECT_EQ(refusal([](S& s) { s.real = -1000.0; }), "") << "defined outside of its range";
    EXPECT_THAT(refusal([](S& s) { s.real = kInfinity; }), HasSubstr("real inf")) << "but never drawn";
}

TEST(Fields, RefuseTheRestAndKeepTheValue) {
    for (auto const& [key, texts] : std::initializer_list<std::pair<char const*, std::vector<std::string>>>{
             {"whole", {"-6", "11", "1.5", "", "x", "3 ", "99999999999", "+-3"}},
             {"count", {"-1", "4294967296"}},
             {"real", {"nan", "inf", "-1e-9", "0.3000001", "0,1"}},
             {"single", {"nan", "-inf", "0.10001", "-0.10001"}},
             {"flag", {"maybe", "TRUE"}},
             {"choice", {"1", "upwards", ""}},
             {"color", {"#12345", "112233", "0112233", "#GG0000", "#+10203", "#1122334455"}},
             {"reals",
              {"1,2,3,4,5,6,7", "1,2,3,4,5,6,7,8,9", "1,2,3,4,5,6,7,nan", "1,2,3,4,5,6,7,9", "1,,3,4,5,6,7,8"}}}) {
        SettingsOfAllTypes settings;
        std::string const before = TextOf(settings, key);
        for (std::string const& text : texts) {
            std::string const what = Catch<std::invalid_argument>([&, key = key] { settings.Set(key, text); }).what;
            EXPECT_THAT(what, AllOf(HasSubstr(key), HasSubstr(fmt::format("\"{}\"", text)),
                                    HasSubstr(settings.FindField(key).DescribeRange())));
            EXPECT_EQ(TextOf(settings, key), before) << key << " = " << text;
        }
    }
}

TEST(Fields, TellTheirTypeRangeAndValueAlsoOutsideOfIt) {
    SettingsOfAllTypes settings;
    std::vector<std::string> types;
    for (Field const& field : settings.GetFields()) {
        types.emplace_back(field.GetTypeName());
    }
    EXPECT_THAT(types, testing::ElementsAre("int", "uint", "real", "float", "flag", "choice", "colour", "reals[8]"));
    auto const range = [&](char const* key) { return settings.FindField(key).DescribeRange(); };
    EXPECT_EQ(range("whole"), "a whole number -5 to 10");
    EXPECT_EQ(range("real"), "0 to 0.3");
    EXPECT_EQ(range("choice"), "down (0), up (2) or left (5)");
    EXPECT_EQ(range("reals"), "8 numbers -1 to 8 with commas between");
    settings.choice = SettingsOfAllTypes::Choice{77};
    settings.real = std::numeric_limits<double>::infinity();
    EXPECT_EQ(TextOf(settings, "choice"), "77");
    EXPECT_EQ(TextOf(settings, "real"), "inf");
    EXPECT_EQ(TextOf(settings, "single"), "0.1");
    EXPECT_EQ(TextOf(settings, "color"), "#0ABCFF");
}

TEST(Names, TheNearestIsOffered) {
    std::vector<std::string> const names{"TransitionCrossfade", "EffectBlurGaussian", "EffectFlip"};
    EXPECT_EQ(FindNearest("transitioncrosfade", names), "TransitionCrossfade");
    EXPECT_EQ(FindNearest("EffectFlop", names), "EffectFlip");
    EXPECT_EQ(FindNearest("Waterfall", names), "");
    EXPECT_EQ(FindNearest("", {}), "");
    auto const refusal = [](Settings&& settings, char const* key) {
        return Catch<std::invalid_argument>([&] { settings.Set(key, "1"); }).what;
    };
    EXPECT_THAT(refusal(SettingsOfAllTypes(), "colour"),
                AllOf(HasSubstr("OfAllTypes"), HasSubstr("did you mean \"color\"?")));
    EXPECT_THAT(refusal(SettingsOfAllTypes(), "qqqqqqq"), AllOf(HasSubstr("qqqqqqq"), HasSubstr("whole, count, real")));
    EXPECT_THAT(refusal(SettingsFrameUploader(), "x"), HasSubstr("none"));
}

/// Texts that a user may type for a field: its limits and a value between, its labels and their numbers.
std::vector<std::string> ListTexts(Field const& field) {
    std::vector<std::string> texts;
    for (FieldLabel const& label : field.labels) {
        texts.emplace_back(label.label);
        texts.push_back(std::to_string(label.value));
    }
    if (field.HasRange()) {
        bool const isWhole = field.type == FieldType::Int || field.type == FieldType::Uint;
        for (double value : {field.minimum, field.maximum, field.minimum + (field.maximum - field.minimum) / 3}) {
            std::string const one = isWhole ? fmt::format("{:.0f}", std::floor(value)) : fmt::format("{}", value);
            std::vector<std::string> const all(field.type == FieldType::Reals8 ? 8 : 1, one);
            texts.push_back(fmt::format("{}", fmt::join(all, ",")));
        }
    } else if (field.type != FieldType::Choice) {
        texts = field.type == FieldType::Flag ? std::vector<std::string>{"true", "false"}
                                              : std::vector<std::string>{"#01020304", "#0080FF"};
    }
    return texts;
}

void CheckDeclaration(Settings const& defaults) {
    EXPECT_TRUE(defaults.GetSummary().ends_with('.')) << "the summary is a sentence";
    std::set<std::string_view> keys;
    for (Field const& field : defaults.GetFields()) {
        SCOPED_TRACE(std::string(field.key));
        EXPECT_TRUE(keys.insert(field.key).second) << "declared twice";
        EXPECT_FALSE(field.help.empty());
        EXPECT_EQ(field.type == FieldType::Choice, !field.labels.empty());
        EXPECT_TRUE(!field.HasRange() || field.minimum < field.maximum);
        for (FieldLabel const& label : field.labels) {
            // A repeated label, or one equal to another choice's number, would be ambiguous.
            EXPECT_EQ(std::get<std::int32_t>(field.Parse(label.label)), label.value);
            EXPECT_EQ(field.Format(label.value), label.label);
        }
        for (std::string const& text : ListTexts(field)) {
            std::unique_ptr<Settings> const changed = defaults.Clone();
            ASSERT_NO_THROW(changed->Set(field.key, text)) << text;
            FieldValue const value = field.get(*changed);
            EXPECT_TRUE(value == field.Parse(text) && value == field.Parse(field.Format(value))) << text;
            // Only this field, and only of the copy.
            for (Field const& other : defaults.GetFields()) {
                EXPECT_TRUE(other.key == field.key || other.get(*changed) == other.get(defaults))
                    << other.key << " changed with it";
            }
        }
    }
}

TEST(SettingsClasses, AllRoundTripThroughText) {
    CheckDeclaration(SettingsOfAllTypes());
    std::set<std::string> ids;
    for (std::unique_ptr<Settings> const& settings : MakeAllSettings()) {
        SCOPED_TRACE(settings->GetClassId());
        EXPECT_TRUE(ids.insert(settings->GetClassId()).second) << "listed twice";
        EXPECT_FALSE(settings->GetClassId().starts_with("Settings")) << "the short name is without the prefix";
        CheckDeclaration(*settings);
        EXPECT_EQ(MakeSettings(settings->GetClassId())->GetClassId(), settings->GetClassId());
    }
    EXPECT_FALSE(ids.empty());
    EXPECT_EQ(MakeSettings("NoSuchEffect"), nullptr);
}

}  // namespace
}  // namespace Kaltor::Tests
