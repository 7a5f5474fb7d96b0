#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Starts the simulated controller and Lanternfold under Xvfb, uses them as a new user would
# (through tests/support/ui.py: AT-SPI to find the controls, xdotool to click and type) and saves
# screenshots of every screen in docs/screenshots/. Nothing of the person's own is touched: a
# temporary HOME, a private session bus and keyring.
#
#   scripts/screenshots.sh [OUTPUT_FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" != --inside ]; then
  bash scripts/install-deps.sh
  build=${LANTERNFOLD_BUILD:-build}
  cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=g++ >/dev/null
  ninja -C "$build" lanternfold lanternfold-sim
  export LANTERNFOLD_BIN="$PWD/$build/src/lanternfold"
  export LANTERNFOLD_SIM="$PWD/$build/tools/controller-sim/lanternfold-sim"
  export LANTERNFOLD_SHOTS="$(realpath -m "${1:-docs/screenshots}")"
  export LANTERNFOLD_SOURCE="$PWD"
  exec tests/support/run-isolated.sh tests/support/run-session-bus.sh --keyring "$PWD/scripts/screenshots.sh" --inside
fi

# Inside the private session: a display, the accessibility bus, the controller, the program.
ui() { /usr/bin/python3 "$LANTERNFOLD_SOURCE/tests/support/ui.py" "$@"; }
mkdir -p "$LANTERNFOLD_SHOTS"
pids=()
cleanup() { for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done; wait 2>/dev/null || true; }
trap cleanup EXIT


Xvfb -displayfd 1 -screen 0 1280x800x24 -nolisten tcp >"$LANTERNFOLD_TEST_TMP/display" 2>/dev/null &
pids+=($!)
for _ in $(seq 50); do [ -s "$LANTERNFOLD_TEST_TMP/display" ] && break; sleep 0.1; done
export DISPLAY=":$(head -1 "$LANTERNFOLD_TEST_TMP/display")"
export QT_QPA_PLATFORM=xcb QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
export LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8 TZ=Europe/Zurich
locale -a 2>/dev/null | grep -qi '^en_US.utf8$' || export LC_ALL=C.UTF-8 LANG=C.UTF-8
/usr/libexec/at-spi-bus-launcher --launch-immediately &
pids+=($!)

"$LANTERNFOLD_SIM" --port 0 --offline-seconds 20 >"$LANTERNFOLD_TEST_TMP/sim.out" &
pids+=($!)
for _ in $(seq 100); do grep -q '^LISTENING' "$LANTERNFOLD_TEST_TMP/sim.out" 2>/dev/null && break; sleep 0.1; done
read -r _ host port fingerprint < <(grep '^LISTENING' "$LANTERNFOLD_TEST_TMP/sim.out")

# A few schedules already there, on the demo site's devices, so that the list has something to show.
/usr/bin/python3 - "$LANTERNFOLD_SOURCE/tools/controller-sim/demo" "$XDG_DATA_HOME/Lanternfold" <<'PY'
import json, os, sys, uuid
demo, folder = sys.argv[1], sys.argv[2]
devices = json.load(open(os.path.join(demo, "devices.json")))["data"]
cameras = json.load(open(os.path.join(demo, "cameras.json")))
warehouse = json.load(open(os.path.join(demo, "warehouse-devices.json")))["data"]
aps = [{"kind": "accessPoint", "identifier": d["mac"], "displayName": d.get("name", d["mac"])}
       for d in devices if d.get("type") == "uap"]
cams = [{"kind": "camera", "identifier": c["id"], "displayName": c.get("name", c["id"])} for c in cameras]
dock = [{"kind": "accessPoint", "identifier": d["mac"], "displayName": d["name"]}
        for d in warehouse if d.get("type") == "uap"]
def job(name, targets, rule, stagger, enabled=True, last=None, nxt=None, site=None):
    j = {"id": str(uuid.uuid4()).upper(), "name": name, "targets": targets, "rule": rule,
         "staggerSeconds": stagger, "isEnabled": enabled}
    if site: j["site"] = site
    if last: j["lastRunAt"] = last
    if nxt: j["nextRunAt"] = nxt
    return j
jobs = [
    job("Nightly access points", aps[:5], {"type": "daily", "hour": 3, "minute": 30}, 30,
        last="2026-11-22T02:30:00Z", nxt="2030-01-01T02:30:00Z"),
    job("Weekend cameras", cams[:2], {"type": "weekly", "weekdays": [1, 7], "hour": 4, "minute": 0}, 20,
        nxt="2030-01-05T03:00:00Z"),
    job("Office every 12 hours", aps[:2] + cams[:1], {"type": "interval", "intervalHours": 12}, 60, enabled=False),
    job("Warehouse on Sundays", dock, {"type": "weekly", "weekdays": [1], "hour": 2, "minute": 0}, 20,
        nxt="2030-01-06T01:00:00Z", site="k3w9d2xa"),
]
os.makedirs(folder, exist_ok=True)
json.dump(jobs, open(os.path.join(folder, "schedules.json"), "w"), indent=2, sort_keys=True)
PY

shot() {
  sleep 0.5 # let the last repaint reach the screen
  import -window root "$LANTERNFOLD_TEST_TMP/root.png"
  convert "$LANTERNFOLD_TEST_TMP/root.png" -trim +repage "$LANTERNFOLD_SHOTS/$1.png"
  echo "saved $LANTERNFOLD_SHOTS/$1.png"
}

"$LANTERNFOLD_BIN" &
pids+=($!)
ui wait text "Controller IP or hostname" || { ui dump; exit 1; }
ui focus text "Controller IP or hostname"
ui type "$host"
ui focus text "Port"
ui type "$port"
ui focus text "Username"
ui type demo
ui focus "password text" "Password"
ui type lanternfold-demo
shot login
ui key Return
ui wait alert "Verify Controller Certificate"
shot certificate
ui click "push button" "Trust & Continue"
ui wait "page tab" "Devices"
ui --timeout 30 gone label "Access Points (0)"
shot devices
ui click "page tab" "Schedules"
ui wait label "Schedules"
shot schedules
ui click "push button" "New Schedule"
ui wait "push button" "Create"
shot editor
ui key Escape
ui click "page tab" "Settings"
ui wait label "Activity Log"
shot settings
echo "fingerprint of this run's controller: $fingerprint"
