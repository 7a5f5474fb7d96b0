// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/Calendar.h"
#include "Views/WeekdayCell.h"
#include "Views/WeekdayPicker.h"

#include <QAccessible>
#include <QApplication>
#include <QImage>
#include <QLayout>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>
#include <QVBoxLayout>

using namespace lanternfold;
using namespace Qt::StringLiterals;

/// The weekday picker: seven 28-point tiles, Sunday first, each with the first letter of the
/// locale's short day name, filled with the accent colour when chosen and faint grey otherwise.
class TestWeekdayPicker final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sevenTilesSundayFirstWithTheFirstLetter_data();
    void sevenTilesSundayFirstWithTheFirstLetter();
    void clickingATileSwitchesItsDay();
    void settingTheSelectionAnnouncesNothing();
    void chosenTilesAreAccentWithWhiteLetters();
    void firstCharacterKeepsAWholeGrapheme();

private:
    static QColor blend(const QColor &back, const QColor &fore, float alpha);
    static bool near(const QColor &actual, const QColor &expected);
};

QColor TestWeekdayPicker::blend(const QColor &back, const QColor &fore, float alpha)
{
    return QColor::fromRgbF(back.redF() + (fore.redF() - back.redF()) * alpha,
                            back.greenF() + (fore.greenF() - back.greenF()) * alpha,
                            back.blueF() + (fore.blueF() - back.blueF()) * alpha);
}

bool TestWeekdayPicker::near(const QColor &actual, const QColor &expected)
{
    return std::abs(actual.red() - expected.red()) <= 3 && std::abs(actual.green() - expected.green()) <= 3 &&
           std::abs(actual.blue() - expected.blue()) <= 3;
}

void TestWeekdayPicker::sevenTilesSundayFirstWithTheFirstLetter_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QStringList>("letters");
    QTest::newRow("en_US") << QLocale(QLocale::English, QLocale::UnitedStates)
                           << QStringList{u"S"_s, u"M"_s, u"T"_s, u"W"_s, u"T"_s, u"F"_s, u"S"_s};
    QTest::newRow("de_DE") << QLocale(QLocale::German, QLocale::Germany)
                           << QStringList{u"S"_s, u"M"_s, u"D"_s, u"M"_s, u"D"_s, u"F"_s, u"S"_s};
}

void TestWeekdayPicker::sevenTilesSundayFirstWithTheFirstLetter()
{
    QFETCH(QLocale, locale);
    QFETCH(QStringList, letters);
    const QStringList symbols = shortWeekdaySymbols(Calendar{QTimeZone::utc(), locale});
    QCOMPARE(symbols.size(), 7);
    WeekdayPicker picker(symbols);
    QCOMPARE(picker.symbols(), symbols);
    QVERIFY(picker.cell(0) == nullptr);
    QVERIFY(picker.cell(8) == nullptr);
    picker.resize(picker.sizeHint());
    picker.layout()->activate();
    int previousX = -1;
    for (int weekday = 1; weekday <= 7; ++weekday) {
        WeekdayCell *cell = picker.cell(weekday);
        QVERIFY(cell);
        QCOMPARE(cell->weekday(), weekday);
        QCOMPARE(cell->text(), letters.at(weekday - 1));
        QCOMPARE(cell->size(), QSize(28, 28));
        QCOMPARE(QAccessible::queryAccessibleInterface(cell)->text(QAccessible::Name), symbols.at(weekday - 1));
        QVERIFY(QAccessible::queryAccessibleInterface(cell)->text(QAccessible::Name).startsWith(cell->text()));
        QCOMPARE(cell->focusPolicy(), Qt::StrongFocus);
        QVERIFY(cell->x() > previousX);
        previousX = cell->x();
    }
}

void TestWeekdayPicker::clickingATileSwitchesItsDay()
{
    WeekdayPicker picker({u"Sun"_s, u"Mon"_s, u"Tue"_s, u"Wed"_s, u"Thu"_s, u"Fri"_s, u"Sat"_s});
    picker.setSelection({2, 6});
    QSignalSpy changed(&picker, &WeekdayPicker::selectionChanged);
    QTest::mouseClick(picker.cell(6), Qt::LeftButton);
    QCOMPARE(picker.selection(), std::set<qint64>{2});
    QVERIFY(!picker.cell(6)->isChecked());
    QTest::mouseClick(picker.cell(1), Qt::LeftButton);
    QCOMPARE(picker.selection(), (std::set<qint64>{1, 2}));
    QVERIFY(picker.cell(1)->isChecked());
    QCOMPARE(changed.size(), 2);
    // Switched without a click, as assistive technologies do.
    picker.cell(7)->toggle();
    QCOMPARE(picker.selection(), (std::set<qint64>{1, 2, 7}));
    QCOMPARE(changed.size(), 3);
}

void TestWeekdayPicker::settingTheSelectionAnnouncesNothing()
{
    WeekdayPicker picker({u"Sun"_s, u"Mon"_s, u"Tue"_s, u"Wed"_s, u"Thu"_s, u"Fri"_s, u"Sat"_s});
    QSignalSpy changed(&picker, &WeekdayPicker::selectionChanged);
    picker.setSelection({1, 2, 3, 4, 5, 6, 7});
    for (int weekday = 1; weekday <= 7; ++weekday)
        QVERIFY(picker.cell(weekday)->isChecked());
    picker.setSelection({});
    for (int weekday = 1; weekday <= 7; ++weekday)
        QVERIFY(!picker.cell(weekday)->isChecked());
    QCOMPARE(changed.size(), 0);
}

void TestWeekdayPicker::chosenTilesAreAccentWithWhiteLetters()
{
    QWidget host;
    host.setAutoFillBackground(true);
    auto *layout = new QVBoxLayout(&host);
    auto *picker = new WeekdayPicker({u"Sun"_s, u"Mon"_s, u"Tue"_s, u"Wed"_s, u"Thu"_s, u"Fri"_s, u"Sat"_s}, &host);
    layout->addWidget(picker);
    picker->setSelection({2});
    host.resize(host.sizeHint());
    host.show();
    const QImage image = host.grab().toImage();
    const qreal ratio = image.devicePixelRatio();
    const auto pixel = [&](WeekdayCell *cell, int x, int y) {
        const QPoint at = cell->mapTo(&host, QPoint(x, y));
        return image.pixelColor(static_cast<int>(at.x() * ratio), static_cast<int>(at.y() * ratio));
    };
    const QColor accent = host.palette().color(QPalette::Highlight);
    const QColor faint = blend(host.palette().color(QPalette::Window), QColor(Qt::gray), 0.2F);

    // The fill, left of the letter, halfway down.
    QVERIFY2(near(pixel(picker->cell(2), 4, 14), accent), qPrintable(pixel(picker->cell(2), 4, 14).name()));
    QVERIFY2(near(pixel(picker->cell(3), 4, 14), faint), qPrintable(pixel(picker->cell(3), 4, 14).name()));
    // The letters: white on the chosen tile, dark on the others.
    int white = 0;
    int dark = 0;
    for (int y = 8; y < 20; ++y) {
        for (int x = 8; x < 20; ++x) {
            white += pixel(picker->cell(2), x, y).lightness() > 240 ? 1 : 0;
            dark += pixel(picker->cell(3), x, y).lightness() < 80 ? 1 : 0;
        }
    }
    QVERIFY2(white > 5, "no white letter on the chosen tile");
    QVERIFY2(dark > 5, "no dark letter on an unchosen tile");
}

void TestWeekdayPicker::firstCharacterKeepsAWholeGrapheme()
{
    QCOMPARE(WeekdayCell::firstCharacter(u"Mon"_s), u"M"_s);
    QCOMPARE(WeekdayCell::firstCharacter(QString()), QString());
    const QString surrogatePair = QString::fromUcs4(U"\U0001D400bc");
    QCOMPARE(WeekdayCell::firstCharacter(surrogatePair), QString::fromUcs4(U"\U0001D400"));
    const QString combining = u"e\u0301x"_s;
    QCOMPARE(WeekdayCell::firstCharacter(combining), u"e\u0301"_s);
}

QTEST_MAIN(TestWeekdayPicker)
#include "tst_weekdaypicker.moc"
