#pragma once

#include <QIcon>
#include <QImage>
#include <QList>

namespace lanternfold {

/// The square sizes, in pixels, of the program's icon in the hicolor theme.
[[nodiscard]] QList<int> lanternfoldIconSizes();

/// The window icon: the emblem painted at each icon size, so that no size is scaled from another.
[[nodiscard]] QIcon lanternfoldIcon();

/// The tray glyph painted into a transparent pixels-by-pixels image.
[[nodiscard]] QImage renderTrayGlyph(int pixels);

/// The tray icon: a one-colour drawing of the emblem's shapes that reads on light and dark panels.
[[nodiscard]] QIcon trayIcon();

} // namespace lanternfold
