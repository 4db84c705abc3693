#include "Render/SoundMix.h"
