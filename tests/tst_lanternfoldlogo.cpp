// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The emblem: its geometry for a size, the outlines of the signal arcs and the restart glyph, and
// the painted picture against committed references (tests/data/lanternfoldlogo-<size>.png; set
// LANTERNFOLD_UPDATE_REFERENCE_IMAGES=1 to rewrite them after a deliberate change, then look at
// them before committing).
#include "ImageComparison.h"
#include "Views/GlyphShapes.h"
#include "Views/LanternfoldLogo.h"
#include "Views/LogoDrawing.h"

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QTest>

#include <cmath>
#include <numbers>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

/// The point at angle degrees on the circle around centre, in the y-down system.
QPointF onCircle(const QPointF &centre, qreal radius, qreal degrees)
{
    const qreal radians = degrees * std::numbers::pi / 180;
    return centre + radius * QPointF(std::cos(radians), std::sin(radians));
}

bool near(const QPointF &a, const QPointF &b, qreal tolerance)
{
    return QLineF(a, b).length() <= tolerance;
}

QString describe(const QPointF &point)
{
    return u"(%1, %2)"_s.arg(point.x()).arg(point.y());
}

/// The points of a path's elements, split where a subpath starts (MoveTo) and, within one, where a
/// straight segment starts (LineTo): each piece is one arc or one segment, its first point where it
/// starts and its last point where it ends.
QList<QList<QPointF>> pieces(const QPainterPath &path, QList<QPainterPath::ElementType> *starts = nullptr)
{
    QList<QList<QPointF>> result;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element element = path.elementAt(i);
        if (element.type == QPainterPath::MoveToElement || element.type == QPainterPath::LineToElement) {
            if (element.type == QPainterPath::LineToElement && !result.isEmpty())
                result.last().append(element); // a segment ends where the next piece starts
            result.append({element});
            if (starts != nullptr)
                starts->append(element.type);
        } else {
            result.last().append(element);
        }
    }
    return result;
}

/// A Bézier stand-in for a circle strays from it by less than 0.03 % of the radius.
constexpr qreal arcTolerance = 1e-3;

} // namespace

class TestLanternfoldLogo final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void geometryAtSize56();
    void geometryScalesWithSize();
    void signalArcsEndPoints_data();
    void signalArcsEndPoints();
    void signalArcsFollowOnlyTheWidth();
    void restartGlyph_data();
    void restartGlyph();
    void paintedLayers();
    void matchesReference_data();
    void matchesReference();
    void comparisonNoticesAShift();
    void widgetPaintsTheEmblem();
};

void TestLanternfoldLogo::geometryAtSize56()
{
    const LogoGeometry geometry = LogoGeometry::forSize(56);
    QCOMPARE(geometry.cornerRadius, 12.32);
    QCOMPARE(geometry.strokeWidth, 2.52);
    QCOMPARE(geometry.tile, QRectF(0, 0, 56, 56));
    QCOMPARE(geometry.arcsFrame.width(), 34.72);
    QCOMPARE(geometry.arcsFrame.height(), 34.72);
    QCOMPARE(geometry.badgeFrame.width(), 14.56);
    QCOMPARE(geometry.badgeFrame.height(), 14.56);
    QCOMPARE(geometry.dotFrame.width(), 5.04);
    // Centred, then the arcs and the dot 0.06 s down, the badge 0.28 s right and up.
    QCOMPARE(geometry.arcsFrame.center(), QPointF(28, 31.36));
    QCOMPARE(geometry.dotFrame.center(), QPointF(28, 31.36));
    QCOMPARE(geometry.badgeFrame.center(), QPointF(43.68, 12.32));
}

void TestLanternfoldLogo::geometryScalesWithSize()
{
    const LogoGeometry small = LogoGeometry::forSize(56);
    const LogoGeometry large = LogoGeometry::forSize(560);
    QCOMPARE(large.cornerRadius, 10 * small.cornerRadius);
    QCOMPARE(large.strokeWidth, 10 * small.strokeWidth);
    const QTransform tenfold = QTransform::fromScale(10, 10);
    QCOMPARE(large.arcsFrame, tenfold.mapRect(small.arcsFrame));
    QCOMPARE(large.dotFrame, tenfold.mapRect(small.dotFrame));
    QCOMPARE(large.badgeFrame, tenfold.mapRect(small.badgeFrame));
}

void TestLanternfoldLogo::signalArcsEndPoints_data()
{
    QTest::addColumn<QRectF>("rect");
    QTest::newRow("the emblem's frame at 56") << LogoGeometry::forSize(56).arcsFrame;
    QTest::newRow("square away from the origin") << QRectF(10, 20, 100, 100);
    QTest::newRow("wider than tall") << QRectF(-30, 5, 200, 40);
}

void TestLanternfoldLogo::signalArcsEndPoints()
{
    QFETCH(QRectF, rect);
    const QPainterPath path = SignalArcs(rect);
    const qreal width = rect.width();
    const QPointF centre(rect.center().x(), rect.bottom());

    // One subpath: a move to the first arc's start, then each arc, each later one preceded by the
    // straight segment from the previous arc's end.
    QList<QPainterPath::ElementType> starts;
    const QList<QList<QPointF>> parts = pieces(path, &starts);
    const QList<QPainterPath::ElementType> expectedStarts{QPainterPath::MoveToElement, QPainterPath::LineToElement,
                                                          QPainterPath::LineToElement};
    QCOMPARE(starts, expectedStarts);
    const QList<qreal> radii{0.32 * width, 0.55 * width, 0.78 * width};
    for (int i = 0; i < 3; ++i) {
        // parts[i] runs from the arc's start (a segment's end for the later ones) to its end.
        const QList<QPointF> &arc = parts.at(i);
        const qreal radius = radii.at(i);
        const QPointF start = onCircle(centre, radius, 210);
        const QPointF end = onCircle(centre, radius, 330);
        QVERIFY2(near(arc.first(), start, arcTolerance * radius),
                 qPrintable(describe(arc.first()) + u" should be "_s + describe(start)));
        QVERIFY2(near(i < 2 ? arc.at(arc.size() - 2) : arc.last(), end, arcTolerance * radius),
                 qPrintable(u"arc %1 ends at the wrong place"_s.arg(i)));
        // 210 degrees is to the upper left and 330 to the upper right of the centre.
        QVERIFY(start.x() < centre.x() && start.y() < centre.y());
        QVERIFY(end.x() > centre.x() && end.y() < centre.y());
        if (i < 2) // the joining segment ends at the next arc's start
            QVERIFY(near(arc.last(), onCircle(centre, radii.at(i + 1), 210), arcTolerance * radius));
    }

    // Each arc bows upwards through 270 degrees, straight up: the outline reaches the largest
    // arc's top and goes no lower than the ends of the smallest.
    const QRectF bounds = path.boundingRect();
    const qreal slack = arcTolerance * radii.last();
    QVERIFY2(std::abs(bounds.top() - (centre.y() - radii.last())) < slack, qPrintable(QString::number(bounds.top())));
    QVERIFY(std::abs(bounds.bottom() - (centre.y() - 0.5 * radii.first())) < slack);
    QVERIFY(std::abs(bounds.left() - onCircle(centre, radii.last(), 210).x()) < slack);
    QVERIFY(std::abs(bounds.right() - onCircle(centre, radii.last(), 330).x()) < slack);
}

void TestLanternfoldLogo::signalArcsFollowOnlyTheWidth()
{
    const QRectF wide(0, 0, 200, 40);
    const QPainterPath path = SignalArcs(wide);
    // The largest arc rises 0.78 of the width above the bottom edge: far above a low rectangle.
    QVERIFY(path.boundingRect().top() < wide.top());
    QVERIFY(std::abs(path.boundingRect().top() - (40 - 156)) < 0.2);
    // The same width and bottom edge with any height gives the same outline.
    QCOMPARE(SignalArcs(QRectF(0, -260, 200, 300)), path);
    QCOMPARE(SignalArcs(QRectF(0, 39, 200, 1)), path);
    QVERIFY(SignalArcs(QRectF(0, 0, 100, 40)) != path);
}

void TestLanternfoldLogo::restartGlyph_data()
{
    QTest::addColumn<QRectF>("rect");
    QTest::newRow("square") << QRectF(0, 0, 40, 40);
    QTest::newRow("wide") << QRectF(0, 0, 100, 40);
    QTest::newRow("tall, away from the origin") << QRectF(15, -20, 40, 100);
    QTest::newRow("the badge at 56") << LogoGeometry::forSize(56).badgeFrame;
}

void TestLanternfoldLogo::restartGlyph()
{
    QFETCH(QRectF, rect);
    const QPainterPath path = RestartGlyph(rect);
    const qreal width = rect.width();
    const qreal height = rect.height();
    const QPointF centre = rect.center();
    const qreal radius = std::min(width, height) / 2;

    QList<QPainterPath::ElementType> starts;
    const QList<QList<QPointF>> parts = pieces(path, &starts);
    const QList<QPainterPath::ElementType> expectedStarts{QPainterPath::MoveToElement, QPainterPath::MoveToElement,
                                                          QPainterPath::LineToElement, QPainterPath::LineToElement};
    QCOMPARE(starts, expectedStarts);

    // The arc: from -40 to 220 degrees, circular whatever the rectangle's shape: every point where
    // one Bézier piece meets the next lies on the circle of half the smaller side.
    const QList<QPointF> &arc = parts.at(0);
    QVERIFY(near(arc.first(), onCircle(centre, radius, -40), arcTolerance * radius));
    const QPointF tip = onCircle(centre, radius, 220);
    QVERIFY2(near(arc.last(), tip, arcTolerance * radius),
             qPrintable(describe(arc.last()) + u" vs "_s + describe(tip)));
    for (int i = 0; i < arc.size(); i += 3)
        QVERIFY2(std::abs(QLineF(centre, arc.at(i)).length() - radius) < arcTolerance * radius,
                 qPrintable(describe(arc.at(i))));
    // Open at the top: the outline reaches the circle's right and bottom, but its highest point is
    // the arrow head's, below the circle's top.
    const QRectF bounds = path.boundingRect();
    QVERIFY(std::abs(bounds.right() - (centre.x() + radius)) < arcTolerance * radius);
    QVERIFY(std::abs(bounds.bottom() - (centre.y() + radius)) < arcTolerance * radius);
    QVERIFY(std::abs(bounds.top() - (tip.y() - 0.02 * height)) < arcTolerance * radius);
    QVERIFY(bounds.top() > centre.y() - radius);

    // The arrow head: from a point left of the tip and a little above it, to the tip, to a point a
    // little left of it and below; the offsets follow the width and the height separately.
    QCOMPARE(parts.at(1).size(), 2);
    QVERIFY(near(parts.at(1).at(0), QPointF(tip.x() - 0.18 * width, tip.y() - 0.02 * height), 1e-9 * width));
    QVERIFY(near(parts.at(2).at(0), tip, 1e-9 * width));
    QCOMPARE(parts.at(3).size(), 1);
    QVERIFY(near(parts.at(3).at(0), QPointF(tip.x() - 0.02 * width, tip.y() + 0.2 * height), 1e-9 * width));
}

void TestLanternfoldLogo::paintedLayers()
{
    // Points picked inside each layer at 56 pixels, well away from any edge.
    const QImage image = renderLanternfoldLogo(56).convertToFormat(QImage::Format_ARGB32);
    const auto colourAt = [&image](int x, int y) { return QColor::fromRgba(image.pixel(x, y)); };
    // Colours without their opacity: the tile's fades towards the bottom.
    const auto close = [](const QColor &a, const QColor &b) {
        return std::abs(a.red() - b.red()) <= 6 && std::abs(a.green() - b.green()) <= 6 &&
               std::abs(a.blue() - b.blue()) <= 6;
    };
    // Outside the rounded corners: nothing.
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
    QCOMPARE(qAlpha(image.pixel(55, 55)), 0);
    // The tile: its colour at the top, a little transparent at the bottom.
    QVERIFY(close(colourAt(14, 3), LogoColours::tile()));
    QVERIFY(qAlpha(image.pixel(14, 3)) > 250);
    QVERIFY(close(colourAt(8, 53), LogoColours::tile()));
    QVERIFY(qAlpha(image.pixel(8, 53)) < 225 && qAlpha(image.pixel(8, 53)) > 210); // 0.86 of full
    // The dot, signal blue, at the centre moved 0.06 s down.
    QVERIFY2(close(colourAt(28, 31), LogoColours::signalBlue()), qPrintable(colourAt(28, 31).name()));
    // The largest arc's top (centre 48.72 minus radius 27.08), blue towards the light end.
    const QColor crown = colourAt(28, 21);
    QVERIFY2(crown.blue() > 200 && crown.red() < crown.green() && crown.green() < crown.blue(),
             qPrintable(crown.name()));
    // The badge: white at the bottom of its circle (centre 12.32 plus radius 7.28).
    const QColor badge = colourAt(43, 19);
    QVERIFY2(badge.red() > 200 && badge.green() > 200 && badge.blue() > 200, qPrintable(badge.name()));
    // Inside the badge's circle: the tile again.
    QVERIFY(close(colourAt(43, 12), LogoColours::tile()));
}

void TestLanternfoldLogo::matchesReference_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("56, as the login form shows it") << 56;
    QTest::newRow("256") << 256;
}

void TestLanternfoldLogo::matchesReference()
{
    QFETCH(int, size);
    const QImage rendered = renderLanternfoldLogo(size);
    const QString reference = QStringLiteral(LANTERNFOLD_TEST_DATA_DIR) + u"/lanternfoldlogo-%1.png"_s.arg(size);
    if (updatingReferenceImages()) {
        QVERIFY(rendered.save(reference, "PNG"));
        qInfo("wrote %s", qPrintable(reference));
        return;
    }
    const QImage expected(reference);
    QVERIFY2(!expected.isNull(), qPrintable(u"no reference image "_s + reference));
    const ImageDifference difference = compareImages(rendered, expected);
    if (!looksTheSame(difference)) {
        const QString actualPath = QDir::temp().filePath(u"lanternfoldlogo-%1-actual.png"_s.arg(size));
        rendered.save(actualPath, "PNG");
        QFAIL(qPrintable(u"differs from %1 (largest channel difference %2, %3 pixels beyond the slack); "
                         u"the rendering is in %4"_s.arg(reference)
                             .arg(difference.largest)
                             .arg(difference.differing)
                             .arg(actualPath)));
    }
}

void TestLanternfoldLogo::comparisonNoticesAShift()
{
    // The tolerance forgives anti-aliasing, not a drawing moved by one pixel.
    const QImage rendered = renderLanternfoldLogo(56);
    QImage shifted(rendered.size(), rendered.format());
    shifted.fill(Qt::transparent);
    QPainter painter(&shifted);
    painter.drawImage(1, 0, rendered);
    painter.end();
    QVERIFY(looksTheSame(compareImages(rendered, rendered)));
    QVERIFY(!looksTheSame(compareImages(shifted, rendered)));
}

void TestLanternfoldLogo::widgetPaintsTheEmblem()
{
    LanternfoldLogo logo(56);
    QCOMPARE(logo.size(), 56.0);
    QCOMPARE(logo.sizeHint(), QSize(56, 56));
    QCOMPARE(logo.minimumSize(), QSize(56, 56));
    QCOMPARE(logo.maximumSize(), QSize(56, 56));
    QCOMPARE(LanternfoldLogo(40.5).sizeHint(), QSize(41, 41));

    QImage painted(56, 56, QImage::Format_ARGB32_Premultiplied);
    painted.fill(Qt::transparent);
    logo.render(&painted, {}, {}, QWidget::DrawChildren);
    QVERIFY(looksTheSame(compareImages(painted, renderLanternfoldLogo(56))));
}

QTEST_MAIN(TestLanternfoldLogo)
#include "tst_lanternfoldlogo.moc"
