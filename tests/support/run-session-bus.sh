#!/usr/bin/env bash
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
  fi
  exec "$@"' run-session-bus "$keyring" "$@"
