#pragma once

#include <string>

#include "Edit/Convert/Conversion.h"
#include "Edit/Document.h"
#include "Edit/Json.h"
#include "Edit/Plan.h"

namespace Kaltor::Edit {

/// A timeline in OpenTimelineIO's JSON as a document. Paths stay relative to the timeline's folder.
///
/// The lowest video track with anything in it gives the clips, those above it overlays, sound tracks beds of sound.
/// Clips keep sound of their own only where the timeline has no sound track with clips. What lies on the tracks keeps
/// its place to the nearest frame of the timeline's rate, and the whole its length: what a file lacks is filled up by
/// its first or last picture, and a transition for which a clip has no handle becomes shorter, each with a warning.
///
/// Throws `std::invalid_argument` with one line that begins with the place in the timeline.
Document ReadOtio(Json const& json, Conversion const& conversion);

/// A document as a timeline. What has no word there is kept as metadata under "kaltor", from which `ReadOtio` makes the
/// same document again, unless another program has changed the times of what it belongs to; a warning for each thing
/// says so. Files that lie below `folder` are named relative to it. Looks at the files; throws as `MakePlan`.
Json WriteOtio(Document const& document, std::string const& folder, PlanOptions const& options);

}  // namespace Kaltor::Edit
