#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Runs a command on a private session bus of its own, on which no service starts on demand.
# With --keyring, a gnome-keyring is started on that bus first, its login keyring created and
# unlocked without a prompt (in the test's temporary data folder).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
keyring=0
if [ "${1:-}" = --keyring ]; then
  keyring=1
  shift
fi
exec dbus-run-session --config-file="$here/session-bus.conf" -- /bin/bash -c '
  keyring=$1
  shift
  if [ "$keyring" = 1 ]; then
    printf "lanternfold-test" | gnome-keyring-daemon --unlock --components=secrets >/dev/null
    # The daemon returns before it owns org.freedesktop.secrets (about one start in five, measured):
    # wait for the name, so that a test never meets "no such service" instead of the keyring.
    owned=0
    for _ in $(seq 100); do
      if dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets 2>/dev/null | grep -q "boolean true"; then
        owned=1
        break
      fi
      sleep 0.1
    done
    if [ "$owned" != 1 ]; then
      echo "run-session-bus.sh: gnome-keyring did not appear on the bus within 10 seconds" >&2
      exit 1
    fi
  fi
  exec "$@"' run-session-bus "$keyring" "$@"
