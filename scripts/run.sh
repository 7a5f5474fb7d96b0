#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs what is needed, builds Lanternfold, starts the demo controller (a simulated UniFi OS
# console with a demo site) and then Lanternfold, so a newcomer sees it work at once. It prints
# the host, port, user name, password and key fingerprint to type into the login form.
#
# Without a desktop (no DISPLAY or WAYLAND_DISPLAY), Lanternfold starts on a virtual X display
# and the script says how to look at it.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${LANTERNFOLD_BUILD:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=g++ >/dev/null
ninja -C "$build" lanternfold lanternfold-sim

port=${LANTERNFOLD_DEMO_PORT:-8443}
log=$(mktemp "${TMPDIR:-/tmp}/lanternfold-demo.XXXXXX")
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -f "$log"
}
trap cleanup EXIT

"$build/tools/controller-sim/lanternfold-sim" --port "$port" >"$log" &
pids+=($!)
for _ in $(seq 100); do grep -q '^LISTENING' "$log" 2>/dev/null && break; sleep 0.1; done
if ! grep -q '^LISTENING' "$log"; then
  cat "$log" >&2
  echo "The demo controller did not start (is port $port taken? set LANTERNFOLD_DEMO_PORT)." >&2
  exit 1
fi
read -r _ host port fingerprint < <(grep '^LISTENING' "$log")

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  display=:73
  Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
  pids+=($!)
  export DISPLAY=$display
  echo "No desktop here: Lanternfold runs on the virtual display $display."
  echo "Take a look with: DISPLAY=$display import -window root lanternfold.png"
fi

cat <<TEXT

Demo controller running. In Lanternfold's login form, type:
  Controller type  UniFi OS
  Controller IP    $host
  Port             $port
  Username         demo
  Password         lanternfold-demo
When asked, compare this fingerprint and choose "Trust & Continue":
  $fingerprint

Lanternfold keeps running in the tray when its window is closed; "Quit Lanternfold" in the tray
menu ends it (and this demo). Ctrl-C here ends both too.
TEXT

"$build/src/lanternfold" &
lanternfold=$!
pids+=($lanternfold)
wait "$lanternfold" || true
