#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs every Debian 12 package Lanternfold needs to build, run, test, fuzz and benchmark.
# Idempotent: packages already present are left alone; safe to run again at any time.
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build g++ clang clang-format clang-tidy-19 libclang-rt-14-dev
  qt6-base-dev qt6-base-dev-tools qtkeychain-qt6-dev qcoro-qt6-dev libicu-dev libssl-dev libsimdjson-dev
  libfontconfig-dev
  pkg-config git
  # runtime pieces loaded at run time
  libsecret-1-0 libqt6svg6 qt6-svg-dev
  # tests and tools
  dbus gnome-keyring libsecret-tools xvfb xdotool imagemagick fonts-dejavu-core openssl
  # called by name in tests/support/run-session-bus.sh: dbus-run-session, dbus-send
  dbus-daemon dbus-bin
  curl python3 tzdata
  # the login-item tests check the autostart entry with desktop-file-validate and start it with gio
  desktop-file-utils libglib2.0-bin
  # the end-to-end test and scripts/screenshots.sh find controls through AT-SPI (Debian's python3,
  # /usr/bin/python3, has pyatspi) and click and type with xdotool
  python3-pyatspi at-spi2-core
  # an XEmbed tray on the virtual display, so that the end-to-end test quits from the tray menu
  trayer
  # scripts/package-test.sh: cpack's dependency list (dpkg-shlibdeps, which reads binaries with
  # file), and the AppStream validator for the metainfo
  dpkg-dev file appstream
  # lanternfoldctl's man page is made from its --help at build time; the user unit is checked with
  # systemd-analyze verify, the bash completion is tried in bash
  help2man systemd bash-completion
  # the translations: lupdate and lrelease, and Qt's own texts
  qt6-l10n-tools qt6-translations-l10n
  # scripts/screenshots.sh --dark: the dark palette a desktop without a Qt theme of its own gives
  qt6ct
  # the Wayland test runs the program on a headless weston with Qt's Wayland platform
  weston qt6-wayland
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if ((${#missing[@]})); then
  export DEBIAN_FRONTEND=noninteractive
  if [ "$(id -u)" -ne 0 ]; then SUDO=sudo; else SUDO=; fi
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
