#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Brings the translation sources (translations/*.ts) up to date with the texts of the code: new
# texts arrive unfinished for a translator, texts no longer used leave. Open a .ts file in Qt
# Linguist (linguist-qt6) or any editor to translate; the build compiles them with lrelease.
#
# The command-line program (src/Cli) is not translated: its output is read by scripts and logs.
set -euo pipefail
cd "$(dirname "$0")/.."
lupdate=${LUPDATE:-/usr/lib/qt6/bin/lupdate}
"$lupdate" -silent -locations none -no-obsolete -I src \
  src/App src/Views src/State src/Controller src/Models src/Schedules src/Platform \
  -ts translations/lanternfold_de.ts translations/lanternfold_fr.ts translations/lanternfold_es.ts
