#pragma once

#include <string>
#include <vector>

#include "Apps/Kaltor/VerbDescription.h"

namespace Kaltor::Cli {

/// What may stand in the place of a word that is being typed.
struct Completion {
    std::string word;  ///< more has to follow where it ends in '=' or ':'
    std::string help;  ///< "" where there is nothing to say

    bool operator==(Completion const&) const = default;
};

/// What may stand in the place of the last of `words`, which are those after the program's name as far as they are
/// typed: verbs, options, names, fields, values, joints, codecs. Nothing where a file's name is due.
std::vector<Completion> Complete(ProgramDescription const& program, std::vector<std::string> const& words);

}  // namespace Kaltor::Cli
