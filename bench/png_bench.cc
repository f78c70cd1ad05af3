// PNG encoding of a 1080p RGB frame into memory, libpng beside libspng, at
// zlib level 1 with one fixed filter and at the libraries' default settings.
// The rivulet command writes its PNG frames with the faster of the two.
#include <benchmark/benchmark.h>
#include <png.h>
#include <spng.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr int kWidth = 1920, kHeight = 1080;

// Colour bars with a diagonal ramp and a little noise: less regular than a
// flat pattern, about as compressible as camera footage after scaling.
const std::vector<unsigned char>& frame() {
  static std::vector<unsigned char> rgb = [] {
    std::vector<unsigned char> p(std::size_t(kWidth) * kHeight * 3);
    std::uint32_t seed = 1;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        int bar = x * 8 / kWidth;
        seed = seed * 1664525u + 1013904223u;
        int n = int(seed >> 29);
        unsigned char* px = &p[(std::size_t(y) * kWidth + x) * 3];
        px[0] = (bar & 4 ? 200 : 16) + n;
        px[1] = (bar & 2 ? 200 : 16) + ((x + y) & 31);
        px[2] = (bar & 1 ? 200 : 16) + n;
      }
    return p;
  }();
  return rgb;
}

struct Sink {
  std::vector<unsigned char> bytes;
};

void pngWrite(png_structp png, png_bytep data, png_size_t length) {
  auto* sink = static_cast<Sink*>(png_get_io_ptr(png));
  sink->bytes.insert(sink->bytes.end(), data, data + length);
}
void pngFlush(png_structp) {}

void BM_libpng(benchmark::State& state) {
  const bool fast = state.range(0) != 0;
  const auto& rgb = frame();
  Sink sink;
  for (auto _ : state) {
    sink.bytes.clear();
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &sink, pngWrite, pngFlush);
    if (fast) {
      png_set_compression_level(png, 1);
      png_set_filter(png, 0, PNG_FILTER_SUB);
    }
    png_set_IHDR(png, info, kWidth, kHeight, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < kHeight; ++y) png_write_row(png, &rgb[std::size_t(y) * kWidth * 3]);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    benchmark::DoNotOptimize(sink.bytes.data());
  }
  state.counters["bytes"] = double(sink.bytes.size());
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(rgb.size()));
}

void BM_libspng(benchmark::State& state) {
  const bool fast = state.range(0) != 0;
  const auto& rgb = frame();
  std::size_t size = 0;
  for (auto _ : state) {
    spng_ctx* ctx = spng_ctx_new(SPNG_CTX_ENCODER);
    spng_set_option(ctx, SPNG_ENCODE_TO_BUFFER, 1);
    if (fast) {
      spng_set_option(ctx, SPNG_IMG_COMPRESSION_LEVEL, 1);
      spng_set_option(ctx, SPNG_FILTER_CHOICE, SPNG_FILTER_CHOICE_SUB);
    }
    spng_ihdr ihdr = {};
    ihdr.width = kWidth;
    ihdr.height = kHeight;
    ihdr.bit_depth = 8;
    ihdr.color_type = SPNG_COLOR_TYPE_TRUECOLOR;
    spng_set_ihdr(ctx, &ihdr);
    spng_encode_image(ctx, rgb.data(), rgb.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE);
    int error = 0;
    void* out = spng_get_png_buffer(ctx, &size, &error);
    benchmark::DoNotOptimize(out);
    std::free(out);
    spng_ctx_free(ctx);
  }
  state.counters["bytes"] = double(size);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(rgb.size()));
}

// Argument 1: level 1 and the Sub filter; 0: the library's defaults.
BENCHMARK(BM_libpng)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_libspng)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
