#include "Edit/Curve.h"
#include "Edit/FieldCurve.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Edit::Tests {
namespace {

constexpr AVRational kRate{25, 1};

/// At 0.2, 0.45, 0.7 and 0.9. Penner's by his own expressions, which have another form than the program's; those of CSS
/// by finely sampled curves.
std::map<std::string, std::array<double, 4>> const kEasings{
    {"easeInSine", {0.048943, 0.239594, 0.546010, 0.843566}},
    {"easeOutSine", {0.309017, 0.649448, 0.891007, 0.987688}},
    {"easeInOutSine", {0.095492, 0.421783, 0.793893, 0.975528}},
    {"easeInQuad", {0.040000, 0.202500, 0.490000, 0.810000}},
    {"easeOutQuad", {0.360000, 0.697500, 0.910000, 0.990000}},
    {"easeInOutCubic", {0.032000, 0.364500, 0.892000, 0.996000}},
    {"easeOutQuart", {0.590400, 0.908494, 0.991900, 0.999900}},
    {"easeInOutQuint", {0.005120, 0.295245, 0.961120, 0.999840}},
    {"easeInExpo", {0.003906, 0.022097, 0.125000, 0.500000}},
    {"easeOutExpo", {0.750000, 0.955806, 0.992188, 0.998047}},
    {"easeInCirc", {0.020204, 0.106971, 0.285857, 0.564110}},
    {"easeInOutCirc", {0.041742, 0.282055, 0.900000, 0.989898}},
    {"easeInBack", {-0.046451, -0.098388, 0.092868, 0.591172}},
    {"easeOutBack", {0.705802, 1.065253, 1.080200, 1.014314}},
    {"easeInOutBack", {-0.092556, 0.259406, 1.078833, 1.037519}},
    {"easeInElastic", {-0.001953, 0.011049, 0.125000, -0.250000}},
    {"easeOutElastic", {1.125000, 1.044194, 1.003906, 0.998047}},
    {"easeInOutElastic", {-0.003906, 0.043412, 0.976061, 0.999661}},
    {"easeOutBounce", {0.302500, 0.818906, 0.930625, 0.988125}},
    {"easeInBounce", {0.060000, 0.249844, 0.319375, 0.924375}},
    {"easeInOutBounce", {0.113750, 0.462188, 0.955000, 0.970000}},
    {"ease", {0.295244, 0.747853, 0.940765, 0.994316}},
    {"ease-in", {0.062282, 0.263345, 0.554814, 0.839428}},
    {"ease-in-out", {0.081660, 0.414340, 0.812604, 0.980278}},
    {"cubic-bezier(0.3, -0.5, 0.2, 1.5)", {0.099102, 0.848550, 1.073992, 1.051712}},
    {"steps(4)", {0.0, 0.25, 0.5, 0.75}},
    {"steps(4, jump-start)", {0.25, 0.5, 0.75, 1.0}},
    {"steps(3, jump-none)", {0.0, 0.5, 1.0, 1.0}},
    {"steps(3, jump-both)", {0.25, 0.5, 0.75, 0.75}},
    {"hold", {0.0, 0.0, 0.0, 0.0}},
};

TEST(EasingTest, FollowsTheFormulas) {
    constexpr std::array kPlaces{0.2, 0.45, 0.7, 0.9};
    for (auto const& [name, values] : kEasings) {
        Easing const easing = Easing::Parse(name);
        for (std::size_t i = 0; i < kPlaces.size(); ++i) {
            EXPECT_NEAR(easing(kPlaces[i]), values[i], 2e-6) << name << " at " << kPlaces[i];
        }
    }
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
