#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Proc/Settings/Settings.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/Caught.h"

namespace Kaltor::Tests {
namespace {

using namespace Proc;
using testing::AllOf;
using testing::HasSubstr;

/// One field of every type.
class SettingsOfAllTypes final : public SettingsOf<SettingsOfAllTypes> {
public:
    static inline std::string const CLASS_ID = "OfAllTypes";
    static constexpr std::string_view SUMMARY = "Has a field of every type.";

    std::int32_t whole = 4;
    std::uint32_t count = 7;
    double real = 0.1;
    float single = 0.1F;
    bool flag = false;
    std::int32_t choice = 2;
    Color color{0x0a, 0xbc, 0xff, 255};
    Reals8 reals{1, 2, 3, 4, 5, 6, 7, 0.1};

    static std::vector<Field> DeclareFields() {
        using S = SettingsOfAllTypes;
        return {Declare("whole", &S::whole, -5, 10, "a"),
                Declare("count", &S::count, 0, 4294967295.0, "b"),
                Declare("real", &S::real, 0, 0.3, "c"),
                Declare("single", &S::single, -0.1, 0.1, "d"),
                Declare("flag", &S::flag, "e"),
                DeclareChoice("choice", &S::choice, {{0, "down"}, {2, "up"}, {5, "left"}}, "f"),
                Declare("color", &S::color, "g"),
                Declare("reals", &S::reals, -1, 8, "h")};
    }
};

TEST(Fields, ParseWhatAUserTypes) {
    SettingsOfAllTypes settings;
    settings.Set("whole", "-5");
    EXPECT_EQ(settings.whole, -5);
    settings.Set("whole", "+10");
    EXPECT_EQ(settings.whole, 10);
    settings.Set("count", "4294967295");
    EXPECT_EQ(settings.count, 4294967295U);
    settings.Set("real", "1e-2");
    EXPECT_EQ(settings.real, 0.01);
    settings.Set("flag", "yes");
    EXPECT_TRUE(settings.flag);
    settings.Set("flag", "0");
    EXPECT_FALSE(settings.flag);
    settings.Set("choice", "left");
    EXPECT_EQ(settings.choice, 5);
    settings.Set("choice", "0");
    EXPECT_EQ(settings.choice, 0);
    settings.Set("color", "#01020304");
    EXPECT_EQ(settings.color, (Color{1, 2, 3, 4}));
    settings.Set("color", "#fFa000");
    EXPECT_EQ(settings.color, (Color{255, 160, 0, 255}));
    settings.Set("reals", "-1,0,0.5,1,2,3,4,8");
    EXPECT_EQ(settings.reals, (Reals8{-1, 0, 0.5, 1, 2, 3, 4, 8}));
}

TEST(Fields, TakeTheEndsOfARangeThatSinglePrecisionCannotTell) {
    SettingsOfAllTypes settings;
    // The nearest numbers lie outside.
    settings.Set("single", "-0.1");
    EXPECT_EQ(settings.single, -0.1F);
    settings.Set("single", "0.1");
    EXPECT_EQ(settings.single, 0.1F);
    settings.Set("real", "0.3");
    EXPECT_EQ(settings.real, 0.3);
    EXPECT_THROW(settings.Set("single", "0.10001"), std::invalid_argument);
    EXPECT_THROW(settings.Set("single", "-0.10001"), std::invalid_argument);
}

TEST(Fields, RefuseTheRestAndKeepTheValue) {
    struct Case {
        char const* key;
        std::vector<std::string> texts;
    };
    for (Case const& c :
         {Case{"whole", {"-6", "11", "1.5", "", "x", "3 ", "99999999999", "+-3"}},
          {"count", {"-1", "4294967296"}},
          {"real", {"nan", "inf", "-1e-9", "0.3000001", "0,1"}},
          {"single", {"nan", "-inf"}},
          {"flag", {"maybe", "TRUE"}},
          {"choice", {"1", "upwards", ""}},
          {"color", {"#12345", "112233", "#GG0000", "#+10203", "#1122334455"}},
          {"reals",
           {"1,2,3,4,5,6,7", "1,2,3,4,5,6,7,8,9", "1,2,3,4,5,6,7,nan", "1,2,3,4,5,6,7,9", "1,,3,4,5,6,7,8"}}}) {
        SettingsOfAllTypes settings;
        Field const& field = settings.FindField(c.key);
        std::string const before = field.Format(field.get(settings));
        for (std::string const& text : c.texts) {
            Caught const caught = Catch<std::invalid_argument>([&] { settings.Set(c.key, text); });
            EXPECT_THAT(caught.what, AllOf(HasSubstr(c.key), HasSubstr(fmt::format("\"{}\"", text)),
                                           HasSubstr(field.DescribeRange())));
            EXPECT_EQ(field.Format(field.get(settings)), before) << c.key << " = " << text;
        }
    }
}

TEST(Fields, TellTheirTypeAndRange) {
    SettingsOfAllTypes const settings;
    auto const range = [&](char const* key) { return settings.FindField(key).DescribeRange(); };
    EXPECT_EQ(range("whole"), "a whole number -5 to 10");
    EXPECT_EQ(range("real"), "0 to 0.3");
    EXPECT_EQ(range("choice"), "down (0), up (2) or left (5)");
    EXPECT_EQ(range("reals"), "8 numbers -1 to 8 with commas between");
    std::vector<std::string> types;
    for (Field const& field : settings.GetFields()) {
        types.emplace_back(GetName(field.type));
    }
    EXPECT_THAT(types, testing::ElementsAre("int", "uint", "real", "float", "flag", "choice", "colour", "reals[8]"));
}

TEST(Fields, ValuesOutsideTheRangeStillPrint) {
    SettingsOfAllTypes settings;
    settings.choice = 77;
    settings.real = std::numeric_limits<double>::infinity();
    auto const text = [&](char const* key) {
        Field const& field = settings.FindField(key);
        return field.Format(field.get(settings));
    };
    EXPECT_EQ(text("choice"), "77");
    EXPECT_EQ(text("real"), "inf");
    EXPECT_EQ(text("single"), "0.1");
    EXPECT_EQ(text("color"), "#0ABCFF");
}

TEST(Names, TheNearestIsOffered) {
    std::vector<std::string> const names{"TransitionCrossfade", "EffectBlurGaussian", "EffectFlip"};
    EXPECT_EQ(FindNearest("transitioncrosfade", names), "TransitionCrossfade");
    EXPECT_EQ(FindNearest("EffectFlop", names), "EffectFlip");
    EXPECT_EQ(FindNearest("Waterfall", names), "");
    EXPECT_EQ(FindNearest("", {}), "");
    SettingsOfAllTypes settings;
    EXPECT_THAT(Catch<std::invalid_argument>([&] { settings.Set("colour", "#000000"); }).what,
                AllOf(HasSubstr("OfAllTypes"), HasSubstr("did you mean \"color\"?")));
    EXPECT_THAT(Catch<std::invalid_argument>([&] { settings.Set("qqqqqqq", "1"); }).what,
                AllOf(HasSubstr("qqqqqqq"), HasSubstr("whole, count, real")));
    SettingsFrameUploader none;
    EXPECT_THAT(Catch<std::invalid_argument>([&] { none.Set("x", "1"); }).what, HasSubstr("none"));
}

/// Values at the ends and between, as a user would type them.
std::vector<FieldValue> ListValues(Field const& field, FieldValue const& current) {
    std::vector<FieldValue> values{current};
    auto const add = [&](auto low, auto high) {
        values.emplace_back(low);
        values.emplace_back(high);
        values.emplace_back(static_cast<decltype(low)>(low + (high - low) / 3));
    };
    switch (field.type) {
        case FieldType::Int:
            add(static_cast<std::int32_t>(field.minimum), static_cast<std::int32_t>(field.maximum));
            break;
        case FieldType::Uint:
            add(static_cast<std::uint32_t>(field.minimum), static_cast<std::uint32_t>(field.maximum));
            break;
        case FieldType::Real:
            add(field.minimum, field.maximum);
            break;
        case FieldType::Float:
            add(static_cast<float>(field.minimum), static_cast<float>(field.maximum));
            break;
        case FieldType::Flag:
            values.insert(values.end(), {true, false});
            break;
        case FieldType::Choice:
            for (FieldLabel const& label : field.labels) {
                values.emplace_back(label.value);
            }
            break;
        case FieldType::Color:
            values.insert(values.end(), {Color{1, 2, 3, 4}, Color{0, 128, 255, 255}});
            break;
        case FieldType::Reals8: {
            Reals8 reals{};
            for (std::size_t i = 0; i < reals.size(); ++i) {
                reals[i] = field.minimum + (field.maximum - field.minimum) * static_cast<double>(i) / 7.0;
            }
            values.emplace_back(reals);
            break;
        }
    }
    return values;
}

void CheckDeclaration(Settings const& defaults) {
    EXPECT_TRUE(defaults.GetSummary().ends_with('.')) << "is a sentence";
    std::set<std::string> keys;
    for (Field const& field : defaults.GetFields()) {
        SCOPED_TRACE(std::string(field.key));
        EXPECT_TRUE(keys.insert(std::string(field.key)).second) << "declared twice";
        EXPECT_FALSE(field.help.empty());
        EXPECT_EQ(field.type == FieldType::Choice, !field.labels.empty());
        if (field.HasRange()) {
            EXPECT_LT(field.minimum, field.maximum);
        }
        std::set<std::string> labels;
        std::set<std::int32_t> numbers;
        for (FieldLabel const& label : field.labels) {
            EXPECT_TRUE(labels.insert(std::string(label.label)).second) << label.label;
            EXPECT_TRUE(numbers.insert(label.value).second) << label.value;
        }
        // A label that reads like another choice's number would be taken for either.
        for (FieldLabel const& label : field.labels) {
            EXPECT_EQ(std::get<std::int32_t>(field.Parse(label.label)), label.value);
            EXPECT_EQ(std::get<std::int32_t>(field.Parse(std::to_string(label.value))), label.value);
        }
        for (FieldValue const& value : ListValues(field, field.get(defaults))) {
            std::unique_ptr<Settings> const changed = defaults.Clone();
            std::string const text = field.Format(value);
            ASSERT_NO_THROW(changed->Set(field.key, text)) << text;
            EXPECT_EQ(field.get(*changed), value) << text;
            // Only this field, and only of the copy.
            for (Field const& other : defaults.GetFields()) {
                if (other.key != field.key) {
                    EXPECT_EQ(other.get(*changed), other.get(defaults)) << other.key << " changed with it";
                }
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
        EXPECT_NE(settings->GetClassId().rfind("Settings", 0), 0U) << "the short name is without the prefix";
        CheckDeclaration(*settings);
        std::unique_ptr<Settings> const again = MakeSettings(settings->GetClassId());
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(again->GetClassId(), settings->GetClassId());
        EXPECT_EQ(settings->Clone()->GetClassId(), settings->GetClassId());
    }
    EXPECT_FALSE(ids.empty());
    EXPECT_EQ(MakeSettings("NoSuchEffect"), nullptr);
}

}  // namespace
}  // namespace Kaltor::Tests
