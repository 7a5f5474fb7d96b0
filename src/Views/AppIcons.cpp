// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/AppIcons.h"

#include "Views/GlyphShapes.h"
#include "Views/LogoDrawing.h"

#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QPixmap>
#include <QTransform>

#include <algorithm>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

QImage transparentImage(int pixels)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

/// The tray glyph's outline for a square of side size, filled: the restart badge's circular arrow
/// drawn large, around the signal mark's dot. Sized from its own outline so that the arrow head,
/// which reaches beyond the circle, fits as well; margin is left free for the rim.
} // namespace

QPainterPath trayMarks(qreal size, qreal margin)
{
    // Drawn for a unit frame, then fitted: the line width is a fixed share of the arrow's size,
    // heavy enough to stay two pixels wide at the common 22-pixel tray size.
    const QRectF frame(0, 0, 1, 1);
    QPainterPathStroker stroker;
    stroker.setWidth(0.16);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::MiterJoin);
    stroker.setMiterLimit(10);
    QPainterPath marks = stroker.createStroke(RestartGlyph(frame));
    QPainterPath dot;
    dot.addEllipse(frame.center(), 0.17, 0.17);
    marks.addPath(dot);
    marks.setFillRule(Qt::WindingFill);

    const QRectF bounds = marks.boundingRect();
    const qreal room = size - 2 * margin;
    const qreal scale = room / std::max(bounds.width(), bounds.height());
    QTransform fit;
    fit.translate(size / 2, size / 2);
    fit.scale(scale, scale);
    fit.translate(-bounds.center().x(), -bounds.center().y());
    return fit.map(marks);
}

QList<int> lanternfoldIconSizes()
{
    return {16, 22, 24, 32, 48, 64, 128, 256, 512};
}

QList<int> lanternfoldWindowIconSizes()
{
    return {16, 22, 24, 32, 48, 64, 128};
}

QIcon lanternfoldIcon()
{
    QIcon icon;
    for (const int pixels : lanternfoldWindowIconSizes())
        icon.addPixmap(QPixmap::fromImage(renderLanternfoldLogo(pixels)));
    return icon;
}

// Tray hosts draw the pixmap they are given as it is: neither XEmbed trays nor StatusNotifier hosts
// recolour it the way they recolour their own symbolic icons, and the program cannot learn the
// panel's colour (the application's palette describes its windows, not the panel). So the glyph is
// one colour, white, with a dark rim around every mark: on a dark panel the white marks read, on a
// light one the rim draws their outline. The full-colour tile would read on both too, but at 22
// pixels its marks shrink to single blurred pixels. Of the marks, the restart arrow around the
// signal's dot is kept, drawn large: the signal arcs, joined into one outline, blur into a lump at
// tray sizes.
QImage renderTrayGlyph(int pixels)
{
    QImage image = transparentImage(pixels);
    // The rim: the marks grown by a pixel and a quarter (more on large icons), in translucent black.
    const qreal rimWidth = std::max(2.5, 0.08 * pixels);
    // Half a pixel more than the rim, so that the rim at most grazes the edge of the square.
    const QPainterPath marks = trayMarks(pixels, rimWidth / 2 + 0.5);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPen rim(QColor(0, 0, 0, 200), rimWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.strokePath(marks, rim);
    painter.fillPath(marks, Qt::white);
    painter.end();
    return image;
}

QIcon trayIcon(TrayHost host)
{
    QIcon painted;
    for (const int pixels : {16, 22, 24, 32, 48, 64})
        painted.addPixmap(QPixmap::fromImage(renderTrayGlyph(pixels)));
    // A StatusNotifierItem host (KDE Plasma, GNOME's AppIndicator extension, most panels today)
    // loads the icon by its name and recolours a symbolic one for its panel, light or dark: the
    // theme's symbolic icon goes first there, when it is installed. An XEmbed tray shows the
    // pixels as they are, so it gets the painted glyph, white with a dark rim, which reads on
    // either; so does a build tree or an uninstalled copy, whose theme has no such icon.
    if (host == TrayHost::byName)
        return QIcon::fromTheme(u"lanternfold-symbolic"_s, painted);
    return painted;
}

} // namespace lanternfold
