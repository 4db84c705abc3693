#include <atomic>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "Apps/Kaltor/PlanReport.h"
#include "Media/MediaError.h"

namespace Kaltor::Cli {
namespace {

TEST(CheckTexts, StopsBetweenTitles) {
    Edit::Plan plan;
    plan.target.frame = {64, 48, 1, 1};
    plan.overlays.resize(2);
    plan.overlays[0].title.emplace().text = "One";
    plan.overlays[1].title.emplace().text = std::string(2, '\xFF');
    std::atomic<bool> cancel = false;
    EXPECT_THROW(CheckTexts(plan, "", cancel, [](auto const&) {}), std::invalid_argument) << "no UTF-8";
    cancel = true;
    EXPECT_THROW(CheckTexts(plan, "", cancel, [](auto const&) {}), Media::Cancelled);
}

}  // namespace
}  // namespace Kaltor::Cli
