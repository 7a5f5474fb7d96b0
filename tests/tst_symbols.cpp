// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/Symbols.h"

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

/// Every symbol has a theme name and a bundled drawing that renders, so that a desktop without
/// an icon theme still shows a picture.
class TestSymbols final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySymbolHasADrawing_data();
    void everySymbolHasADrawing();
    void bundledDrawingsTakeTheTextColour();
};

void TestSymbols::everySymbolHasADrawing_data()
{
    QTest::addColumn<Symbol>("symbol");
    QTest::addColumn<QString>("themeName");
    QTest::newRow("wifiRouter") << Symbol::wifiRouter << u"network-wireless"_s;
    QTest::newRow("clock") << Symbol::clock << u"alarm-symbolic"_s;
    QTest::newRow("gearshape") << Symbol::gearshape << u"preferences-system"_s;
    QTest::newRow("arrowClockwise") << Symbol::arrowClockwise << u"view-refresh"_s;
    QTest::newRow("power") << Symbol::power << u"system-shutdown"_s;
    QTest::newRow("plus") << Symbol::plus << u"list-add"_s;
    QTest::newRow("clockBadge") << Symbol::clockBadge << u"appointment-new"_s;
    QTest::newRow("video") << Symbol::video << u"camera-web"_s;
}

void TestSymbols::everySymbolHasADrawing()
{
    QFETCH(Symbol, symbol);
    QFETCH(QString, themeName);
    QVERIFY(!symbolIcon(symbol).isNull());
    QCOMPARE(symbolThemeName(symbol), themeName);
    const QString fallback = u":/symbols/symbols/"_s + themeName + u".svg"_s;
    QVERIFY(QFile::exists(fallback));
    const QImage drawn = QIcon(fallback).pixmap(32, 32).toImage();
    QVERIFY(!drawn.isNull());
    int painted = 0;
    for (int y = 0; y < drawn.height(); ++y)
        for (int x = 0; x < drawn.width(); ++x)
            painted += qAlpha(drawn.pixel(x, y)) > 0 ? 1 : 0;
    QVERIFY2(painted > 20, "the drawing is empty");
}

void TestSymbols::bundledDrawingsTakeTheTextColour()
{
    // The test environment has no icon theme with these names: the bundled drawings are used.
    QVERIFY(!QIcon::hasThemeIcon(symbolThemeName(Symbol::power)));
    const QPalette before = QApplication::palette();
    QPalette dark = before;
    dark.setColor(QPalette::Window, QColor(0x24, 0x24, 0x24));
    dark.setColor(QPalette::WindowText, QColor(0xee, 0xee, 0xee));
    QApplication::setPalette(dark);
    const QImage drawn = symbolIcon(Symbol::power).pixmap(32, 32).toImage();
    QApplication::setPalette(before);
    int light = 0;
    int other = 0;
    for (int y = 0; y < drawn.height(); ++y) {
        for (int x = 0; x < drawn.width(); ++x) {
            const QColor colour = drawn.pixelColor(x, y);
            if (colour.alpha() < 128)
                continue;
            (colour.lightness() > 200 ? light : other) += 1;
        }
    }
    QVERIFY2(light > 20 && other == 0, "the drawing should be painted in the light text colour");
}

QTEST_MAIN(TestSymbols)
#include "tst_symbols.moc"
