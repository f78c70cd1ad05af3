#include "video/kernels.h"

#include "types/cpu.h"

namespace rivulet {

extern const VideoForms kVideoFormsSse2;
extern const VideoForms kVideoFormsSsse3;
extern const VideoForms kVideoFormsAvx2;
extern const VideoForms kVideoFormsAvx512;

namespace {
constexpr VideoForms kVideoFormsNone = {};
}  // namespace

constinit const VideoForms* const kVideoFormsBySet[5] = {
    &kVideoFormsNone, &kVideoFormsSse2, &kVideoFormsSsse3, &kVideoFormsAvx2, &kVideoFormsAvx512};

namespace {

template <typename Fn>
void widest(Fn& into, Fn VideoForms::*member) {
  for (int k = 1; k <= static_cast<int>(simdLevel()); ++k)
    if (kVideoFormsBySet[k]->*member != nullptr) into = kVideoFormsBySet[k]->*member;
}

}  // namespace

const VideoForms& videoForms() {
  static const VideoForms forms = [] {
    VideoForms f = {};
    widest(f.splitBGR, &VideoForms::splitBGR);
    widest(f.transposeBytes16x16, &VideoForms::transposeBytes16x16);
    widest(f.transposeBytes16x64, &VideoForms::transposeBytes16x64);
    widest(f.transposeBytes64x64, &VideoForms::transposeBytes64x64);
    widest(f.transposeBytes64x64Lines, &VideoForms::transposeBytes64x64Lines);
    widest(f.streamTranspose8x8, &VideoForms::streamTranspose8x8);
    widest(f.streamLine, &VideoForms::streamLine);
    widest(f.streamFence, &VideoForms::streamFence);
    return f;
  }();
  return forms;
}

}  // namespace rivulet
