// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/IconFiles.h"

#include "Views/AppIcons.h"
#include "Views/LogoDrawing.h"

#include <QBuffer>
#include <QPainter>
#include <QSvgGenerator>

#include <functional>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

QByteArray paintSvg(int side, const QString &title, const std::function<void(QPainter &)> &paint)
{
    QByteArray document;
    QBuffer buffer(&document);
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setSize(QSize(side, side));
    generator.setViewBox(QRect(0, 0, side, side));
    generator.setTitle(title);
    // The generator writes a resolution into its measures; 72 dots per inch keeps one unit a point.
    generator.setResolution(72);
    QPainter painter(&generator);
    paint(painter);
    painter.end();
    return document;
}

} // namespace

QByteArray lanternfoldSvg()
{
    return paintSvg(scalableIconSide, u"Lanternfold"_s,
                    [](QPainter &painter) { paintLanternfoldLogo(painter, scalableIconSide); });
}

QByteArray lanternfoldSymbolicSvg()
{
    return paintSvg(symbolicIconSide, u"Lanternfold"_s, [](QPainter &painter) {
        painter.setRenderHint(QPainter::Antialiasing);
        // The same margin as the painted tray glyph's, less its rim: a symbolic icon has none.
        painter.fillPath(trayMarks(symbolicIconSide, 0.5), QColor(0xbe, 0xbe, 0xbe));
    });
}

} // namespace lanternfold
