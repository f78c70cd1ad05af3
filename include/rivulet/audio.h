// rivulet: audio sample conversion selectors and routines.
#ifndef RIVULET_AUDIO_H
#define RIVULET_AUDIO_H

#include "rivulet/types.h"

#endif  // RIVULET_AUDIO_H
