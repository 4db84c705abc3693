#pragma once

#include <string>
#include <vector>

#include "Edit/Json.h"
#include "Edit/Plan.h"

namespace Kaltor::Cli {

/// What there is to say about a plan beside the plan.
struct PlanReport {
    std::string output;
    std::string codec;
    std::vector<std::string> warnings;
};

/// For readers: what is made, then clips, overlays and sounds with their places.
std::string ToText(Edit::Plan const& plan, PlanReport const& report);
/// For programs. Times in seconds; frames count from 0.
Edit::Json ToJson(Edit::Plan const& plan, PlanReport const& report);

}  // namespace Kaltor::Cli
