#!/usr/bin/env bash
# Runs the benchmarks in a Release build and prints their figures beside Python's json.loads of
# the same bytes, measured in the same run.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${LANTERNFOLD_BENCH_BUILD:-build-bench}
examples=${LANTERNFOLD_EXAMPLES:-../shared/examples}

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DLANTERNFOLD_TESTS=OFF -DLANTERNFOLD_TOOLS=OFF >/dev/null
ninja -C "$build" >/dev/null

data="$build/stat-device-600.json"
[ -f "$data" ] || /usr/bin/python3 bench/make_stat_device.py "$examples" "$data"

"$build/bench/bench_inventory" "$data" 20
/usr/bin/python3 - "$data" <<'PY'
import json, sys, time
raw = open(sys.argv[1], "rb").read()
times = []
for _ in range(20):
    t = time.perf_counter(); doc = json.loads(raw); times.append((time.perf_counter() - t) * 1e3)
times.sort(); median = times[len(times) // 2]
aps = [d for d in doc["data"] if d.get("type") == "uap"]
print("python json.loads (same file): median %.1f ms (min %.1f ms), %.0f MB/s, %d access points"
      % (median, times[0], len(raw) / 1e6 / (median / 1e3), len(aps)))
PY
for extra in "$build"/bench/bench_*; do
  case "$extra" in */bench_inventory) continue ;; esac
  if [ -f "$extra" ] && [ -x "$extra" ]; then "$extra"; fi
done
