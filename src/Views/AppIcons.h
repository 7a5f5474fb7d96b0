// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QIcon>
#include <QImage>
#include <QList>
#include <QPainterPath>

#include <cstdint>

namespace lanternfold {

/// The square sizes, in pixels, of the program's icon in the hicolor theme.
[[nodiscard]] QList<int> lanternfoldIconSizes();

/// The sizes of the window icon: those a window's title bar, task bar and switcher show. The
/// larger launcher sizes come from the installed theme icons; painted here as well, they cost the
/// start several milliseconds and the X server megabytes of icon data for every window.
[[nodiscard]] QList<int> lanternfoldWindowIconSizes();

/// The window icon: the emblem painted at each window icon size, so that no size is scaled from
/// another.
[[nodiscard]] QIcon lanternfoldIcon();

/// The tray glyph painted into a transparent pixels-by-pixels image.
[[nodiscard]] QImage renderTrayGlyph(int pixels);

/// The tray glyph's shapes (the restart arrow around a dot) fitted into a size-by-size square
/// with margin left free on every side.
[[nodiscard]] QPainterPath trayMarks(qreal size, qreal margin);

/// The tray icon: a one-colour drawing of the emblem's shapes that reads on light and dark panels.
/// How the tray shows its icons: by the icon's name from the theme (a StatusNotifierItem host), or
/// the pixels it is given (an XEmbed tray).
enum class TrayHost : std::uint8_t { byName, pixelsOnly };
[[nodiscard]] QIcon trayIcon(TrayHost host = TrayHost::pixelsOnly);

} // namespace lanternfold
