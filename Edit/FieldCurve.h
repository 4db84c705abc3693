#pragma once

#include <vector>

#include "Edit/Curve.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Edit {

/// The numbers of a field's value: one, the four channels of a colour, those of a list; none of a file.
std::vector<double> Components(Proc::FieldValue const& value);

/// The field's value with these components: whole numbers and channels are rounded, and all are limited to what the
/// field offers, since easings may overshoot.
Proc::FieldValue FromComponents(Proc::Field const& field, std::vector<double> const& components);

}  // namespace Kaltor::Edit
