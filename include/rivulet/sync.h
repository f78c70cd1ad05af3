// rivulet: locks, reference-counted frames and the producer/consumer media queues.
#ifndef RIVULET_SYNC_H
#define RIVULET_SYNC_H

#include "rivulet/types.h"

#endif  // RIVULET_SYNC_H
