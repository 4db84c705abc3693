#pragma once

#include <memory>
#include <string>

#include "Edit/Json.h"

namespace Kaltor::Edit {

/// Checks documents against a JSON Schema (draft 7). Thread-safe.
class JsonValidator {
public:
    explicit JsonValidator(Json const& schema);
    ~JsonValidator();
    JsonValidator(JsonValidator const&) = delete;
    JsonValidator& operator=(JsonValidator const&) = delete;

    /// The first violation, "PLACE: what is wrong"; "" where there is none.
    std::string FindError(Json const& document) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace Kaltor::Edit
