#pragma once

#include "Edit/Json.h"

namespace Kaltor::Edit {

/// The JSON Schema (draft 7) of documents: keys, types, ranges, choices, help. The names and fields of effects and
/// transitions are left to the reader, which knows those that are registered.
Json MakeSchema();

/// Throws `std::invalid_argument` with the place and what the schema wants there.
void ValidateBySchema(Json const& document);

}  // namespace Kaltor::Edit
