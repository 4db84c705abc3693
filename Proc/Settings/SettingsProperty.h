#pragma once

#include "Core/Interfaces/Property.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// The settings as an object of their class, with a child for each field under its key. Numbers and flags keep their
/// type (integers have 64 bits); colours and lists are text.
Core::Property ToProperty(Settings const& settings);

/// Sets the fields that `property` has children for; other children are ignored. Throws `std::invalid_argument` for an
/// object of another class and for text that is not a colour or list, `Core::MethodIsNotApplicable` for a child of
/// another type.
void FromProperty(Settings& settings, Core::Property const& property);

}  // namespace Kaltor::Proc
