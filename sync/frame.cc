// Reference-counted frames.
#include <cstring>

#include "rivulet/sync.h"

MMFrame::MMFrame(Destroy destroyFrame) : refCount(1), data(nullptr), size(0), destroy(destroyFrame) {}

MMFrame::~MMFrame() { delete[] data; }

int MMFrame::Release() {
  // acq_rel: what this holder did to the frame happens before whatever the next
  // holder (or the delete) does once it sees the lower count.
  int left = refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) destroy(this);
  return left;
}

AudioFrame::AudioFrame() : MMFrame(&AudioFrame::destroyFrame), readOffset(0) {}

AudioFrame::~AudioFrame() {}

void AudioFrame::destroyFrame(MMFrame* frame) { delete static_cast<AudioFrame*>(frame); }

void AudioFrame::init(void* source, int bytes) {
  if (bytes < 0) bytes = 0;
  unsigned char* fresh = new unsigned char[bytes];
  delete[] data;
  data = fresh;
  size = bytes;
  if (source != nullptr && bytes > 0) std::memcpy(data, source, static_cast<size_t>(bytes));
}

VideoFrame::VideoFrame()
    : MMFrame(&VideoFrame::destroyFrame), userValue1(0), userValue2(0), allocated(0) {}

VideoFrame::~VideoFrame() {}

void VideoFrame::destroyFrame(MMFrame* frame) { delete static_cast<VideoFrame*>(frame); }

void VideoFrame::init(void* source, int bytes, long long value1, long long value2) {
  if (bytes < 0) bytes = 0;
  if (data == nullptr || allocated < bytes) {
    unsigned char* fresh = new unsigned char[bytes];
    delete[] data;
    data = fresh;
    allocated = bytes;
  }
  size = bytes;
  userValue1 = value1;
  userValue2 = value2;
  if (source != nullptr && bytes > 0) std::memcpy(data, source, static_cast<size_t>(bytes));
}
