#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Starts the demo controller (a simulated UniFi OS console with a demo site) and Lanternfold on a
# demo profile of its own: configuration, data and keyring in a temporary folder, removed at the
# end, never the person's. The login form already holds the demo controller's address, kind and
# user, and its password is remembered in the profile's keyring: a newcomer presses Connect,
# compares the fingerprint printed here with the one Lanternfold shows, and sees the demo site.
#
#   scripts/demo.sh BUILD_FOLDER     (scripts/run.sh builds first, then calls this)
#
# The profile's keyring runs on a session bus of its own, so the demo's notifications stay off the
# desktop (LANTERNFOLD_DEMO_BUS=current uses the bus already there, as the tests do, whose bus and
# keyring are private anyway). Without a desktop (no DISPLAY or WAYLAND_DISPLAY), Lanternfold
# starts on a virtual X display and the script says how to look at it.
set -euo pipefail
build=$(realpath "${1:?usage: scripts/demo.sh BUILD_FOLDER}")
cd "$(dirname "$0")/.."
source_folder=$PWD

port=${LANTERNFOLD_DEMO_PORT:-8443}
profile=$(mktemp -d "${TMPDIR:-/tmp}/lanternfold-demo.XXXXXX")
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$profile"
}
trap cleanup EXIT
trap 'exit 143' TERM
trap 'exit 130' INT

mkdir -p "$profile/config/Lanternfold" "$profile/data" "$profile/cache" "$profile/runtime"
chmod 700 "$profile" "$profile/runtime"
export XDG_CONFIG_HOME="$profile/config" XDG_DATA_HOME="$profile/data" XDG_CACHE_HOME="$profile/cache"
# A runtime folder of its own too: a Lanternfold the person already runs keeps its window to itself,
# and this one does not hand its launch over to it.
export XDG_RUNTIME_DIR="$profile/runtime"

"$build/tools/controller-sim/lanternfold-sim" --port "$port" >"$profile/sim.out" &
pids+=($!)
for _ in $(seq 100); do grep -q '^LISTENING' "$profile/sim.out" 2>/dev/null && break; sleep 0.1; done
if ! grep -q '^LISTENING' "$profile/sim.out"; then
  cat "$profile/sim.out" >&2
  echo "The demo controller did not start (is port $port taken? set LANTERNFOLD_DEMO_PORT)." >&2
  exit 1
fi
read -r _ host port fingerprint < <(grep '^LISTENING' "$profile/sim.out")

# The demo controller as if connected once: address, kind and user saved, nothing trusted yet.
printf '[General]\ncom.lanternfold.controllerConfig="@ByteArray({\\"host\\":\\"%s\\",\\"kind\\":\\"unifiOS\\",\\"port\\":%s,\\"site\\":\\"default\\",\\"username\\":\\"demo\\"})"\n' \
  "$host" "$port" >"$profile/config/Lanternfold/Lanternfold.conf"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  display=:73
  Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
  pids+=($!)
  export DISPLAY=$display
  echo "No desktop here: Lanternfold runs on the virtual display $display."
  echo "Take a look with: DISPLAY=$display import -window root lanternfold.png"
fi

grouped=$(sed 's/\(....\)/\1 /g; s/ $//' <<<"$fingerprint")
cat <<TEXT

The demo controller runs at $host:$port (UniFi OS), user "demo". Lanternfold starts with it filled
in and its password remembered: press Connect. When asked, compare this fingerprint with the one
Lanternfold shows, then choose "Trust & Continue":
  $grouped

Everything the demo saves is in $profile and goes when it ends. Lanternfold keeps running when
its window is closed; "Quit Lanternfold" (Ctrl+Q, the tray menu, or Settings without a tray) ends
it, and this demo. Ctrl-C here ends both too.
TEXT

# The password goes into the profile's keyring the way Lanternfold's keyring library stores it,
# then Lanternfold starts with the form filled from it.
start_lanternfold='
  printf %s lanternfold-demo | secret-tool store --label="Lanternfold: $2:demo" \
    user "$2:demo" server com.lanternfold.controller type plaintext
  exec "$1/src/lanternfold" --remembered-password'
if [ "${LANTERNFOLD_DEMO_BUS:-own}" = current ]; then
  bash -c "$start_lanternfold" demo "$build" "$host" &
else
  "$source_folder/tests/support/run-session-bus.sh" --keyring bash -c "$start_lanternfold" demo "$build" "$host" &
fi
lanternfold=$!
pids+=($lanternfold)
wait "$lanternfold" || true
