#include <gtest/gtest.h>
#include "rivulet/rivulet.h"
TEST(Types, Placeholder) { EXPECT_EQ(getAudioDataType(32, true), AUDIO_SINGLE); }
