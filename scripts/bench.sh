#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# The one benchmark command: builds a Release tree, measures every performance figure beside a
# baseline taken in the same run (bench/bench.py: the real program under Xvfb against the simulated
# controller, a minimal Qt window, the floor of a connect's round trips, the memory floor of any
# program that makes a TLS request, reads the keyring and formats a date, Python's json.loads) and
# writes the table into README.md. Then runs the other benchmark programs, which print their own
# figures. Takes about six minutes; not part of CI.
#
#   scripts/bench.sh [--no-readme]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${LANTERNFOLD_BENCH_BUILD:-build-bench}
examples=$(realpath "${LANTERNFOLD_EXAMPLES:-../shared/examples}")
export LANTERNFOLD_EXAMPLES=$examples
readme=$PWD/README.md
[ "${1:-}" = --no-readme ] && readme=

bash scripts/install-deps.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DLANTERNFOLD_TESTS=OFF -DLANTERNFOLD_TOOLS=ON >/dev/null
ninja -C "$build" -j2 >/dev/null

data="$PWD/$build/stat-device-600.json"
cameras="$PWD/$build/cameras-20.json"
[ -f "$data" ] || /usr/bin/python3 bench/make_stat_device.py "$examples" "$data"
[ -f "$cameras" ] || /usr/bin/python3 bench/make_cameras.py "$examples" "$cameras" 20

tests/support/run-isolated.sh tests/support/run-session-bus.sh --keyring \
  /usr/bin/python3 "$PWD/bench/bench.py" "$PWD/$build" "$PWD" "$data" "$cameras" $readme

for extra in "$build"/bench/bench_*; do
  case "$extra" in */bench_inventory | */bench_connect | */bench_largesite) continue ;; esac
  if [ -f "$extra" ] && [ -x "$extra" ]; then "$extra"; fi
done
