#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Runs a command as root of a mount namespace of its own, so that a test can mount small or
# read-only file systems that nobody else sees and that vanish when it ends. As root this takes
# only a new mount namespace; any other user is first mapped to root in a user namespace of its own.
set -eu
if [ "$(id -u)" = 0 ]; then
  exec unshare --mount --propagation private -- "$@"
fi
exec unshare --user --map-root-user --mount --propagation private -- "$@"
