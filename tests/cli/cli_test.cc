// The rivulet command end to end, on files made by the command itself, by
// ffmpeg and by GStreamer: pictures and sound against ffmpeg's decoding,
// info --json against ffprobe, .npy planes against the selectors, convert
// round trips, failures and the overwrite rule.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "rivulet/rivulet.h"

namespace {

using Bytes = std::string;

struct Result {
  int code;
  std::string out, err;
};

std::string dir;  // scratch directory of the suite

std::string path(const std::string& name) { return dir + "/" + name; }

Bytes slurp(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

bool exists(const std::string& file) {
  struct stat st;
  return ::stat(file.c_str(), &st) == 0;
}

Result shell(const std::string& command) {
  const std::string out = path("stdout.txt"), err = path("stderr.txt");
  int status = std::system((command + " >" + out + " 2>" + err + " </dev/null").c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
}

std::string cli() {
  const char* env = std::getenv("RIVULET_CLI");
  return env && *env ? env : RIVULET_CLI_PATH;
}

Result rivulet(const std::string& args) { return shell(cli() + " " + args); }

bool have(const char* tool) { return shell(std::string("command -v ") + tool).code == 0; }

// Frame n of a file as top-down RGB, decoded by ffmpeg.
Bytes ffmpegFrame(const std::string& file, int n) {
  Result r = shell("ffmpeg -v error -i " + file + " -vf 'select=eq(n\\," + std::to_string(n) +
                ")' -frames:v 1 -f rawvideo -pix_fmt rgb24 -");
  EXPECT_EQ(r.code, 0) << r.err;
  return r.out;
}

// Frame n as the library reads it, top-down RGB.
Bytes libraryFrame(const std::string& src, int n) {
  avi::File file;
  file.open(src.c_str(), "r");
  const unsigned w = file.getVideoWidth(), h = file.getVideoHeight(), stride = (3 * w + 3) / 4 * 4;
  Bytes frame(std::max(file.getRGB24VideoFrameSize(), file.getVideoChunkSize()), '\0'), rgb;
  file.readRGB24VideoFrame(frame.data(), n);
  for (unsigned r = 0; r < h; ++r)
    for (unsigned c = 0; c < w; ++c)
      for (int k = 2; k >= 0; --k) rgb += frame[(h - 1 - r) * stride + 3 * c + k];
  return rgb;
}

Bytes decodePng(const std::string& file, unsigned& w, unsigned& h) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, file.c_str())) return {};
  image.format = PNG_FORMAT_RGB;
  Bytes rgb(PNG_IMAGE_SIZE(image), '\0');
  if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr)) return {};
  w = image.width, h = image.height;
  return rgb;
}

// Byte strings compared with a short report: sizes and the first difference.
::testing::AssertionResult same(const Bytes& a, const Bytes& b) {
  if (a == b) return ::testing::AssertionSuccess();
  std::size_t i = 0;
  while (i < a.size() && i < b.size() && a[i] == b[i]) ++i;
  return ::testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size() << ", first difference at byte "
                                       << i;
}

// The bytes of a WAV file's data chunk.
Bytes wavData(const Bytes& wav) {
  std::size_t p = wav.find("data");
  return p == Bytes::npos ? Bytes() : wav.substr(p + 8);
}

class Cli : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    char scratch[] = "/tmp/rivulet_cli_XXXXXX";
    ASSERT_NE(::mkdtemp(scratch), nullptr);
    dir = scratch;
    for (int bits : {8, 16, 24, 32})
      ASSERT_EQ(rivulet("make " + path("make" + std::to_string(bits) + ".avi") + " --size 64x48 --frames 6 --bits " +
                        std::to_string(bits) + " --audio 8000:2")
                    .code,
                0);
    sources = {path("make24.avi"), path("make8.avi"), path("make32.avi")};
    if (have("ffmpeg")) {
      // Top-down rows (ffmpeg's way) with an odd width, and a palette file.
      ASSERT_EQ(shell("ffmpeg -v error -f lavfi -i testsrc=size=61x37:rate=25 -f lavfi -i "
                      "sine=frequency=300:sample_rate=11025 -t 0.4 -c:v rawvideo -pix_fmt bgr24 -c:a pcm_s16le " +
                      path("ffmpeg.avi"))
                    .code,
                0);
      ASSERT_EQ(shell("ffmpeg -v error -f lavfi -i testsrc=size=40x30:rate=10 -t 0.5 -c:v rawvideo -pix_fmt pal8 " +
                      path("ffmpeg8.avi"))
                    .code,
                0);
      sources.push_back(path("ffmpeg.avi"));
      sources.push_back(path("ffmpeg8.avi"));
    }
    if (have("gst-launch-1.0") &&
        shell("gst-launch-1.0 -q videotestsrc num-buffers=5 pattern=smpte ! "
              "video/x-raw,format=BGR,width=50,height=30,framerate=25/1 ! avimux name=m ! filesink location=" +
              path("gst.avi") +
              " audiotestsrc num-buffers=4 ! audio/x-raw,format=S16LE,rate=8000,channels=1 ! m.")
                .code == 0)
      sources.push_back(path("gst.avi"));
  }
  static void TearDownTestSuite() { std::system(("rm -rf " + dir).c_str()); }
  static std::vector<std::string> sources;
};
std::vector<std::string> Cli::sources;

TEST_F(Cli, PngAndPpmMatchFfmpegDecoding) {
  if (!have("ffmpeg")) GTEST_SKIP() << "ffmpeg missing";
  for (const std::string& src : sources) {
    SCOPED_TRACE(src);
    const std::string out = src + ".frames";
    for (const char* format : {"png", "ppm"}) {
      Result r = rivulet(std::string("frames ") + src + " -o " + out + " --first 1 --every 2 --count 2 --format " + format);
      ASSERT_EQ(r.code, 0) << r.err;
      EXPECT_EQ(r.err, "");  // no progress when stderr is not a terminal
    }
    EXPECT_FALSE(exists(out + "/frame_000002.png"));
    for (int n : {1, 3}) {
      char name[32];
      std::snprintf(name, sizeof name, "/frame_%06d.", n);
      unsigned w = 0, h = 0;
      Bytes png = decodePng(out + name + "png", w, h);
      EXPECT_TRUE(same(png, libraryFrame(src, n))) << "frame " << n;
      // GStreamer writes idx1 offsets from the start of the file; by default
      // the reader takes them from the movi list, as the format says.
      if (src == path("gst.avi")) {
        // With --tolerant the absolute offsets are recognised and the frame
        // is ffmpeg's.
        ASSERT_EQ(rivulet("-y frames " + src + " -o " + out + "/tolerant --tolerant --first " + std::to_string(n) +
                          " --count 1")
                      .code,
                  0);
        EXPECT_TRUE(same(decodePng(out + "/tolerant" + name + "png", w, h), ffmpegFrame(src, n))) << "frame " << n;
        continue;
      }
      EXPECT_TRUE(same(png, ffmpegFrame(src, n))) << "frame " << n;
      // ffmpeg's own PPM writer gives the same file byte for byte.
      ASSERT_EQ(shell("ffmpeg -v error -y -i " + src + " -vf 'select=eq(n\\," + std::to_string(n) +
                      ")' -frames:v 1 " + out + "/ffmpeg.ppm")
                    .code,
                0);
      EXPECT_TRUE(same(slurp(out + name + "ppm"), slurp(out + "/ffmpeg.ppm"))) << n;
    }
  }
  // The pattern's colours are multiples of eight: 16-bit files read back alike.
  ASSERT_EQ(rivulet("frames " + path("make16.avi") + " -o " + path("m16") + " --format ppm").code, 0);
  ASSERT_EQ(rivulet("frames " + path("make24.avi") + " -o " + path("m24") + " --format ppm").code, 0);
  for (int n = 0; n < 6; ++n) {
    std::string name = "/frame_00000" + std::to_string(n) + ".ppm";
    EXPECT_TRUE(same(slurp(path("m16") + name), slurp(path("m24") + name)));
  }
  EXPECT_NE(slurp(path("m24") + "/frame_000000.ppm"), slurp(path("m24") + "/frame_000001.ppm"));
}

TEST_F(Cli, InfoJsonAgreesWithFfprobe) {
  if (!have("ffprobe")) GTEST_SKIP() << "ffprobe missing";
  std::vector<std::string> files = sources;
  files.push_back(path("make16.avi"));
  for (const std::string& src : files) {
    SCOPED_TRACE(src);
    Result ours = rivulet("info --json " + src);
    ASSERT_EQ(ours.code, 0) << ours.err;
    Result theirs = shell("ffprobe -v error -show_streams -show_format -of json " + src);
    ASSERT_EQ(theirs.code, 0);
    auto a = nlohmann::json::parse(ours.out), b = nlohmann::json::parse(theirs.out);
    ASSERT_EQ(a["streams"].size(), b["streams"].size());
    for (std::size_t i = 0; i < a["streams"].size(); ++i) {
      const auto &s = a["streams"][i], &t = b["streams"][i];
      for (const char* key : {"codec_type", "codec_name", "width", "height", "pix_fmt", "r_frame_rate", "sample_rate",
                              "channels", "sample_fmt", "bits_per_sample"})
        if (t.contains(key)) {
          EXPECT_EQ(s.value(key, nlohmann::json()), t[key]) << key;
        }
      if (s["codec_type"] == "video") {
        EXPECT_EQ(s["nb_frames"], t["nb_frames"]);
        if (t.contains("duration")) {
          EXPECT_EQ(s["duration"], t["duration"]);
        }
      }
    }
    for (const char* key : {"nb_streams", "format_name", "size"}) EXPECT_EQ(a["format"][key], b["format"][key]) << key;
    EXPECT_EQ(a["rivulet"]["error_code"], 0);
    EXPECT_EQ(a["rivulet"]["segments"], 1);
  }
  auto made = nlohmann::json::parse(rivulet("info --json " + path("make8.avi")).out);
  EXPECT_EQ(made["rivulet"]["index"], "OpenDML");
  EXPECT_EQ(made["rivulet"]["colormap_entries"], 256);
  // Several files give an array; the text form names the index and the depth.
  auto both = nlohmann::json::parse(rivulet("info --json " + path("make8.avi") + " " + path("make24.avi")).out);
  ASSERT_TRUE(both.is_array());
  EXPECT_EQ(both[1]["streams"][0]["pix_fmt"], "bgr24");
  Result text = rivulet("info " + path("make24.avi"));
  EXPECT_NE(text.out.find("64x48, 24 bits per pixel, bottom-up"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("25/1 fps (25.000000), 6 frames"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("index: OpenDML"), std::string::npos) << text.out;
}

TEST_F(Cli, WavHoldsTheStreamBytes) {
  for (const std::string& src : sources) {
    avi::File file;
    file.open(src.c_str(), "r");
    if (!file.hasAudio()) continue;
    SCOPED_TRACE(src);
    Bytes stream(file.getAudioTotalBytes(), '\0');
    file.readAudio(stream.data(), stream.size());
    ASSERT_EQ(rivulet("audio " + src + " -o " + src + ".wav").code, 0);
    Bytes wav = slurp(src + ".wav");
    EXPECT_TRUE(same(wavData(wav), stream));
    if (have("ffmpeg") && src != path("gst.avi")) {  // ffmpeg's decoding of the AVI and of our WAV agree
      Result a = shell("ffmpeg -v error -i " + src + " -map 0:a -f s16le -");
      Result b = shell("ffmpeg -v error -i " + src + ".wav -f s16le -");
      EXPECT_TRUE(same(a.out, b.out));
      EXPECT_TRUE(same(b.out, stream));
    }
    // A slice: whole sample periods from floor(first * rate).
    const unsigned rate = file.getAudioSampleRate(), block = file.getAudioNumberOfChannels() * 2;
    ASSERT_EQ(rivulet("-y audio " + src + " -o " + src + ".wav --first-second 0.1 --seconds 0.05").code, 0);
    EXPECT_TRUE(same(wavData(slurp(src + ".wav")), stream.substr(unsigned(0.1 * rate) * block, unsigned(0.05 * rate) * block)));
  }
}

// What byte b becomes on its way through planes of a type and back, by the
// two sample rules written out: widening is entry b of the type's table;
// narrowing scales (x - min) / (max - min) by 255 in single precision, adds
// 0.5 in double, truncates and saturates. Exact for every type but the 16-
// and 32-bit integers (255 widens to 65280 and narrows to 254) and bool.
template <int N>
std::vector<unsigned char> narrowWidened() {
  using T = typename videoTraits<N>::type;
  std::vector<unsigned char> out(256);
  for (int b = 0; b < 256; ++b) {
    const T x = videoTraits<N>::EightBitLUT.at(b);
    const float xf = N == VIDEO_UINT32 ? float(std::int64_t(x)) : float(x);
    const float lo = float(videoTraits<N>::min), hi = float(videoTraits<N>::max);
    const std::int32_t r = std::int32_t(double((xf - lo) / (hi - lo) * 255.0f) + 0.5);
    out[b] = (r & ~0xFF) ? (r < 0 ? 0 : 255) : static_cast<unsigned char>(r);
  }
  return out;
}

std::vector<unsigned char> unchanged() {
  std::vector<unsigned char> out(256);
  for (int b = 0; b < 256; ++b) out[b] = static_cast<unsigned char>(b);
  return out;
}

// The plane types as the command names them, with their .npy descriptions and
// sizes and what each byte becomes on the round trip (uint8: no arithmetic).
struct PlaneType {
  const char* name;
  VideoDataType type;
  const char* descr;
  std::size_t size;
  std::vector<unsigned char> (*roundTrip)();
};
const PlaneType kPlaneTypes[] = {
    {"double", VIDEO_DOUBLE, "<f8", 8, narrowWidened<0>}, {"single", VIDEO_SINGLE, "<f4", 4, narrowWidened<1>},
    {"int8", VIDEO_INT8, "|i1", 1, narrowWidened<2>},     {"uint8", VIDEO_UINT8, "|u1", 1, unchanged},
    {"int16", VIDEO_INT16, "<i2", 2, narrowWidened<4>},   {"uint16", VIDEO_UINT16, "<u2", 2, narrowWidened<5>},
    {"int32", VIDEO_INT32, "<i4", 4, narrowWidened<6>},   {"uint32", VIDEO_UINT32, "<u4", 4, narrowWidened<7>},
    {"bool", VIDEO_BOOLEAN, "|b1", 1, narrowWidened<8>}};

// Planes of frame 2 as the selectors make them, for comparison with .npy files.
Bytes selectorPlanes(const std::string& src, VideoDataType type, VideoFrameOrientation order, std::size_t sample) {
  avi::File file;
  file.open(src.c_str(), "r");
  const unsigned w = file.getVideoWidth(), h = file.getVideoHeight();
  Bytes frame(std::max(file.getRGB24VideoFrameSize(), file.getVideoChunkSize()), '\0');
  file.readRGB24VideoFrame(frame.data(), 2);
  Bytes planes(3 * w * h * sample, '\0');
  char* p = planes.data();
  MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, type, false)(frame.data(), p, p + w * h * sample,
                                                           p + 2 * w * h * sample, int(w), int(h), order);
  return planes;
}

TEST_F(Cli, NpyPlanesAreTheSelectorsOutput) {
  // An odd width (61) where ffmpeg is present: rows of the frame are padded.
  const std::string file = exists(path("ffmpeg.avi")) ? path("ffmpeg.avi") : path("make24.avi");
  avi::File info;
  info.open(file.c_str(), "r");
  const unsigned w = info.getVideoWidth(), h = info.getVideoHeight();
  for (const PlaneType& t : kPlaneTypes)
    for (const char* order : {"row", "column"}) {
      SCOPED_TRACE(std::string(t.name) + " " + order);
      const bool column = order[0] == 'c';
      const std::string out = path(std::string("npy_") + t.name + order);
      Result r = rivulet("frames " + file + " -o " + out + " --format npy --first 2 --count 1 --type " + t.name +
                      " --order " + order);
      ASSERT_EQ(r.code, 0) << r.err;
      Bytes npy = slurp(out + "/frame_000002.npy");
      ASSERT_GE(npy.size(), 10u);
      EXPECT_EQ(npy.substr(0, 8), Bytes("\x93NUMPY\x01\x00", 8));
      const std::size_t headerLength = std::size_t(static_cast<unsigned char>(npy[8])) | std::size_t(static_cast<unsigned char>(npy[9])) << 8;
      EXPECT_EQ((10 + headerLength) % 64, 0u);
      const std::string header = npy.substr(10, headerLength);
      const std::string shape = column ? "(" + std::to_string(h) + ", " + std::to_string(w) + ", 3)"
                                       : "(3, " + std::to_string(h) + ", " + std::to_string(w) + ")";
      EXPECT_EQ(header.substr(0, header.find('}') + 1),
                std::string("{'descr': '") + t.descr + "', 'fortran_order': " + (column ? "True" : "False") +
                    ", 'shape': " + shape + ", }");
      EXPECT_EQ(header.back(), '\n');
      EXPECT_TRUE(same(npy.substr(10 + headerLength),
                     selectorPlanes(file, t.type, column ? ORIENTATION_COLUMN_MAJOR : ORIENTATION_ROW_MAJOR, t.size)));
    }
  // Debian's numpy belongs to Debian's python3, which need not come first on PATH.
  std::string python = "/usr/bin/python3";
  if (shell(python + " -c 'import numpy'").code != 0) python = "python3";
  if (shell(python + " -c 'import numpy'").code != 0) GTEST_SKIP() << "numpy missing";
  // numpy loads both orders without a copy, and pixel (r, c) is the PPM's.
  ASSERT_EQ(rivulet("frames " + file + " -o " + path("npy_ppm") + " --format ppm --first 2 --count 1").code, 0);
  Result py = shell(python + " -c \"import numpy, sys\n"
                 "d = sys.argv[1]\n"
                 "row = numpy.load(d + '/npy_uint8row/frame_000002.npy')\n"
                 "col = numpy.load(d + '/npy_uint8column/frame_000002.npy')\n"
                 "ppm = open(d + '/npy_ppm/frame_000002.ppm', 'rb').read()\n"
                 "h, w = col.shape[:2]\n"
                 "rgb = numpy.frombuffer(ppm[len(ppm) - h * w * 3:], numpy.uint8).reshape(h, w, 3)\n"
                 "assert row.flags.c_contiguous and col.flags.f_contiguous\n"
                 "assert (col == rgb).all() and (row.transpose(1, 2, 0) == rgb).all()\n"
                 "b = numpy.load(d + '/npy_boolrow/frame_000002.npy')\n"
                 "assert b.dtype == bool and (b == (row != 0)).all()\n"
                 "\" " + dir);
  EXPECT_EQ(py.code, 0) << py.err;
}

TEST_F(Cli, ConvertThroughEveryTypeReproducesTheFrames) {
  const std::string src = path("make24.avi");
  ASSERT_EQ(rivulet("frames " + src + " -o " + path("conv_in") + " --format ppm").code, 0);
  ASSERT_EQ(rivulet("audio " + src + " -o " + path("conv_in.wav")).code, 0);
  const Bytes wav = wavData(slurp(path("conv_in.wav")));
  if (MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE) == nullptr)
    GTEST_SKIP() << "this build has no planes-to-BGR family";
  for (const PlaneType& t : kPlaneTypes) {
    MM_GetRGBToRGBChannelsInputFcn(t.type);  // fills the type's table
    const std::vector<unsigned char> rule = t.roundTrip();
    for (const char* order : {"row", "column"}) {
      SCOPED_TRACE(std::string(t.name) + " " + order);
      const std::string out = path(std::string("conv_") + t.name + order + ".avi");
      Result r = rivulet("convert " + src + " " + out + " --via " + t.name + " --order " + order);
      ASSERT_EQ(r.code, 0) << r.err;
      ASSERT_EQ(rivulet("frames " + out + " -o " + out + ".d --format ppm").code, 0);
      ASSERT_EQ(rivulet("audio " + out + " -o " + out + ".wav").code, 0);
      EXPECT_TRUE(same(wavData(slurp(out + ".wav")), wav));
      for (int n = 0; n < 6; ++n) {
        std::string name = "/frame_00000" + std::to_string(n) + ".ppm";
        Bytes in = slurp(path("conv_in") + name), back = slurp(out + ".d" + name);
        for (std::size_t i = in.size() - 64 * 48 * 3; i < in.size(); ++i) in[i] = char(rule[(unsigned char)in[i]]);
        EXPECT_TRUE(same(back, in)) << name;
      }
    }
  }
}

TEST_F(Cli, ConvertToEachDepthMatchesFfmpegDecoding) {
  if (!have("ffmpeg")) GTEST_SKIP() << "ffmpeg missing";
  if (MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8) == nullptr) GTEST_SKIP() << "no planes-to-BGR family";
  const std::string src = exists(path("ffmpeg.avi")) ? path("ffmpeg.avi") : path("make24.avi");
  avi::File in;
  in.open(src.c_str(), "r");
  const std::uint64_t frames = in.getVideoTotalFrames();
  for (int bits : {8, 16, 24, 32}) {
    SCOPED_TRACE(bits);
    const std::string out = path("depth" + std::to_string(bits) + ".avi");
    ASSERT_EQ(rivulet("convert " + src + " " + out + " --bits " + std::to_string(bits)).code, 0);
    Result probe = shell("ffprobe -v error -show_entries stream=pix_fmt,nb_frames -of csv=p=0 " + out);
    EXPECT_EQ(probe.out.substr(0, probe.out.find('\n')),
              std::string(bits == 8 ? "pal8" : bits == 16 ? "rgb555le" : bits == 24 ? "bgr24" : "bgra") + "," +
                  std::to_string(frames));
    if (bits == 16) continue;  // ffmpeg widens 5-bit values by repeating bits; the reader shifts
    ASSERT_EQ(rivulet("frames " + out + " -o " + out + ".d --count 2").code, 0);
    unsigned w, h;
    EXPECT_TRUE(same(decodePng(out + ".d/frame_000001.png", w, h), ffmpegFrame(out, 1)));
    if (bits >= 24) {
      EXPECT_TRUE(same(ffmpegFrame(out, 1), ffmpegFrame(src, 1)));
    }
  }
}

TEST_F(Cli, BrokenInputsFailWithOneLineAndCode2) {
  const Bytes good = slurp(path("make24.avi"));
  std::ofstream(path("empty.avi"));
  std::ofstream(path("truncated.avi"), std::ios::binary) << good.substr(0, good.size() / 3);
  std::ofstream(path("garbage.avi"), std::ios::binary) << Bytes(4000, '\x5a');
  Bytes broken = good;
  broken.replace(broken.find("avih"), 4, "xxxx");  // no main header
  std::ofstream(path("broken.avi"), std::ios::binary) << broken;
  ::mkdir(path("adir.avi").c_str(), 0777);
  const std::string commands[] = {"info", "frames -o " + dir + "/x", "audio -o " + dir + "/x.wav", "convert"};
  for (const char* name : {"empty.avi", "truncated.avi", "garbage.avi", "broken.avi", "missing.avi", "adir.avi"})
    for (const std::string& command : commands) {
      SCOPED_TRACE(std::string(name) + " " + command);
      std::string args = command + " " + path(name);
      if (command == "convert") args += " " + dir + "/x.avi";
      Result r = rivulet(args);
      EXPECT_EQ(r.code, 2) << r.err;
      EXPECT_EQ(r.err.rfind("rivulet: " + path(name) + ": ", 0), 0u) << r.err;
      EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
      EXPECT_FALSE(exists(path("x.avi")) || exists(path("x.wav")) || exists(path("x/frame_000000.png")));
    }
  EXPECT_NE(rivulet("info " + path("garbage.avi")).err.find("error 1: "), std::string::npos);
}

TEST_F(Cli, DamagedHeadersNeverCrashTheCommand) {
  // Bytes of the headers overwritten with edge values, some files cut short:
  // every run ends with 0, 2 or 3 and at most one line on stderr.
  const Bytes good = slurp(path("make8.avi"));
  std::uint32_t seed = 12345;
  auto next = [&seed] { return seed = seed * 1103515245u + 12345u, seed >> 8; };
  const std::string damaged = path("damaged.avi");
  for (int round = 0; round < 30; ++round) {
    Bytes d = good;
    for (unsigned k = 0, n = 1 + next() % 6; k < n; ++k)
      d[next() % std::min<std::size_t>(d.size(), 1200)] = "\x00\xff\x7f\x80\x01"[next() % 5];
    if (round % 5 == 4) d.resize(next() % d.size());
    std::ofstream(damaged, std::ios::binary) << d;
    for (const std::string& args : {"info --json " + damaged, "-y frames " + damaged + " -o " + dir + "/dmg --format npy",
                                    "-y audio " + damaged + " -o " + dir + "/dmg.wav"}) {
      Result r = rivulet(args);
      EXPECT_TRUE(r.code == 0 || r.code == 2 || r.code == 3) << round << " " << args << " " << r.code;
      EXPECT_LE(std::count(r.err.begin(), r.err.end(), '\n'), 1) << round << " " << args << " " << r.err;
    }
  }
}

TEST_F(Cli, NothingIsOverwrittenWithoutY) {
  const std::string made = path("once.avi");
  ASSERT_EQ(rivulet("make " + made + " --frames 2 --size 16x16").code, 0);
  const Bytes before = slurp(made);
  struct Case {
    std::string args, target;
  };
  ASSERT_EQ(rivulet("frames " + made + " -o " + path("once")).code, 0);
  ASSERT_EQ(rivulet("audio " + made + " -o " + path("once.wav")).code, 0);
  std::ofstream(path("taken.avi")) << "keep";
  const Case cases[] = {{"make " + made + " --frames 1 --size 8x8", made},
                        {"frames " + path("make24.avi") + " -o " + path("once"), path("once/frame_000000.png")},
                        {"audio " + path("make24.avi") + " -o " + path("once.wav"), path("once.wav")},
                        {"convert " + path("make24.avi") + " " + path("taken.avi"), path("taken.avi")}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args);
    const Bytes kept = slurp(c.target);
    Result r = rivulet(c.args);
    EXPECT_EQ(r.code, 3);
    EXPECT_NE(r.err.find(c.target + ": already exists (use -y to overwrite)"), std::string::npos) << r.err;
    EXPECT_TRUE(same(slurp(c.target), kept));
    if (MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8) != nullptr || c.args[0] != 'c') {
      EXPECT_EQ(rivulet("-y " + c.args).code, 0);
    }
  }
  EXPECT_NE(slurp(made), before);
  // -y never lets a command write over its own input.
  Result self = rivulet("-y convert " + made + " " + made);
  EXPECT_EQ(self.code, 3);
  EXPECT_EQ(rivulet("info " + made).code, 0);
}

TEST_F(Cli, UsageErrorsHelpAndVersion) {
  for (const char* args : {"", "bogus", "frames", "frames x.avi", "frames x.avi -o d --format gif",
                           "frames x.avi -o d --type float", "frames x.avi -o d --every 0", "make x.avi --bits 12",
                           "make x.avi --size 0x5", "make x.avi --size 12", "make x.avi --fps 0",
                           "make x.avi --seconds 1 --frames 2", "make x.avi --audio 44100:0", "convert a.avi"}) {
    SCOPED_TRACE(args);
    Result r = rivulet(std::string("-q ") + args);
    EXPECT_EQ(r.code, 1) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
  }
  EXPECT_FALSE(exists("x.avi"));
  for (const char* sub : {"", "info", "frames", "audio", "make", "convert", "demo"}) {
    Result r = rivulet(std::string(sub) + " --help");
    EXPECT_EQ(r.code, 0) << sub;
    EXPECT_NE(r.out.find("Usage: rivulet"), std::string::npos) << sub;
  }
  EXPECT_EQ(rivulet("--version").out, std::string("rivulet ") + rivulet_version + "\n");
}

TEST_F(Cli, DemoMakesFramesAndSound) {
  Result r = rivulet("demo " + path("demo"));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("320x240"), std::string::npos);
  unsigned w = 0, h = 0;
  EXPECT_EQ(decodePng(path("demo/frames/frame_000040.png"), w, h).size(), 320u * 240 * 3);
  EXPECT_EQ(wavData(slurp(path("demo/demo.wav"))).size(), 2u * 44100 * 4);
  EXPECT_EQ(rivulet("demo " + path("demo")).code, 3);  // its outputs exist now
}

TEST_F(Cli, MemoryStaysWithinAFewFramesOfAStream) {
  // 200 frames of 640x480 (184 MB of video); a few frames are about 1 MB each.
  const std::string big = path("long.avi");
  ASSERT_EQ(rivulet("make " + big + " --size 640x480 --frames 200").code, 0);
#ifdef __SANITIZE_ADDRESS__
  const double limit = 100;  // shadow memory and the freed-block quarantine
#else
  const double limit = 40;
#endif
  auto peakMb = [](const std::string& args) {
    pid_t pid = ::fork();
    if (pid == 0) {
      ::execl("/bin/sh", "sh", "-c", (cli() + " " + args + " >/dev/null 2>&1").c_str(), (char*)nullptr);
      ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    EXPECT_EQ(WEXITSTATUS(status), 0) << args;
    return usage.ru_maxrss / 1024.0;
  };
  EXPECT_LT(peakMb("frames " + big + " -o " + path("long.d") + " --format ppm --every 20"), limit);
  if (MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE) != nullptr) {
    EXPECT_LT(peakMb("convert " + big + " " + path("long2.avi") + " --via double"), limit);
  }
}

}  // namespace
