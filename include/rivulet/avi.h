// rivulet: the AVI container, avi::File.
#ifndef RIVULET_AVI_H
#define RIVULET_AVI_H

#include "rivulet/types.h"

#endif  // RIVULET_AVI_H
