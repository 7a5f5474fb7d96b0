// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/LogoDrawing.h"

#include "Views/GlyphShapes.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPen>

namespace lanternfold {

namespace {

/// A square frame of side, centred in the emblem of side size, then moved by (dx, dy).
QRectF centredFrame(qreal size, qreal side, qreal dx, qreal dy)
{
    const qreal inset = (size - side) / 2;
    return {inset + dx, inset + dy, side, side};
}

/// The one line style of the emblem; the mitre limit matters only at the arrow head and where one
/// arc's end is joined to the next arc's start.
QPen strokePen(const QBrush &brush, qreal width)
{
    QPen pen(brush, width, Qt::SolidLine, Qt::RoundCap, Qt::MiterJoin);
    pen.setMiterLimit(10);
    return pen;
}

QColor withAlpha(QColor colour, float alpha)
{
    colour.setAlphaF(alpha);
    return colour;
}

} // namespace

LogoGeometry LogoGeometry::forSize(qreal size)
{
    LogoGeometry geometry;
    geometry.size = size;
    geometry.cornerRadius = 0.22 * size;
    geometry.strokeWidth = 0.045 * size;
    geometry.tile = QRectF(0, 0, size, size);
    geometry.arcsFrame = centredFrame(size, 0.62 * size, 0, 0.06 * size);
    geometry.dotFrame = centredFrame(size, 0.09 * size, 0, 0.06 * size);
    geometry.badgeFrame = centredFrame(size, 0.26 * size, 0.28 * size, -0.28 * size);
    return geometry;
}

QColor LogoColours::tile()
{
    return QColor::fromRgbF(0.035F, 0.098F, 0.157F);
}

QColor LogoColours::signalLight()
{
    return QColor::fromRgbF(0.55F, 0.85F, 1.0F);
}

QColor LogoColours::signalBlue()
{
    return QColor::fromRgbF(0.06F, 0.55F, 0.95F);
}

QColor LogoColours::badge()
{
    return Qt::white;
}

void paintLanternfoldLogo(QPainter &painter, qreal size)
{
    const LogoGeometry geometry = LogoGeometry::forSize(size);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);

    // Circular corners: Qt has no continuous-curvature rectangle, and at these sizes the two are
    // indistinguishable.
    QLinearGradient tileFill(geometry.tile.topLeft(), geometry.tile.bottomLeft());
    tileFill.setColorAt(0, LogoColours::tile());
    tileFill.setColorAt(1, withAlpha(LogoColours::tile(), 0.85F));
    painter.setPen(Qt::NoPen);
    painter.setBrush(tileFill);
    painter.drawRoundedRect(geometry.tile, geometry.cornerRadius, geometry.cornerRadius);

    // The gradient spans the arcs' frame, not the tile: light at the frame's top, blue at its bottom.
    QLinearGradient signalFill(geometry.arcsFrame.topLeft(), geometry.arcsFrame.bottomLeft());
    signalFill.setColorAt(0, LogoColours::signalLight());
    signalFill.setColorAt(1, LogoColours::signalBlue());
    // The arcs' outline filled, not stroked with a gradient pen: the same picture on screen, and
    // the one an SVG file can hold (Qt's SVG writer gives pens a single colour).
    QPainterPathStroker stroker(strokePen(signalFill, geometry.strokeWidth));
    painter.setPen(Qt::NoPen);
    painter.fillPath(stroker.createStroke(SignalArcs(geometry.arcsFrame)), signalFill);

    painter.setPen(Qt::NoPen);
    painter.setBrush(LogoColours::signalBlue());
    painter.drawEllipse(geometry.dotFrame);

    painter.setBrush(Qt::NoBrush);
    painter.setPen(strokePen(LogoColours::badge(), geometry.strokeWidth));
    painter.drawPath(RestartGlyph(geometry.badgeFrame));

    painter.restore();
}

QImage renderLanternfoldLogo(int pixels)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintLanternfoldLogo(painter, pixels);
    painter.end();
    return image;
}

} // namespace lanternfold
