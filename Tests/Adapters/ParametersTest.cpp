#include <boost/algorithm/string/case_conv.hpp>

#include "Adapters/Frei0r/DoorName.h"
#include "Adapters/Frei0r/HostClock.h"
#include "Adapters/Frei0r/Parameters.h"
#include "Tests/Support/GlFixture.h"

namespace Kaltor::Tests {
namespace {

using namespace Frei0r;

std::vector<std::unique_ptr<Proc::Settings>> MakeDrawn() {
    std::vector<std::unique_ptr<Proc::Settings>> drawn = Proc::MakeAllSettings();
    std::erase_if(drawn, [](auto const& settings) {
        return Proc::FindRowKind(settings->GetClassId()) == Proc::RowKind::Service;
    });
    return drawn;
}

std::string ReadBack(Parameters const& parameters, std::vector<HostValue> const& values) {
    std::vector<std::string> unknown;
    Drawing const drawing = parameters.Read(values, unknown);
    EXPECT_THAT(unknown, IsEmpty());
    return Describe(*drawing.settings);
}

/// Values of a field from one end to the other, as a user types them: whole thousandths of its range.
std::vector<Proc::FieldValue> MakeValues(Proc::Settings const& settings, Proc::Field const& field) {
    std::vector<Proc::FieldValue> values;
    auto const at = [&](double share) {
        double const number = field.minimum + share * (field.maximum - field.minimum);
        return std::min(std::max(std::round(number * 1e4) / 1e4, field.minimum), field.maximum);
    };
    for (Proc::FieldLabel const& label : field.labels) {
        values.emplace_back(label.value);
    }
    for (double const share : {0.0, 0.001, 0.3, 0.5, 0.777, 1.0}) {
        std::visit(
            [&]<typename T>(T const&) {
                if constexpr (std::is_same_v<T, bool>) {
                    values.emplace_back(share < 0.5);
                } else if constexpr (std::is_same_v<T, Proc::Color>) {
                    values.emplace_back(share < 0.5 ? Proc::Color{0, 127, 255, 1} : Proc::Color{200, 3, 254, 128});
                } else if constexpr (std::is_same_v<T, Proc::Reals8>) {
                    values.emplace_back(
                        Proc::Reals8{at(0), at(0.1), at(0.2), at(0.34), at(0.5), at(0.6), at(0.9), at(1)});
                } else if constexpr (std::is_arithmetic_v<T>) {
                    if (field.labels.empty()) {
                        values.emplace_back(static_cast<T>(std::is_integral_v<T> ? std::round(at(share)) : at(share)));
                    }
                }
            },
            field.get(settings));
    }
    return values;
}

TEST(Frei0rParameters, EveryValueOfEveryFieldReachesTheEffectAsItWasMeant) {
    for (std::unique_ptr<Proc::Settings> const& settings : MakeDrawn()) {
        Parameters const parameters(settings->GetClassId());
        EXPECT_EQ(ReadBack(parameters, parameters.GetInitial()), Describe(*settings)) << "untouched";
        for (Proc::Field const& field : settings->GetFields()) {
            for (Proc::FieldValue const& value : MakeValues(*settings, field)) {
                std::unique_ptr<Proc::Settings> const wanted = settings->Clone();
                field.set(*wanted, value);
                std::vector<HostValue> values = parameters.Write(*wanted);
                for (std::size_t i = 0; i < values.size(); ++i) {
                    double* const number = std::get_if<double>(&values[i]);
                    if (number != nullptr && parameters.Get()[i].role != Role::Progress) {
                        EXPECT_GE(*number, 0.0) << parameters.Get()[i].name;
                        EXPECT_LE(*number, 1.0) << parameters.Get()[i].name;
                        *number = std::stod(fmt::format("{:.12g}", *number));  // hosts pass texts on
                    }
                }
                EXPECT_EQ(ReadBack(parameters, values), Describe(*wanted));
            }
        }
    }
}

TEST(Frei0rParameters, AreNamedSoThatHostsCanTellThemApart) {
    // Properties that the hosts' own objects have. GStreamer's are in small letters.
    std::set<std::string> const taken{"in",      "out",     "name",    "parent", "qos", "threads", "length",
                                      "a_track", "b_track", "disable", "id",     "tag", "service", "mlt_service"};
    for (std::unique_ptr<Proc::Settings> const& settings : MakeDrawn()) {
        Parameters const parameters(settings->GetClassId());
        std::set<std::string> seen = taken;
        for (Parameter const& parameter : parameters.Get()) {
            EXPECT_TRUE(seen.insert(boost::algorithm::to_lower_copy(parameter.name)).second)
                << settings->GetClassId() << ": " << parameter.name;
            EXPECT_THAT(parameter.help, testing::Not(IsEmpty()));
        }
        bool const hasProgress = !parameters.Get().empty() && parameters.Get().front().name == "progress";
        EXPECT_EQ(hasProgress, settings->RunsOnProgress()) << settings->GetClassId();
        EXPECT_EQ(seen.count("seed") != 0, settings->IsRandom()) << settings->GetClassId();
    }
    EXPECT_EQ(MakeDoorName("EffectBlurGaussian"), "kaltor_blur_gaussian");
    EXPECT_EQ(MakeDoorName("EffectTiltShiftQEL"), "kaltor_tilt_shift_qel");
    EXPECT_EQ(MakeDoorName("EffectVHS"), "kaltor_vhs");
    EXPECT_EQ(MakeDoorName("TransitionPageturn"), "kaltor_t_pageturn");
    EXPECT_EQ(MakeDoorName("TransitionKenBurns"), "kaltor_t_ken_burns");
}

/// The settings with one parameter set, after those that are given already.
std::string With(std::string const& classId, std::vector<std::pair<std::string, HostValue>> const& assignments) {
    Parameters const parameters(classId);
    std::vector<HostValue> values = parameters.GetInitial();
    for (auto const& [name, value] : assignments) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = parameters.Get()[i].name == name ? value : values[i];
        }
    }
    std::vector<std::string> unknown;
    std::string text = Describe(*parameters.Read(values, unknown).settings);
    for (std::string const& line : unknown) {
        text += " | " + line;
    }
    return text;
}

TEST(Frei0rParameters, AreScaledAsTheRangesAsk) {
    EXPECT_THAT(With("EffectTiltShiftQEL", {{"angle", 0.25}}), HasSubstr(" angle=-45 "));
    EXPECT_THAT(With("EffectTiltShiftQEL", {{"blur", 0.1}}), HasSubstr(" blur=0.02 "));
    // 0.1 to 20: the middle is the geometric mean.
    EXPECT_THAT(With("EffectZoom", {{"zoom", 0.5}}), HasSubstr(" zoom=1.41421356 "));
    EXPECT_THAT(With("EffectMosaic", {{"count", 2.0 / 3.0}}), HasSubstr(" count=100 "));
    EXPECT_THAT(With("EffectFlip", {{"vertical", 0.5}, {"horizontal", 0.49}}),
                HasSubstr("horizontal=false vertical=true"));
    EXPECT_THAT(With("EffectZoom", {{"background", HostColor{1, 0.5F, 0}}, {"background_alpha", 0.25}}),
                HasSubstr("background=#FF800040"));
    EXPECT_THAT(With("TransitionKenBurns", {{"direction_3", 0.75}}), HasSubstr("direction=-1,-1,5,-1,"));
    EXPECT_THAT(With("TransitionPush", {{"dir", 1.0}}), HasSubstr(Describe(*Typed("TransitionPush dir=3"))));
    EXPECT_THAT(With("TransitionPush", {{"dir", 0.34}}), HasSubstr(Describe(*Typed("TransitionPush dir=1"))));
}

TEST(Frei0rParameters, NeverMakeSettingsThatCannotBeDrawn) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const endless = std::numeric_limits<double>::infinity();
    for (std::unique_ptr<Proc::Settings> const& settings : MakeDrawn()) {
        Parameters const parameters(settings->GetClassId());
        for (double const number : {nan, endless, -endless, -1e300, 7.0}) {
            std::vector<HostValue> values = parameters.GetInitial();
            for (HostValue& value : values) {
                if (std::holds_alternative<double>(value)) {
                    value = number;
                } else if (std::holds_alternative<HostColor>(value)) {
                    auto const channel = static_cast<float>(number);
                    value = HostColor{channel, channel, channel};
                }
            }
            std::vector<std::string> unknown;
            Drawing const drawing = parameters.Read(values, unknown);
            EXPECT_NO_THROW(drawing.settings->Validate()) << settings->GetClassId() << " with " << number;
            EXPECT_TRUE(std::isfinite(drawing.progress));
            if (std::isnan(number)) {
                EXPECT_EQ(Describe(*drawing.settings), Describe(*settings)) << "no numbers";
            }
        }
    }
    EXPECT_THAT(With("EffectTranspose", {{"mode", 0.0}, {"mode_label", std::string("counter-clockwise")}}),
                HasSubstr("mode=counter-clockwise"))
        << "a label counts before the number";
    EXPECT_THAT(With("EffectTranspose", {{"mode", 0.0}, {"mode_label", std::string("sideways")}}),
                testing::AllOf(HasSubstr("mode=main-diagonal"), HasSubstr("| \"sideways\" is not accepted for mode")));
}

std::vector<std::int64_t> Microseconds(std::string const& caller, std::vector<double> const& times) {
    HostClock clock(caller);
    std::vector<std::int64_t> result;
    for (double const time : times) {
        result.push_back(clock.ToMicroseconds(time));
    }
    return result;
}

TEST(Frei0rHostClock, TellsMillisecondsFromSeconds) {
    EXPECT_THAT(Microseconds("/usr/lib/libavfilter.so.8", {0, 40, 33.3333333333, 2000}),
                ElementsAre(0, 40000, 33333, 2000000));
    // A first frame that is not the first one of the film, and jumps as in a preview.
    EXPECT_THAT(Microseconds("/usr/lib/libavfilter.so.8", {5000, 0.5}), ElementsAre(5000000, 500));
    EXPECT_THAT(Microseconds("/usr/lib/mlt-7/libmltfrei0r.so", {7, 9, 3}), ElementsAre(7000000, 9000000, 3000000));
    EXPECT_THAT(Microseconds("libgstfrei0r.so", {0, 0.04, 10}), ElementsAre(0, 40000, 10000000));
    // Others, by the steps: a gap does not make milliseconds of what was seconds.
    EXPECT_THAT(Microseconds("/opt/host", {0, 0.04, 0.08, 100}), ElementsAre(0, 40000, 80000, 100000000));
    EXPECT_THAT(Microseconds("", {0, 40, 80}), ElementsAre(0, 40000, 80000));
    EXPECT_THAT(Microseconds("", {0, 3, 3.04}), ElementsAre(0, 3000, 3040000)) << "after a jump";
    EXPECT_THAT(Microseconds("", {0.04, 0.04, 0.08}), ElementsAre(40000, 40000, 80000)) << "the same frame twice";
    double const nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(Microseconds("", {nan, -1e300, 0.5}), ElementsAre(0, 0, 500));
}

}  // namespace
}  // namespace Kaltor::Tests
