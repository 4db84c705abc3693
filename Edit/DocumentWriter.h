#pragma once

#include <string>

#include "Edit/Document.h"
#include "Edit/Json.h"

namespace Kaltor::Edit {

/// The document as JSON that `ReadDocument` reads as the same document. What has its default is left out.
Json WriteDocument(Document const& document);

/// The text of a document's file. Paths become relative to `folder` where they lie below it. Throws
/// `std::invalid_argument` for names that are not UTF-8, which JSON cannot hold.
std::string FormatDocument(Document const& document, std::string const& folder);

}  // namespace Kaltor::Edit
