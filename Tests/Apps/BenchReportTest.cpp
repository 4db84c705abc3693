#include <gmock/gmock.h>

#include "Apps/Kaltor/BenchReport.h"

namespace Kaltor::Cli {
namespace {

using nlohmann::ordered_json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

BenchReport MakeReport(double processing, double endToEnd) {
    BenchRow const row{"EffectTwirl",       Kind::Effect, {640, 360}, {}, {2.0 * processing, 2.0, processing},
                       {1.0, 2.0, endToEnd}};
    return {{"surfaceless", "vendor", "renderer", "4.5", "4.50", 1, 1, true}, 2, 0.5, {row}};
}

TEST(BenchReport, ComparisonShowsWhatChangedByMoreThanATenth) {
    ordered_json const old = ToJson(MakeReport(4.0, 0.01));
    auto const compare = [&](double processing, double endToEnd) {
        return CompareReports(old, "old", MakeReport(processing, endToEnd));
    };
    // End to end: far more than a tenth, but of a tiny value.
    EXPECT_THAT(compare(4.39, 0.02), HasSubstr("No ratio changed"));
    EXPECT_THAT(compare(3.61, 0.01), HasSubstr("No ratio changed"));
    EXPECT_THAT(compare(4.48, 0.01), HasSubstr("EffectTwirl 640x360 processing: 4.00 -> 4.48 copies (+12 %)"));
    EXPECT_THAT(compare(3.5, 1.01), AllOf(HasSubstr("processing: 4.00 -> 3.50 copies (-12 %)"),
                                          HasSubstr("end to end: 0.01 -> 1.01"), Not(HasSubstr("another device"))));
    BenchReport elsewhere = MakeReport(4.0, 0.01);
    elsewhere.gl.renderer = "other";
    EXPECT_THAT(CompareReports(old, "old", elsewhere), HasSubstr("another device: renderer"));
    EXPECT_THROW(CompareReports(ordered_json::array(), "old", elsewhere), std::runtime_error);
}

TEST(BenchReport, BarsShowShares) {
    BenchReport report = MakeReport(8.0, 9.0);
    report.rows.push_back(report.rows.front());
    report.rows.back().processing.copies = 2.0;
    report.rows.back().values = {{"width", "320"}};
    EXPECT_THAT(
        ShowReport(report),
        AllOf(HasSubstr("  9.00  " + std::string(24, '#') + "\n"), HasSubstr("  9.00  " + std::string(6, '#') + "\n"),
              HasSubstr("(EffectTwirl with width=320)"), HasSubstr("one copy takes 2.00 ms")));
}

}  // namespace
}  // namespace Kaltor::Cli
