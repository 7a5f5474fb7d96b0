// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>

class QPainter;

namespace lanternfold {

/// Where the layers of the emblem go for a side length: every measure is a fraction of the side, so
/// the emblem is the same picture at any size. Frames are in the emblem's own square, whose top
/// left corner is the origin.
struct LogoGeometry
{
    qreal size = 0;
    /// The tile fills the square with rounded corners of this radius.
    qreal cornerRadius = 0;
    /// The line width of both the signal arcs and the restart badge.
    qreal strokeWidth = 0;
    QRectF tile;
    /// The square that the signal arcs are computed for, moved down from the centre.
    QRectF arcsFrame;
    /// The dot, moved down like the arcs.
    QRectF dotFrame;
    /// The restart badge's square, in the upper right.
    QRectF badgeFrame;

    [[nodiscard]] static LogoGeometry forSize(qreal size);
};

/// The emblem's colours.
struct LogoColours
{
    [[nodiscard]] static QColor tile();
    [[nodiscard]] static QColor signalLight();
    [[nodiscard]] static QColor signalBlue();
    [[nodiscard]] static QColor badge();
};

/// Paints the whole emblem of side size into the square from (0, 0) in painter's current
/// coordinates: the dark tile, the signal arcs over their dot and the restart badge. The widget, the
/// window icon and the exported icon files all come from here. Leaves painter's state as it was.
void paintLanternfoldLogo(QPainter &painter, qreal size);

/// The emblem painted into a transparent pixels-by-pixels image: the picture of every icon file.
[[nodiscard]] QImage renderLanternfoldLogo(int pixels);

} // namespace lanternfold
