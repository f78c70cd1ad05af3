#!/usr/bin/env bash
# Whole-command timings of the rivulet command beside ffmpeg on a 1080p file
# of about 1 GB, made by `rivulet make` on first use (in the page cache after
# the warm-up): frame extraction to PPM, and conversion into a new raw AVI.
# Runs alternate (ours, ffmpeg, ours, ...) and the medians of RUNS runs and
# their ratio are printed.
#   bench/cli_bench.sh [BUILD_DIR] [RUNS] [WORK_DIR]
set -euo pipefail
build=${1:-build/release}
runs=${2:-5}
work=${3:-${TMPDIR:-/tmp}/rivulet_cli_bench}
rivulet="$build/cli/rivulet"
mkdir -p "$work"
input="$work/in_1080p.avi"
[ -f "$input" ] || "$rivulet" -q make "$input" --size 1920x1080 --frames 160 --audio 48000:2

seconds() {  # wall time of a command, output discarded
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null 2>&1
  end=$(date +%s.%N)
  echo "$end - $start" | bc
}
median() { sort -n | awk '{v[NR] = $1} END {print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2}'; }

compare() {  # name, our command, ffmpeg's command (strings, run by bash -c)
  local name=$1 ours=$2 theirs=$3 a=() b=()
  bash -c "$ours" >/dev/null 2>&1; bash -c "$theirs" >/dev/null 2>&1  # warm-up
  for ((i = 0; i < runs; ++i)); do
    a+=("$(seconds bash -c "$ours")")
    b+=("$(seconds bash -c "$theirs")")
  done
  local ma mb
  ma=$(printf '%s\n' "${a[@]}" | median)
  mb=$(printf '%s\n' "${b[@]}" | median)
  printf '%-8s rivulet %6.2f s   ffmpeg %6.2f s   ratio rivulet/ffmpeg %.2f   (medians of %d)\n' \
    "$name" "$ma" "$mb" "$(echo "$ma / $mb" | bc -l)" "$runs"
}

rm -rf "$work/ppm_r" "$work/ppm_f"; mkdir -p "$work/ppm_f"
compare ppm "rm -rf '$work/ppm_r' && '$rivulet' -q frames '$input' -o '$work/ppm_r' --format ppm" \
  "rm -f '$work'/ppm_f/*.ppm && ffmpeg -v error -y -i '$input' -f image2 '$work/ppm_f/out%d.ppm'"
rm -rf "$work/ppm_r" "$work/ppm_f"
compare convert "'$rivulet' -q -y convert '$input' '$work/out_r.avi'" \
  "ffmpeg -v error -y -i '$input' -c:v rawvideo -c:a copy '$work/out_f.avi'"
rm -f "$work/out_r.avi" "$work/out_f.avi"
