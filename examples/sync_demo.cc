// A producer thread sends 200 blocks of 256 stereo 16-bit periods through an
// MMAudioQueue; the consumer reads them back as doubles, 256 periods at a time,
// the way a sound card callback would, and checks every sample. When the list
// runs dry it gets silence from the empty routine instead of waiting. Prints
// how many periods carried sound and how many were silence.
#include <cstdio>
#include <thread>
#include <vector>

#include "rivulet/rivulet.h"

namespace {

constexpr int kBlocks = 200, kPeriods = 256, kChannels = 2;

// Left rises and right falls, never reaching zero, so that silence shows.
short sampleAt(long k, int c) {
  int v = static_cast<int>(k % 30000) + 1;
  return static_cast<short>(c == 0 ? v : -v);
}

}  // namespace

int main() {
  MMAudioQueue queue(8, AUDIO_INT16, kChannels,
                     MM_GetAudioConvertCopyFcn(AUDIO_INT16, AUDIO_DOUBLE),
                     MM_GetAudioEmptyFcn(AUDIO_DOUBLE));

  std::thread producer([&] {
    std::vector<short> block(kPeriods * kChannels);
    long k = 0;
    for (int b = 0; b < kBlocks;) {
      for (int p = 0; p < kPeriods; ++p, ++k)
        for (int c = 0; c < kChannels; ++c) block[p * kChannels + c] = sampleAt(k, c);
      AudioFrame* f = queue.createAudioFrame();  // waits up to ~1 s for room
      if (f == nullptr) {
        k -= kPeriods;  // no room yet: try the same block again
        continue;
      }
      f->init(block.data(), static_cast<int>(block.size() * sizeof(short)));
      if (!queue.appendAudioFrame(f)) f->Release();  // the list takes our reference
      ++b;
    }
    queue.setStopping(true);
  });

  // Consumer: whole buffers of 256 periods; one call reads from one frame, so
  // a buffer may take several calls.
  std::vector<double> out(kPeriods * kChannels);
  long k = 0, silent = 0, wrong = 0;
  while (k < static_cast<long>(kBlocks) * kPeriods) {
    for (int done = 0; done < kPeriods;) {
      int wanted = kPeriods - done;
      bool sound = queue.getFrameCount() > 0;  // only this thread removes frames
      int n = queue.copyAudioFrame(&out[done * kChannels], wanted, wanted);
      for (int i = done; i < done + n; ++i) {
        if (!sound && out[i * kChannels] == 0.0) {
          ++silent;
          continue;
        }
        for (int c = 0; c < kChannels; ++c)
          wrong += out[i * kChannels + c] != sampleAt(k, c) / 32768.0;
        ++k;
      }
      done += n;
    }
    if (queue.getFrameCount() == 0) std::this_thread::yield();
  }
  producer.join();
  std::printf("%ld periods of sound, %ld of silence, %ld wrong samples\n", k, silent, wrong);
  return wrong == 0 ? 0 : 1;
}
