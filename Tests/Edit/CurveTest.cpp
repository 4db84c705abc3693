#include "Edit/Curve.h"
#include "Edit/FieldCurve.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Edit::Tests {
namespace {

constexpr AVRational kRate{25, 1};

TEST(EasingTest, FollowsTheFormulas) {
    std::ifstream rows(fs::path(KALTOR_SOURCE_DIR) / "Tests/Edit/easings.txt");
    int count = 0;
    for (std::string row; std::getline(rows, row); ++count) {
        std::size_t const colon = row.find(": ");
        std::istringstream values(row.starts_with('#') ? "" : row.substr(colon + 1));
        for (double const place : {0.2, 0.45, 0.7, 0.9}) {
            if (double value = 0.0; values >> value) {
                EXPECT_NEAR(Easing::Parse(row.substr(0, colon))(place), value, 2e-6) << row << " at " << place;
            }
        }
    }
    EXPECT_EQ(count, 32);
    std::vector<std::string> const names = Easing::ListNames();
    EXPECT_EQ(names.size(), 5U + 4U + 30U);
    for (std::string const& name : names) {
        Easing const easing = Easing::Parse(name);
        EXPECT_EQ(Easing::Parse(easing.GetName()), easing) << name;
        EXPECT_NEAR(easing(0.0), name == "step-start" ? 1.0 : 0.0, 1e-12) << name;
        EXPECT_NEAR(easing(1.0), 1.0, 1e-12) << name;
        EXPECT_EQ(easing(2.0), easing(1.0)) << name;
        EXPECT_EQ(easing(std::nan("")), easing(0.0)) << name;
    }
    for (auto const& [text, hint] : std::map<std::string, std::string>{{"easeOutCubik", "did you mean easeOutCubic?"},
                                                                       {"cubic-bezier(2, 0, 1, 1)", "from 0 to 1"},
                                                                       {"cubic-bezier(1, 0, 1)", "x1, y1, x2, y2"},
                                                                       {"steps(0)", "a number of steps"},
                                                                       {"steps(1, jump-none)", "a number of steps"},
                                                                       {std::string(500, 'x'), "too long"}}) {
        EXPECT_THAT(Catch<std::invalid_argument>([&t = text] { Easing::Parse(t); }).what, HasSubstr(hint)) << text;
    }
}

Key MakeKey(Time const& time, double value, char const* easing = "linear") {
    return {time, {value}, Easing::Parse(easing)};
}

TEST(CurveTest, GoesThroughItsKeysAndStaysBeyondThem) {
    CurveSampler const curve({{MakeKey(Time::Seconds(1.0), 10.0, "easeInQuad"), MakeKey({0.0, 50.0, 0.0}, 20.0, "hold"),
                               MakeKey(Time::Share(0.75), -4.0)}},
                             kRate, 4.0);  // keys at 1 s, 2 s, 3 s
    for (auto const& [time, value] : std::map<double, double>{
             {-5.0, 10.0}, {1.0, 10.0}, {1.5, 12.5}, {2.0, 20.0}, {2.999, 20.0}, {3.0, -4.0}, {9.0, -4.0}}) {
        EXPECT_NEAR(curve.NumberAt(time), value, 1e-9) << time;
    }
    EXPECT_THAT(Catch<std::invalid_argument>([] {
                    CurveSampler({{MakeKey(Time::Share(0.5), 1.0), MakeKey(Time::Seconds(1.0), 2.0)}}, kRate, 2.0);
                }).what,
                HasSubstr("does not come after"));
}

TEST(CurveTest, SmoothKeysGiveAMonotoneCubic) {
    std::vector<double> const values{0.0, 1.0, 1.5, 6.0, 6.0, 2.0};
    Curve curve;
    for (std::size_t i = 0; i < values.size(); ++i) {
        curve.keys.push_back(MakeKey(Time::Seconds(static_cast<double>(i * i)), values[i], "smooth"));
    }
    CurveSampler const sampler(curve, kRate, 30.0);
    double slopeBefore = 0.0;
    for (std::size_t i = 0; i + 1 < values.size(); ++i) {
        auto const begin = static_cast<double>(i * i);
        auto const end = static_cast<double>((i + 1) * (i + 1));
        EXPECT_NEAR(sampler.NumberAt(begin), values[i], 1e-12);
        double last = values[i];
        for (int k = 1; k <= 100; ++k) {
            double const value = sampler.NumberAt(begin + (end - begin) * k / 100.0);
            EXPECT_GE((value - last) * (values[i + 1] - values[i]), -1e-12) << i << ", " << k << ": it turns back";
            last = value;
        }
        // The slope is the same on both sides of a key.
        constexpr double kStep = 1e-5;
        double const slope = (sampler.NumberAt(begin + kStep) - sampler.NumberAt(begin)) / kStep;
        EXPECT_NEAR(slope, slopeBefore, 1e-3) << i;
        slopeBefore = (sampler.NumberAt(end) - sampler.NumberAt(end - kStep)) / kStep;
    }
    // Three keys at equal distances: the harmonic mean of both rises.
    CurveSampler const three({{MakeKey(Time::Seconds(0), 0.0, "smooth"), MakeKey(Time::Seconds(1), 1.0, "smooth"),
                               MakeKey(Time::Seconds(2), 4.0, "smooth")}},
                             kRate, 2.0);
    EXPECT_NEAR(three.NumberAt(0.5), 0.5 - 1.5 / 8.0, 1e-12);
    EXPECT_NEAR(three.NumberAt(1.5), 2.5 + 1.5 / 8.0, 1e-12);
}

TEST(CurveTest, FieldsTakeWhatTheyOffer) {
    std::unique_ptr<Proc::Settings> const settings = Proc::MakeSettings("EffectColorBrush");
    Proc::Field const& rough = settings->FindField("rough");  // whole, 0 to 100
    EXPECT_EQ(std::get<std::uint32_t>(FromComponents(rough, {50.6})), 51U);
    EXPECT_EQ(std::get<std::uint32_t>(FromComponents(rough, {-3.0})), 0U) << "an easing went below";
    Proc::Field const& color = Proc::MakeSettings("EffectColorMixExchange")->FindField("color");
    Proc::Color const value{255, 0, 128, 7};
    EXPECT_EQ(std::get<Proc::Color>(FromComponents(color, Components(value))), value);
    EXPECT_EQ(std::get<Proc::Color>(FromComponents(color, {300.0, -1.0, 127.5, 0.0})), (Proc::Color{255, 0, 128, 0}));
}

TEST(TimeTest, ReadsEveryForm) {
    AVRational const rate{30000, 1001};
    for (auto const& [text, seconds] : std::map<std::string, double>{{"12.5", 12.5},
                                                                     {"12.5s", 12.5},
                                                                     {"30f", 1.001},
                                                                     {"25%", 2.0},
                                                                     {"1:02.5", 62.5},
                                                                     {"01:00:00", 3600.0},
                                                                     {"00:01:00:15", 60.5005},
                                                                     {"-0.5", -0.5}}) {
        Time const time = ParseTime(text);
        EXPECT_NEAR(time.Resolve(rate, 8.0), seconds, 1e-9) << text;
        EXPECT_EQ(ParseTime(Format(time)), time) << text << " as " << Format(time);
    }
    for (char const* const text : {"", "x", "1:2:3:4:5", "1:75", "1e3", "nan", "5x", "1:2.5:3", "f", "12.5.1"}) {
        EXPECT_THAT(Catch<std::invalid_argument>([text] { ParseTime(text); }).what, HasSubstr("is not a time")) << text;
    }
    EXPECT_EQ(ParseLength("120px").Resolve(640.0), 120.0);
    EXPECT_EQ(ParseLength("25%").Resolve(640.0), 160.0);
    EXPECT_EQ(ParseLength("-0.5").Resolve(640.0), -320.0);
    EXPECT_THROW(ParseLength("12em"), std::invalid_argument);
}

}  // namespace
}  // namespace Kaltor::Edit::Tests
