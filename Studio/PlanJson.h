#pragma once

#include "Edit/Json.h"
#include "Studio/FileAccess.h"
#include "Studio/Plans.h"

namespace Kaltor::Studio {

/// What a page needs to know of a plan: its size, and where everything lies. Times in seconds of the video, unless
/// they are of a source.
Edit::Json DescribePlan(PlannedDocument const& planned, FileAccess const& access);

}  // namespace Kaltor::Studio
