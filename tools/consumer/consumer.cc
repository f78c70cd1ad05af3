// A host in miniature: classify a FourCC, select a routine, convert a frame.
#include <cstdio>
#include <rivulet/rivulet.h>

int main() {
  const unsigned char frame[4] = {10, 20, 30, 0};  // one BGR pixel, row padded to 4
  unsigned short r = 0, g = 0, b = 0;
  VideoInputFcn f = MM_GetVideoInputFcn(getFourccEnum("RGB "), FOURCC_RGB, VIDEO_UINT16, false);
  if (!f) return 1;
  f(frame, &r, &g, &b, 1, 1, ORIENTATION_ROW_MAJOR);
  std::printf("rivulet %s: r=%u g=%u b=%u\n", rivulet_version, r, g, b);
  return (r == 30 * 256 && g == 20 * 256 && b == 10 * 256) ? 0 : 1;
}
