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

python=$(/usr/bin/python3 - "$data" <<'PY'
import json, sys, time
raw = open(sys.argv[1], "rb").read()
times = []
cpu = []
for _ in range(20):
    t = time.perf_counter(); c = time.thread_time(); doc = json.loads(raw)
    cpu.append((time.thread_time() - c) * 1e3); times.append((time.perf_counter() - t) * 1e3)
times.sort(); median = times[len(times) // 2]
cpu.sort(); cpu_median = cpu[len(cpu) // 2]
aps = [d for d in doc["data"] if d.get("type") == "uap"]
print("%.3f %.3f python json.loads (same file): median %.1f ms (min %.1f ms), %.0f MB/s; CPU time median %.1f ms (min %.1f ms); %d access points"
      % (median, cpu_median, median, times[0], len(raw) / 1e6 / (median / 1e3), cpu_median, cpu[0], len(aps)))
PY
)
read -r loads_wall loads_cpu loads_line <<<"$python"
echo "$loads_line"
# bench_inventory ends with "decode-ratio: <x>" (json.loads / decodeAccessPoints, CPU time medians)
# and "decode-ratio-wall: <x>" (elapsed time), from the figures above.
"$build/bench/bench_inventory" "$data" 20 "$loads_wall" "$loads_cpu"
for extra in "$build"/bench/bench_*; do
  case "$extra" in */bench_inventory) continue ;; esac
  if [ -f "$extra" ] && [ -x "$extra" ]; then "$extra"; fi
done
