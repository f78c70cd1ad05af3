#include <gtest/gtest.h>
#include "rivulet/rivulet.h"
TEST(Types, Placeholder2) { EXPECT_EQ(getAudioDataType(32, true), AUDIO_SINGLE); }
