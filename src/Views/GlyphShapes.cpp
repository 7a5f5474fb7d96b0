// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/GlyphShapes.h"

#include <QPointF>

#include <algorithm>
#include <array>

namespace lanternfold {

namespace {

/// Appends a circular arc around centre from startDegrees to endDegrees, both in the y-down system
/// with angles growing clockwise on screen. An empty path starts at the arc's first point; a path
/// with a current point gets a straight segment to it, as arcTo always adds. (An empty
/// QPainterPath sits at the origin, so arcTo alone would draw a segment from (0, 0).)
void addArc(QPainterPath &path, const QPointF &centre, qreal radius, qreal startDegrees, qreal endDegrees)
{
    const QRectF circle(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    const qreal qtStart = -startDegrees;
    const qreal qtSweep = -(endDegrees - startDegrees);
    if (path.elementCount() == 0)
        path.arcMoveTo(circle, qtStart);
    path.arcTo(circle, qtStart, qtSweep);
}

} // namespace

QPainterPath SignalArcs(const QRectF &rect)
{
    const qreal width = rect.width();
    const QPointF centre(rect.center().x(), rect.bottom());
    constexpr std::array radii{0.32, 0.55, 0.78};
    QPainterPath path;
    for (const qreal fraction : radii)
        addArc(path, centre, fraction * width, 210, 330);
    return path;
}

QPainterPath RestartGlyph(const QRectF &rect)
{
    const qreal width = rect.width();
    const qreal height = rect.height();
    const QPointF centre = rect.center();
    const qreal radius = std::min(width, height) / 2;
    QPainterPath path;
    addArc(path, centre, radius, -40, 220);

    // The arc's end point, at 220 degrees; written out rather than computed so that the arrow
    // head sits exactly where the arc ends.
    const QPointF tip = centre + radius * QPointF(-0.766044443118978, -0.6427876096865393);
    path.moveTo(tip.x() - 0.18 * width, tip.y() - 0.02 * height);
    path.lineTo(tip);
    path.lineTo(tip.x() - 0.02 * width, tip.y() + 0.2 * height);
    return path;
}

} // namespace lanternfold
