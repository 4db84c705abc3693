#pragma once

#include "Core/Interfaces/Property.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// The settings as an object of their class: a child for each field under its key; numbers and flags as such (whole
/// ones of 64 bits), colours and lists as text.
Core::Property ToProperty(Settings const& settings);

/// Sets the fields that `property` has children for; further children are ignored. Throws `std::invalid_argument` for
/// an object of another class and for text that is no colour or list, `Core::MethodIsNotApplicable` for a child of
/// another type.
void FromProperty(Settings& settings, Core::Property const& property);

}  // namespace Kaltor::Proc
