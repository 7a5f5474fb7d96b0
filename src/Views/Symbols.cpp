// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/Symbols.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>

// A static library's resources are registered by hand: the linker would drop the initializer that
// nothing references. Outside the namespace, as Q_INIT_RESOURCE requires.
static void registerBundledSymbols()
{
    static const bool registered = [] {
        Q_INIT_RESOURCE(symbols);
        return true;
    }();
    (void)registered;
}

namespace lanternfold {

using namespace Qt::StringLiterals;

QString symbolThemeName(Symbol symbol)
{
    switch (symbol) {
    case Symbol::wifiRouter:
        return u"network-wireless"_s;
    case Symbol::clock:
        return u"alarm-symbolic"_s;
    case Symbol::gearshape:
        return u"preferences-system"_s;
    case Symbol::arrowClockwise:
        return u"view-refresh"_s;
    case Symbol::power:
        return u"system-shutdown"_s;
    case Symbol::plus:
        return u"list-add"_s;
    case Symbol::clockBadge:
        return u"appointment-new"_s;
    case Symbol::video:
        return u"camera-web"_s;
    }
    Q_UNREACHABLE();
    return {};
}

QIcon symbolIcon(Symbol symbol)
{
    registerBundledSymbols();
    const QString name = symbolThemeName(symbol);
    if (QIcon::hasThemeIcon(name))
        return QIcon::fromTheme(name);
    // The bundled drawings are one flat colour; painted in the theme's text colour they read on a
    // dark theme as well as on a light one, as the theme's own symbolic icons do.
    const QIcon drawing(u":/symbols/symbols/"_s + name + u".svg"_s);
    const QColor ink = QGuiApplication::palette().color(QPalette::WindowText);
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap = drawing.pixmap(side, side);
        QPainter painter(&pixmap);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), ink);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace lanternfold
