// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>

namespace lanternfold {

/// The emblem as a scalable SVG document, painted by the same code as the PNG sizes and the
/// window icon, on a viewBox of scalableIconSide units.
[[nodiscard]] QByteArray lanternfoldSvg();

/// The tray glyph as a symbolic icon: the shapes alone, in the one grey (#bebebe) that desktops
/// recolour to suit a light or a dark panel, on a 16-unit viewBox.
[[nodiscard]] QByteArray lanternfoldSymbolicSvg();

inline constexpr int scalableIconSide = 128;
inline constexpr int symbolicIconSide = 16;

} // namespace lanternfold
