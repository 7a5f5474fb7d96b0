#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs what is needed, builds Lanternfold, and starts it on a demo profile beside the demo
# controller (scripts/demo.sh), so a newcomer sees it work at once: the login form is filled in,
# the password remembered; press Connect and compare the key fingerprint the script prints.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${LANTERNFOLD_BUILD:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=g++ >/dev/null
ninja -C "$build" lanternfold lanternfold-sim

exec bash scripts/demo.sh "$build"
