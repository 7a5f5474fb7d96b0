// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The window icon and the tray icon: the sizes each holds, the window icon being the emblem itself,
// and the tray glyph staying one colour while reading on light and dark panels alike.
#include "Contrast.h"
#include "ImageComparison.h"
#include "Views/AppIcons.h"
#include "Views/IconFiles.h"
#include "Views/LogoDrawing.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <cmath>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

/// glyph drawn over a panel of colour panel.
QImage onPanel(const QImage &glyph, const QColor &panel)
{
    QImage image(glyph.size(), QImage::Format_RGB32);
    image.fill(panel);
    QPainter painter(&image);
    painter.drawImage(0, 0, glyph);
    painter.end();
    return image;
}

/// How many pixels of image stand out from the panel by a contrast of at least 3:1, what WCAG asks
/// of graphical objects.
int standingOut(const QImage &image, const QColor &panel)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += contrast(image.pixel(x, y), panel.rgb()) >= 3 ? 1 : 0;
    }
    return count;
}

} // namespace

class TestAppIcons final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void windowIconIsTheEmblemAtEverySize();
    void trayIconSizes();
    void trayGlyphIsOneColour();
    void trayGlyphReadsOnPanels_data();
    void trayGlyphReadsOnPanels();
    void trayGlyphStaysInside();
    void scalableIconIsTheEmblem();
    void symbolicIconIsTheTrayGlyphInOneGrey();
    void traysThatLoadIconsByNameGetTheSymbolicIcon();
};

void TestAppIcons::windowIconIsTheEmblemAtEverySize()
{
    QCOMPARE(lanternfoldIconSizes(), (QList<int>{16, 22, 24, 32, 48, 64, 128, 256, 512}));
    // The window's own icon stops where windows stop showing it; launchers take the theme's.
    const QList<int> expectedSizes{16, 22, 24, 32, 48, 64, 128};
    QCOMPARE(lanternfoldWindowIconSizes(), expectedSizes);
    const QIcon icon = lanternfoldIcon();
    const QList<QSize> available = icon.availableSizes();
    QCOMPARE(available.size(), expectedSizes.size());
    for (const int pixels : expectedSizes) {
        QVERIFY2(available.contains(QSize(pixels, pixels)), qPrintable(QString::number(pixels)));
        // Painted at that size, not scaled from another.
        const ImageDifference difference =
            compareImages(icon.pixmap(pixels, pixels).toImage(), renderLanternfoldLogo(pixels), 0);
        QVERIFY2(difference.sameSize && difference.largest == 0, qPrintable(QString::number(pixels)));
    }
}

void TestAppIcons::trayIconSizes()
{
    const QList<QSize> available = trayIcon().availableSizes();
    for (const int pixels : {16, 22, 24, 32, 48, 64})
        QVERIFY2(available.contains(QSize(pixels, pixels)), qPrintable(QString::number(pixels)));
    QCOMPARE(trayIcon().pixmap(22, 22).toImage().convertToFormat(QImage::Format_ARGB32),
             renderTrayGlyph(22).convertToFormat(QImage::Format_ARGB32));
}

void TestAppIcons::trayGlyphIsOneColour()
{
    // White marks and a black rim, blended only by their opacity: every pixel is a grey.
    for (const int pixels : {16, 22, 64}) {
        const QImage glyph = renderTrayGlyph(pixels).convertToFormat(QImage::Format_ARGB32);
        int painted = 0;
        for (int y = 0; y < pixels; ++y) {
            for (int x = 0; x < pixels; ++x) {
                const QRgb p = glyph.pixel(x, y);
                if (qAlpha(p) == 0)
                    continue;
                ++painted;
                QVERIFY2(std::abs(qRed(p) - qGreen(p)) <= 1 && std::abs(qGreen(p) - qBlue(p)) <= 1,
                         qPrintable(u"(%1, %2) at %3"_s.arg(x).arg(y).arg(pixels)));
            }
        }
        QVERIFY(painted > pixels * pixels / 5);
    }
}

void TestAppIcons::trayGlyphReadsOnPanels_data()
{
    QTest::addColumn<QColor>("panel");
    QTest::newRow("white") << QColor(Qt::white);
    QTest::newRow("light grey (Breeze light)") << QColor(0xef, 0xf0, 0xf1);
    QTest::newRow("mid grey") << QColor(0x80, 0x80, 0x80);
    QTest::newRow("slate (Breeze dark)") << QColor(0x31, 0x36, 0x3b);
    QTest::newRow("near black (Adwaita dark)") << QColor(0x24, 0x24, 0x24);
    QTest::newRow("black (GNOME top bar)") << QColor(Qt::black);
    QTest::newRow("blue") << QColor(0x35, 0x84, 0xe4);
}

void TestAppIcons::trayGlyphReadsOnPanels()
{
    QFETCH(QColor, panel);
    // At the common tray size a tenth of the square must stand out from the panel, whichever
    // panel: the white marks on dark ones, the rim on light ones.
    for (const int pixels : {22, 24}) {
        const QImage shown = onPanel(renderTrayGlyph(pixels), panel);
        const int count = standingOut(shown, panel);
        QVERIFY2(count * 10 >= pixels * pixels, qPrintable(u"%1 of %2 pixels"_s.arg(count).arg(pixels * pixels)));
    }
}

void TestAppIcons::trayGlyphStaysInside()
{
    // Nothing is cut off at the square's edges: no white mark reaches the outermost ring of pixels,
    // and the rim covers at most half of any of them.
    for (const int pixels : {16, 22, 64}) {
        const QImage glyph = renderTrayGlyph(pixels).convertToFormat(QImage::Format_ARGB32);
        for (int i = 0; i < pixels; ++i) {
            for (const QPoint &edge : {QPoint(i, 0), QPoint(i, pixels - 1), QPoint(0, i), QPoint(pixels - 1, i)}) {
                const QRgb p = glyph.pixel(edge);
                const QString where = u"(%1, %2) at %3"_s.arg(edge.x()).arg(edge.y()).arg(pixels);
                QVERIFY2(qAlpha(p) <= 128, qPrintable(where));
                QVERIFY2(qAlpha(p) == 0 || qGreen(p) < 128, qPrintable(where));
            }
        }
    }
}

namespace {

/// A document the icon theme can use: well-formed XML whose root is an svg element with a square
/// viewBox of side units, which Qt's own SVG renderer accepts.
void checkSvgDocument(const QByteArray &document, int side)
{
    QXmlStreamReader xml(document);
    QVERIFY(xml.readNextStartElement());
    QCOMPARE(xml.name(), u"svg"_s);
    QCOMPARE(xml.attributes().value(u"viewBox"_s).toString().simplified(), u"0 0 %1 %1"_s.arg(side));
    while (!xml.atEnd())
        xml.readNext();
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QSvgRenderer renderer(document);
    QVERIFY(renderer.isValid());
    QCOMPARE(renderer.viewBoxF(), QRectF(0, 0, side, side));
}

QImage renderSvg(const QByteArray &document, int pixels)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(document);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    return image;
}

} // namespace

void TestAppIcons::scalableIconIsTheEmblem()
{
    const QByteArray document = lanternfoldSvg();
    checkSvgDocument(document, scalableIconSide);
    if (QTest::currentTestFailed())
        return;
    // Drawn by the same code as the PNG files: at any size it is the painted emblem, give or take
    // the edges that two renderers smooth differently.
    for (const int pixels : {48, 128, 256}) {
        const ImageDifference difference =
            compareImages(renderSvg(document, pixels), renderLanternfoldLogo(pixels), 40);
        QVERIFY2(difference.sameSize, qPrintable(QString::number(pixels)));
        QVERIFY2(difference.differing * 100 < difference.pixels,
                 qPrintable(u"%1 px: %2 of %3 pixels differ (largest %4)"_s.arg(pixels)
                                .arg(difference.differing)
                                .arg(difference.pixels)
                                .arg(difference.largest)));
    }
}

void TestAppIcons::symbolicIconIsTheTrayGlyphInOneGrey()
{
    const QByteArray document = lanternfoldSymbolicSvg();
    checkSvgDocument(document, symbolicIconSide);
    if (QTest::currentTestFailed())
        return;
    for (const int pixels : {16, 32, 64}) {
        const QImage image = renderSvg(document, pixels).convertToFormat(QImage::Format_ARGB32);
        int opaque = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                if (qAlpha(pixel) < 255)
                    continue;
                ++opaque;
                // The one grey a desktop swaps for its panel's foreground colour.
                QCOMPARE(QColor(pixel).name(), u"#bebebe"_s);
            }
        }
        // The marks cover a good part of the square, as the painted glyph's do.
        QVERIFY2(opaque > pixels * pixels / 8, qPrintable(u"%1 px: %2 opaque"_s.arg(pixels).arg(opaque)));
    }
}

void TestAppIcons::traysThatLoadIconsByNameGetTheSymbolicIcon()
{
    // Installed: the theme holds the symbolic icon, written as the build writes it.
    QTemporaryDir themes;
    QVERIFY(themes.isValid());
    const QDir root(themes.path());
    QVERIFY(root.mkpath(u"hicolor/symbolic/apps"_s));
    QFile index(root.filePath(u"hicolor/index.theme"_s));
    QVERIFY(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=Hicolor\nDirectories=symbolic/apps\n\n"
                "[symbolic/apps]\nMinSize=8\nSize=16\nMaxSize=512\nType=Scalable\n");
    index.close();
    QFile icon(root.filePath(u"hicolor/symbolic/apps/lanternfold-symbolic.svg"_s));
    QVERIFY(icon.open(QIODevice::WriteOnly));
    icon.write(lanternfoldSymbolicSvg());
    icon.close();
    const QStringList searchPaths = QIcon::themeSearchPaths();
    const QString themeName = QIcon::themeName();
    QIcon::setThemeSearchPaths({themes.path()});
    QIcon::setThemeName(u"hicolor"_s);

    // A StatusNotifierItem host looks it up by name and recolours it; an XEmbed tray is given
    // the painted glyph, which reads on any panel as it is.
    QCOMPARE(trayIcon(TrayHost::byName).name(), u"lanternfold-symbolic"_s);
    QVERIFY(trayIcon(TrayHost::pixelsOnly).name().isEmpty());
    QCOMPARE(trayIcon(TrayHost::pixelsOnly).availableSizes().size(), 6);

    // Not installed (a build tree): the painted glyph for both.
    QVERIFY(QFile::remove(icon.fileName()));
    QIcon::setThemeSearchPaths({});
    QIcon::setThemeSearchPaths({themes.path()});
    QVERIFY(trayIcon(TrayHost::byName).name().isEmpty());
    QCOMPARE(trayIcon(TrayHost::byName).availableSizes().size(), 6);
    QIcon::setThemeSearchPaths(searchPaths);
    QIcon::setThemeName(themeName);
}

QTEST_MAIN(TestAppIcons)
#include "tst_appicons.moc"
