#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Proc {

std::string const ImplNames::OGL = "OGL";
std::string const ImplNames::DEFAULT = "DEFAULT";

}  // namespace Kaltor::Proc
