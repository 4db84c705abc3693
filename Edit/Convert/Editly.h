#pragma once

#include "Edit/Convert/Conversion.h"
#include "Edit/Document.h"
#include "Edit/Json.h"

namespace Kaltor::Edit {

/// Whether this is a document of editly: one without a version whose clips have layers, or with other keys of its own.
bool IsEditly(Json const& json);

/// An editly document as one of this program. Paths stay relative to the document's folder. What has no counterpart is
/// a warning with its place each; gradients, random colours and random transitions become the nearest thing that stays
/// the same. Looks at videos whose duration the document leaves to them. Throws `std::invalid_argument` with one line
/// that begins with the place in the document.
Document ReadEditly(Json const& json, Conversion const& conversion);

}  // namespace Kaltor::Edit
