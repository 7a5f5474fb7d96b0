#!/usr/bin/env bash
# Installs what is needed, builds Lanternfold and starts the demo controller, so a newcomer sees
# it work at once. It prints the host, port, user name, password and key fingerprint to use.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
build=${LANTERNFOLD_BUILD:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=g++ >/dev/null
ninja -C "$build" lanternfold-sim
exec "$build/tools/controller-sim/lanternfold-sim" --port "${LANTERNFOLD_DEMO_PORT:-8443}" "$@"
