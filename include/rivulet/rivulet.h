// rivulet: the whole exported interface.
#ifndef RIVULET_RIVULET_H
#define RIVULET_RIVULET_H

#include "rivulet/types.h"
#include "rivulet/video.h"
#include "rivulet/audio.h"
#include "rivulet/sync.h"
#include "rivulet/avi.h"

#endif  // RIVULET_RIVULET_H
