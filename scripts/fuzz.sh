#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the libFuzzer targets with clang and runs each for a bounded time, starting from the
# committed corpus in fuzz/corpus/<target>/. Fails on any crash, hang, leak or sanitizer report.
#
#   scripts/fuzz.sh [SECONDS]          run every target (default 60 s each)
#   scripts/fuzz.sh --merge [SECONDS]  run, then minimise the committed corpus with -merge=1
#   scripts/fuzz.sh --build-only       build the targets, run nothing
#
# LANTERNFOLD_FUZZ_JOBS=N runs N targets at a time (one core each; 1 by default).
set -euo pipefail
cd "$(dirname "$0")/.."

merge=0
build_only=0
if [ "${1:-}" = "--merge" ]; then merge=1; shift; fi
if [ "${1:-}" = "--build-only" ]; then build_only=1; shift; fi
seconds=${1:-60}
build=${LANTERNFOLD_FUZZ_BUILD:-build-fuzz}

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DLANTERNFOLD_FUZZ=ON -DLANTERNFOLD_TESTS=OFF -DLANTERNFOLD_BENCH=OFF -DLANTERNFOLD_TOOLS=OFF \
  -DLANTERNFOLD_WERROR=ON >/dev/null
# Quiet, but a failing build still shows its errors.
ninja -C "$build" --quiet
[ "$build_only" = 1 ] && exit 0

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# One target: its report (and its status in the report's last line) goes to $work/<target>.report.
run_target() {
  local corpus=$1 target binary
  target=$(basename "$corpus")
  binary="$build/fuzz/$target"
  {
    if [ ! -x "$binary" ]; then
      echo "fuzz: no target built for corpus $corpus"
      echo FAILED
      return
    fi
    mkdir -p "$work/$target" "$work/artifacts-$target"
    # A target's own libFuzzer flags, if it needs any, are in fuzz/<target>.flags.
    local flags=()
    [ -f "fuzz/$target.flags" ] && read -ra flags <"fuzz/$target.flags"
    echo "== $target: ${seconds}s from $(ls "$corpus" | wc -l) corpus files"
    if ! "$binary" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 "${flags[@]}" \
        -artifact_prefix="$work/artifacts-$target/" "$work/$target" "$corpus" >"$work/$target.log" 2>&1; then
      echo "fuzz: $target FAILED"
      tail -n 60 "$work/$target.log"
      mkdir -p fuzz-artifacts && cp -r "$work/artifacts-$target/." fuzz-artifacts/ 2>/dev/null || true
      echo FAILED
      return
    fi
    echo "   $target: $(grep -E '^executions:' "$work/$target.log" | tail -n 1), no crash, hang, leak or sanitizer report"
    if [ "$merge" = 1 ]; then
      mkdir -p "$work/merged-$target"
      "$binary" -merge=1 "$work/merged-$target" "$corpus" "$work/$target" >/dev/null 2>&1
      rm -rf "$corpus" && mkdir -p "$corpus" && cp "$work/merged-$target"/* "$corpus"/
      echo "   corpus minimised to $(ls "$corpus" | wc -l) files"
    fi
    echo OK
  } >"$work/$target.report" 2>&1
}

jobs_at_once=${LANTERNFOLD_FUZZ_JOBS:-1}
running=0
for corpus in fuzz/corpus/*/; do
  if [ "$running" -ge "$jobs_at_once" ]; then
    wait -n || true
    running=$((running - 1))
  fi
  run_target "$corpus" &
  running=$((running + 1))
done
wait || true

status=0
for corpus in fuzz/corpus/*/; do
  report="$work/$(basename "$corpus").report"
  sed '$d' "$report"
  [ "$(tail -n 1 "$report")" = OK ] || status=1
done
exit $status
