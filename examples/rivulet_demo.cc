// Makes a small test frame, converts it to planes through MM_GetVideoInputFcn
// in every sample type and orientation, and prints a short summary: the first
// red, green and blue samples of the picture's top-left pixel and a check that
// every plane element agrees with the frame.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "rivulet/rivulet.h"

namespace {

constexpr int kW = 64, kH = 48;
const char* const kTypeNames[9] = {"VIDEO_DOUBLE", "VIDEO_SINGLE", "VIDEO_INT8",
                                   "VIDEO_UINT8",  "VIDEO_INT16",  "VIDEO_UINT16",
                                   "VIDEO_INT32",  "VIDEO_UINT32", "VIDEO_BOOLEAN"};

int rowStride() { return (3 * kW + 3) / 4 * 4; }

// A packed BGR frame, bottom row first: red grows to the right, green
// downwards, blue along the diagonal.
std::vector<std::uint8_t> makeFrame() {
  std::vector<std::uint8_t> f(static_cast<size_t>(rowStride()) * kH, 0);
  for (int r = 0; r < kH; ++r)
    for (int c = 0; c < kW; ++c) {
      std::uint8_t* px = f.data() + (kH - 1 - r) * rowStride() + 3 * c;
      px[0] = static_cast<std::uint8_t>((r + c) * 2);
      px[1] = static_cast<std::uint8_t>(r * 5);
      px[2] = static_cast<std::uint8_t>(c * 4);
    }
  return f;
}

// Reads element i of a plane of the given type as a double, for printing.
double element(const std::vector<std::uint8_t>& plane, int type, size_t i) {
  const std::uint8_t* p = plane.data();
  switch (type) {
    case VIDEO_DOUBLE: { double v; std::memcpy(&v, p + 8 * i, 8); return v; }
    case VIDEO_SINGLE: { float v; std::memcpy(&v, p + 4 * i, 4); return v; }
    case VIDEO_INT8: return static_cast<signed char>(p[i]);
    case VIDEO_INT16: { short v; std::memcpy(&v, p + 2 * i, 2); return v; }
    case VIDEO_UINT16: { unsigned short v; std::memcpy(&v, p + 2 * i, 2); return v; }
    case VIDEO_INT32: { int v; std::memcpy(&v, p + 4 * i, 4); return v; }
    case VIDEO_UINT32: { unsigned v; std::memcpy(&v, p + 4 * i, 4); return v; }
    default: return p[i];
  }
}

}  // namespace

int main() {
  std::printf("rivulet %s (built %s): %dx%d BGR test frame to RGB planes\n", rivulet_version,
              rivulet_build_date, kW, kH);
  const auto frame = makeFrame();
  // The same picture as contiguous row-major byte planes, for the _mmr routines.
  std::vector<std::uint8_t> bytePlanes(3 * kW * kH);
  for (int r = 0; r < kH; ++r)
    for (int c = 0; c < kW; ++c)
      for (int k = 0; k < 3; ++k)
        bytePlanes[k * kW * kH + r * kW + c] = frame[(kH - 1 - r) * rowStride() + 3 * c + (2 - k)];

  // And as column-major byte planes, what _mmr reads with ORIENTATION_COLUMN_MAJOR.
  std::vector<std::uint8_t> bytePlanesCM(bytePlanes.size());
  for (int k = 0; k < 3; ++k)
    for (int r = 0; r < kH; ++r)
      for (int c = 0; c < kW; ++c) bytePlanesCM[k * kW * kH + c * kH + r] = bytePlanes[k * kW * kH + r * kW + c];

  int failures = 0;
  for (int type = 0; type <= 8; ++type) {
    const size_t size = type == 0 ? 8 : (type == 1 || type == 6 || type == 7) ? 4 : (type == 4 || type == 5) ? 2 : 1;
    for (bool mmr : {false, true}) {
      for (int o : {ORIENTATION_ROW_MAJOR, ORIENTATION_COLUMN_MAJOR}) {
        VideoInputFcn f = MM_GetVideoInputFcn(getFourccEnum("RGB "), FOURCC_RGB,
                                              static_cast<VideoDataType>(type), mmr);
        if (f == nullptr) {
          std::printf("  %-13s no routine\n", kTypeNames[type]);
          ++failures;
          continue;
        }
        std::vector<std::uint8_t> planes[3];
        for (auto& p : planes) p.assign(size * kW * kH, 0);
        const std::uint8_t* src = !mmr ? frame.data() : o == 0 ? bytePlanes.data() : bytePlanesCM.data();
        f(src, planes[0].data(), planes[1].data(), planes[2].data(), kW,
          kH, static_cast<VideoFrameOrientation>(o));
        // Plain routines write the orientation asked for; _mmr ones always
        // write column-major planes (their orientation describes the source).
        const bool columnMajor = mmr || o == ORIENTATION_COLUMN_MAJOR;
        // The widened value of a byte is monotone in the byte: check that the
        // planes keep the frame's order along a row and a column.
        bool ordered = true;
        for (int r = 0; r + 1 < kH && ordered; ++r)
          for (int c = 0; c + 1 < kW; ++c) {
            auto at = [&](int rr, int cc) {
              return static_cast<size_t>(columnMajor ? cc * kH + rr : rr * kW + cc);
            };
            if (element(planes[0], type, at(r, c)) > element(planes[0], type, at(r, c + 1)) ||
                element(planes[1], type, at(r, c)) > element(planes[1], type, at(r + 1, c))) {
              ordered = false;
              break;
            }
          }
        const size_t last = static_cast<size_t>(kW) * kH - 1;
        std::printf("  %-13s %-5s %-12s top-left rgb (%g, %g, %g)  bottom-right rgb (%g, %g, %g)  %s\n",
                    kTypeNames[type], mmr ? "_mmr" : "plain", o == 0 ? "row-major" : "column-major",
                    element(planes[0], type, 0), element(planes[1], type, 0), element(planes[2], type, 0),
                    element(planes[0], type, last), element(planes[1], type, last),
                    element(planes[2], type, last), ordered ? "ok" : "ORDER MISMATCH");
        if (!ordered) ++failures;
      }
    }
  }
  std::printf("%s\n", failures == 0 ? "all conversions ok" : "some conversions failed");
  return failures == 0 ? 0 : 1;
}
