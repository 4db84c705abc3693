#pragma once

#include <string>

#include "Apps/Kaltor/VerbDescription.h"

namespace Kaltor::Cli {

/// The text of kaltor(1), in the man macros of roff. It has no date, so that each build writes the same.
std::string MakeManPage(ProgramDescription const& program);
/// The text of kaltor-VERB(1), or of kaltor-GROUP-VERB(1). `group`: what is typed before the verb, "" or "farm ".
std::string MakeManPage(VerbDescription const& verb, std::string const& group = "");

/// Writes kaltor.1 and one page for each verb, those of groups included, into an existing folder. Throws where that
/// fails.
void WriteManPages(ProgramDescription const& program, std::string const& folder);

}  // namespace Kaltor::Cli
