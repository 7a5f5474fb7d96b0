#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Runs one test program with a private, temporary HOME and XDG folders, the offscreen
# platform and a C.UTF-8 locale, and removes the folder afterwards.
set -u
root=$(mktemp -d "${TMPDIR:-/tmp}/lanternfold-test.XXXXXX")
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/home" "$root/config" "$root/data" "$root/cache" "$root/state" "$root/runtime"
chmod 700 "$root/runtime"
export HOME="$root/home"
export XDG_CONFIG_HOME="$root/config"
export XDG_DATA_HOME="$root/data"
export XDG_CACHE_HOME="$root/cache"
export XDG_STATE_HOME="$root/state"
export XDG_RUNTIME_DIR="$root/runtime"
export LANTERNFOLD_TEST_TMP="$root"
export QT_QPA_PLATFORM=offscreen
export LC_ALL=C.UTF-8
export LANG=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS
"$@"
