// The AVI writer when the system stops taking bytes: a file size limit, a
// full file system, a writer killed before close. Each writer runs in a child
// process; the parent reads what it left.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "rivulet/avi.h"

using namespace avitest;

namespace {

// 64 x 64 at 24 bits: 12288 bytes a frame, 12296 with its chunk header. The
// first chunk of a video-only file stands at 65824.
constexpr std::uint32_t kSide = 64, kFrame = 12288, kChunk = kFrame + 8, kFirst = 65824;
constexpr int kMaxFrames = 30;

// What a writer child reports: the frame whose write failed first (-1: none),
// the code it left, and the code of the next frame's call.
struct Report {
  int failedAt = -1;
  unsigned failCode = 0, nextCode = 0, closeCode = 0;
  int status = -1;  // exit code of the child; 77: the check cannot run here
};

// Runs 'prepare' then a writer of up to kMaxFrames frames to 'path' in a
// child, then 'after'. 'stopAfter' frames in, the child tells the parent (which
// may kill it) and waits for a signal.
Report runWriter(const std::string& path, const std::function<bool()>& prepare, int stopAfter = -1,
                 bool killIt = false, const std::function<void()>& after = nullptr) {
  int pipeFd[2];
  if (pipe(pipeFd) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    close(pipeFd[0]);
    if (!prepare()) _exit(77);
    Report r;
    avi::File f;
    if (!f.open(path.c_str(), "w")) _exit(3);
    f.setVideoInfo(kSide, kSide, 25.0);
    for (int i = 0; i < kMaxFrames; ++i) {
      if (i == stopAfter) {
        if (write(pipeFd[1], &r, sizeof r) != sizeof r) _exit(4);
        pause();
      }
      std::string frame = patternFrame(kFrame, i);
      f.writeVideoFrame(frame.data());
      if (f.getErrorCode() != 0 && r.failedAt < 0) {
        r.failedAt = i;
        r.failCode = f.getErrorCode();
        f.writeVideoFrame(frame.data());
        r.nextCode = f.getErrorCode();
        break;
      }
    }
    f.clearError();
    f.close();
    r.closeCode = f.getErrorCode();
    if (after) after();
    if (write(pipeFd[1], &r, sizeof r) != sizeof r) _exit(4);
    _exit(0);
  }
  close(pipeFd[1]);
  Report r;
  if (read(pipeFd[0], &r, sizeof r) == sizeof r && killIt) {
    kill(child, SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  close(pipeFd[0]);
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return r;
}

// How many frames of the test pattern a reader gets back, in order, from the
// start; -1 when this library refuses the file.
int framesReadBack(const std::string& path, unsigned* code = nullptr) {
  avi::File f;
  f.open(path.c_str(), "r");
  if (code) *code = f.getErrorCode();
  if (f.getErrorCode() != 0) return -1;
  int n = 0;
  std::string frame(kFrame, '\0');
  while (!f.isEndOfVideo()) {
    f.readVideoFrame(frame.data());
    if (f.getErrorCode() != 0 || frame != patternFrame(kFrame, n)) break;
    ++n;
  }
  return n;
}

// The same through ffmpeg: frames it copies out whole and equal, from the start.
int framesByFfmpeg(const std::string& path, const std::string& out) {
  if (!run("ffmpeg -v quiet -y -i " + path + " -map 0:v -c copy -f rawvideo " + out)) return -1;
  const std::string bytes = readWhole(out);
  int n = 0;
  while ((n + 1) * std::size_t{kFrame} <= bytes.size() && bytes.compare(n * kFrame, kFrame, patternFrame(kFrame, n)) == 0) {
    ++n;
  }
  return n;
}

class WriteFaults : public ::testing::Test {
 protected:
  TempDir dir;
};

// The system stops taking bytes partway: the frame whose write fails stores
// code 6, the next call is refused with code 50, and close still writes the
// indexes and headers in the room left, so every frame before reads back,
// here and in ffmpeg.
//  - A file size limit 1000 bytes past the tenth frame: the eleventh fails.
//  - A tmpfs of 256 KiB in a mount namespace of the child's own (the child
//    copies the file out for the parent): the sixteenth frame finds it full,
//    its partial write leaving room enough for the indexes of the fifteen.
TEST_F(WriteFaults, FileSizeLimitAndFullFileSystem) {
  const rlim_t limit = kFirst + 10 * kChunk + 1000;
  const std::string mountPoint = dir.path("small"), kept = dir.path("kept.avi");
  std::filesystem::create_directories(mountPoint);
  const struct {
    const char* what;
    std::string path;
    std::function<bool()> prepare;
    std::function<void()> after;
    int framesKept;
    std::uintmax_t room;  // the most bytes the file can take
  } cases[] = {
      {"file size limit", kept,
       [&] {
         signal(SIGXFSZ, SIG_IGN);
         const rlimit l{limit, limit};
         return setrlimit(RLIMIT_FSIZE, &l) == 0;
       },
       nullptr, 10, limit},
      {"full file system", mountPoint + "/full.avi",
       [&] {
         return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("tmpfs", mountPoint.c_str(), "tmpfs", 0, "size=256k") == 0;
       },
       [&] { std::filesystem::copy_file(mountPoint + "/full.avi", kept); }, 15, 256 * 1024},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::filesystem::remove(kept);
    const Report r = runWriter(c.path, c.prepare, -1, false, c.after);
    if (r.status == 77) {
      std::printf("%s: cannot be set up here (a tmpfs needs CAP_SYS_ADMIN in a mount namespace)\n", c.what);
      continue;
    }
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.failedAt, c.framesKept);
    EXPECT_EQ(r.failCode, static_cast<unsigned>(avi::errors::FWRITE_FAILED));
    EXPECT_EQ(r.nextCode, static_cast<unsigned>(avi::errors::WRITE_AFTER_FAILURE));
    EXPECT_EQ(r.closeCode, 0u);
    EXPECT_LE(std::filesystem::file_size(kept), c.room);
    EXPECT_EQ(framesReadBack(kept), c.framesKept);
    if (haveFfmpeg()) {
      EXPECT_EQ(framesByFfmpeg(kept, dir.path("v.raw")), c.framesKept);
    }
  }
}

// A writer killed after five frames, before close: the provisional header
// stands in front of the chunks, with its sizes open. ffmpeg finds all five
// frames by scanning, and so does GStreamer; this library's default reader
// trusts the header's count of 0 and finds none, without a failure.
TEST_F(WriteFaults, KilledBeforeClose) {
  const std::string path = dir.path("killed.avi");
  const Report r = runWriter(path, [] { return true; }, 5, true);
  ASSERT_EQ(r.status, 128 + SIGKILL);
  ASSERT_EQ(std::filesystem::file_size(path), kFirst + 5 * kChunk);
  unsigned code = 0;
  const int ours = framesReadBack(path, &code);
  const int theirs = haveFfmpeg() ? framesByFfmpeg(path, dir.path("v.raw")) : -2;
  std::printf("killed writer: this library reads %d frames (code %u), ffmpeg %d\n", ours, code, theirs);
  EXPECT_EQ(ours, 0);
  EXPECT_EQ(code, 0u);
  if (theirs != -2) {
    EXPECT_EQ(theirs, 5);
  }
  // GStreamer's avidemux scans as well: five buffers, each a frame top-down.
  if (haveAvidemux()) {
    ASSERT_TRUE(gstDemux(path, "video", dir.path("gst")));
    const auto buffers = gstBuffers(dir.path("gst"));
    ASSERT_EQ(buffers.size(), 5u);
    for (int n = 0; n < 5; ++n) EXPECT_TRUE(buffers[n] == flipRows(patternFrame(kFrame, n), kSide)) << n;
  }
}

}  // namespace
