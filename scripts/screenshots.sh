#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Starts the simulated controller and Lanternfold under Xvfb, uses them as a new user would
# (through tests/support/ui.py: AT-SPI to find the controls, xdotool to click and type) and saves
# screenshots of every screen in docs/screenshots/. Nothing of the person's own is touched: a
# temporary HOME, a private session bus and keyring.
#
#   scripts/screenshots.sh [--lang de|fr|es] [--dark] [--scale N] [OUTPUT_FOLDER]
#
# --lang runs the program in that language (the controls are found by their translated names),
# --dark gives it a dark palette the way a desktop without its own Qt theme does (qt6ct with its
# "darker" colour scheme), --scale N draws it at N device pixels per pixel (QT_SCALE_FACTOR), as on
# a high-density screen.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" != --inside ]; then
  export LANTERNFOLD_SHOT_LANG=en LANTERNFOLD_SHOT_DARK=0 LANTERNFOLD_SHOT_SCALE=1
  while [ $# -gt 0 ]; do
    case "$1" in
      --lang) LANTERNFOLD_SHOT_LANG=$2; shift 2 ;;
      --dark) LANTERNFOLD_SHOT_DARK=1; shift ;;
      --scale) LANTERNFOLD_SHOT_SCALE=$2; shift 2 ;;
      *) break ;;
    esac
  done
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


Xvfb -displayfd 1 -screen 0 "$((1280 * LANTERNFOLD_SHOT_SCALE))x$((800 * LANTERNFOLD_SHOT_SCALE))x24" -nolisten tcp \
  >"$LANTERNFOLD_TEST_TMP/display" 2>/dev/null &
pids+=($!)
for _ in $(seq 50); do [ -s "$LANTERNFOLD_TEST_TMP/display" ] && break; sleep 0.1; done
export DISPLAY=":$(head -1 "$LANTERNFOLD_TEST_TMP/display")"
export QT_QPA_PLATFORM=xcb QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
export LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8 TZ=Europe/Zurich
locale -a 2>/dev/null | grep -qi '^en_US.utf8$' || export LC_ALL=C.UTF-8 LANG=C.UTF-8
case "$LANTERNFOLD_SHOT_LANG" in
  en) ;;
  de) unset LC_ALL; export LANG=de_DE.UTF-8 ;;
  fr) unset LC_ALL; export LANG=fr_FR.UTF-8 ;;
  es) unset LC_ALL; export LANG=es_ES.UTF-8 ;;
  *) echo "no translation for $LANTERNFOLD_SHOT_LANG" >&2; exit 2 ;;
esac
if [ "$LANTERNFOLD_SHOT_DARK" = 1 ]; then
  mkdir -p "$XDG_CONFIG_HOME/qt6ct"
  printf '[Appearance]\ncustom_palette=true\ncolor_scheme_path=/usr/share/qt6ct/colors/darker.conf\nstyle=Fusion\n' \
    >"$XDG_CONFIG_HOME/qt6ct/qt6ct.conf"
  export QT_QPA_PLATFORMTHEME=qt6ct
fi
export QT_SCALE_FACTOR=$LANTERNFOLD_SHOT_SCALE
# The name a control has in the language of this run: its English text looked up in the
# translation file (%1 filled with the second argument).
t() {
  /usr/bin/python3 - "$LANTERNFOLD_SOURCE/translations/lanternfold_$LANTERNFOLD_SHOT_LANG.ts" "$@" <<'PY'
import os, sys, xml.etree.ElementTree as ET
path, text = sys.argv[1], sys.argv[2]
found = text
if os.path.exists(path):
    for message in ET.parse(path).getroot().iter("message"):
        translation = message.find("translation")
        if message.findtext("source") == text and translation is not None and translation.text:
            found = translation.text
            break
if len(sys.argv) > 3:
    found = found.replace("%1", sys.argv[3])
print(found.replace("&&", "&"))
PY
}
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
ui wait text "$(t "Controller IP or hostname")" || { ui dump; exit 1; }
# Fields are filled and buttons pressed through accessibility, not with the mouse: Qt reports
# controls' places in unscaled pixels, which misses them when QT_SCALE_FACTOR is not 1.
ui settext text "$(t "Controller IP or hostname")" "$host"
ui settext text "$(t "Port")" "$port"
ui settext text "$(t "Username")" demo
ui settext "password text" "$(t "Password")" lanternfold-demo
shot login
ui act "push button" "$(t "Connect")" Press
ui wait alert "$(t "Verify Controller Certificate")"
shot certificate
ui act "push button" "$(t "Trust & Continue")" Press
ui wait "page tab" "$(t "Devices")"
ui --timeout 30 gone label "$(t "Access Points (%1)" 0)"
shot devices
ui act "page tab" "$(t "Schedules")" Press
ui wait label "$(t "Schedules")"
shot schedules
ui act "push button" "$(t "New Schedule")" Press
ui wait "push button" "$(t "Create")"
shot editor
ui act "push button" "$(t "Cancel")" Press
ui act "page tab" "$(t "Settings")" Press
ui wait label "$(t "Activity Log")"
shot settings
echo "fingerprint of this run's controller: $fingerprint"
