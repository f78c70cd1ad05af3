#!/usr/bin/env bash
# Builds the AVI reader's libFuzzer target with clang (ASan + UBSan) and runs
# it for a given number of seconds with one worker.
#   tools/fuzz.sh [seconds=600] [corpus dir=build/fuzz/corpus] [max_len=65536] [libFuzzer flags...]
# A small max_len (e.g. 2048) gives many more executions a second. To keep
# what a run found as the CI regression corpus, merge it into fuzz/corpus:
#   build/fuzz/build/fuzz/rivulet_fuzz_avi -merge=1 fuzz/corpus build/fuzz/corpus
# Seeds: small files written by ffmpeg as the tests write them, plus the
# synthetic files the AVI tests make (dumped by the release test binary when
# it is built). Crashing inputs land in build/fuzz/artifacts/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
corpus=${2:-build/fuzz/corpus}
max_len=${3:-65536}
shift $(($# < 3 ? $# : 3))
extra=("$@")
out=build/fuzz
mkdir -p "$out/seeds" "$out/artifacts" "$corpus"

CC=clang CXX=clang++ cmake -S . -B "$out/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DRIVULET_BUILD_FUZZERS=ON -DRIVULET_BUILD_TESTS=OFF -DRIVULET_BUILD_EXAMPLES=OFF \
  -DRIVULET_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$out/build" -j2 --target rivulet_fuzz_avi

seeds=$out/seeds
if command -v ffmpeg >/dev/null; then
  i=0
  for seed in "bgr24 pcm_s16le 5x3" "bgr24 pcm_u8 4x2" "bgra pcm_s16le 5x2" "bgra pcm_u8 4x3" \
              "rgb555le pcm_s16le 3x3" "rgb555le pcm_u8 6x2" "pal8 pcm_s16le 5x3" "pal8 pcm_u8 8x2" \
              "gray pcm_s16le 5x3" "gray pcm_u8 6x2"; do
    set -- $seed
    f=$seeds/ffmpeg_$i.avi
    [ -s "$f" ] || ffmpeg -v error -y -f lavfi -i "testsrc=size=$3:rate=5" -f lavfi -i sine=sample_rate=800 \
      -c:v rawvideo -pix_fmt "$1" -c:a "$2" -t 0.6 "$f"
    i=$((i + 1))
  done
  [ -s "$seeds/ffmpeg_video.avi" ] || ffmpeg -v error -y -f lavfi -i testsrc=size=7x5:rate=5 \
    -c:v rawvideo -pix_fmt bgr24 -t 0.6 "$seeds/ffmpeg_video.avi"
  [ -s "$seeds/ffmpeg_audio.avi" ] || ffmpeg -v error -y -f lavfi -i sine=sample_rate=800 \
    -c:a pcm_s16le -t 0.5 "$seeds/ffmpeg_audio.avi"
fi
# GStreamer's avimux: idx1 offsets as file positions, grey rows padded to four.
if command -v gst-launch-1.0 >/dev/null; then
  for format in GRAY8 BGR; do
    f=$seeds/gstreamer_$format.avi
    [ -s "$f" ] || gst-launch-1.0 -q videotestsrc num-buffers=2 ! "video/x-raw,format=$format,width=17,height=16" ! \
      avimux ! filesink location="$f"
  done
fi
for t in avi_test avi_hostile_test avi_read_interop_test; do
  for b in release asan-ubsan; do
    if [ -x "build/$b/tests/avi/$t" ]; then
      RIVULET_AVI_SEED_DIR=$seeds "build/$b/tests/avi/$t" >/dev/null 2>&1 || true
      break
    fi
  done
done
# Inputs the fuzzer found before, kept with the tests, and the stored corpus.
cp -n tests/avi/data/* fuzz/corpus/* "$seeds/" 2>/dev/null || true

UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 "$out/build/fuzz/rivulet_fuzz_avi" \
  "$corpus" "$seeds" -dict=fuzz/avi.dict -max_total_time="$seconds" -max_len="$max_len" \
  -rss_limit_mb=2048 -timeout=20 -print_final_stats=1 -artifact_prefix="$out/artifacts/" ${extra[@]+"${extra[@]}"}
