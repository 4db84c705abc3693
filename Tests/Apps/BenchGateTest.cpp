// "kaltor bench --compare --limit", the gate for what effects cost.

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "Apps/Kaltor/BenchReport.h"
#include "CommandTest.h"

namespace Kaltor::Tests {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class BenchGateTest : public CommandTest {};

TEST_F(BenchGateTest, FailsWithTheNamesOfTheRowsThatCostMore) {
    std::string const bench = "bench crossfade OilPaint --size 320x180 --seconds 0.02 ";
    nlohmann::json report = nlohmann::json::parse(Run(bench + "--json -").out);
    auto const store = [&report, this](double crossfade, double dear, double dearProcessor) {
        for (nlohmann::json& row : report["rows"]) {
            bool const isDear = row["name"] == "EffectOilPaint";
            row["processing"]["copies"] = isDear ? dear : crossfade;
            row["processing"]["processorCopies"] = isDear ? dearProcessor : crossfade;
            row["endToEnd"]["copies"] = 1e6;
        }
        std::ofstream(In("ratios.json")) << report;
    };
    store(1e6, 1e6, 1e6);
    EXPECT_EQ(Run(bench + "--compare ratios.json --limit 25").status, 0) << "all cost less";
    store(1e6, 0.001, 0.001);
    Outcome const failed = Run(bench + "--compare ratios.json --limit 25");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, AllOf(HasSubstr("EffectOilPaint 320x180 processing: "), Not(HasSubstr("Crossfade"))));
    EXPECT_EQ(std::count(failed.err.begin(), failed.err.end(), '\n'), 1) << failed.err;
    EXPECT_EQ(Run(bench + "--compare ratios.json").status, 0) << "without a limit it only reports";
    store(1e6, 0.001, 1e6);
    EXPECT_EQ(Run(bench + "--compare ratios.json --limit 25").status, 0)
        << "it waits longer for the processor, no more";
    EXPECT_THAT(Fail(bench + "--limit 25", 2), HasSubstr("--compare"));
}

TEST(BenchGate, ARiseCountsOnTheClockAndOfTheProcessorAndFromATenthOfACopyOn) {
    auto const isSlower = [](double before, double now, double processorBefore, double processorNow) {
        auto const report = [](double copies, double processorCopies) {
            Measure::PairedTimer::Timing const timing{1.0, 1.0, copies, processorCopies};
            Ogl::GlInfo gl;
            gl.isSoftware = true;
            return Cli::BenchReport{gl, 2, 1.0, "8", {{"A", {}, {64, 36}, {}, timing, timing}}};
        };
        return !Cli::FindSlower(Cli::ToJson(report(before, processorBefore)), "old", report(now, processorNow), 25.0)
                    .empty();
    };
    EXPECT_TRUE(isSlower(1.0, 1.3, 1.0, 1.3));
    EXPECT_FALSE(isSlower(1.0, 1.2, 1.0, 1.3));
    EXPECT_FALSE(isSlower(1.0, 1.3, 1.0, 1.2)) << "threads wait";
    EXPECT_FALSE(isSlower(0.15, 0.45, 0.08, 0.14)) << "threads are interrupted";
    EXPECT_TRUE(isSlower(0.15, 0.45, 0.08, 0.2));
}

}  // namespace
}  // namespace Kaltor::Tests
