// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Every screen of the logged-in window, on a light and on a dark desktop palette and at twice the
// pixels (QT_SCALE_FACTOR=2, set before the application starts): each text that can be read has
// enough contrast with what it stands on, and the pictures are drawn for the screen's pixels
// rather than stretched from smaller ones.
#include "ClientFixture.h"
#include "Contrast.h"
#include "FakePlatform.h"
#include "ImageComparison.h"

#include "App/LanternfoldApp.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"
#include "Views/ContentView.h"
#include "Views/LanternfoldLogo.h"
#include "Views/LoginView.h"
#include "Views/LogoDrawing.h"
#include "Views/TextStyle.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QPainter>
#include <QStyle>
#include <QTabWidget>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

/// A dark desktop palette as Breeze Dark and Adwaita-dark give Qt programs.
QPalette darkPalette()
{
    QPalette dark;
    dark.setColor(QPalette::Window, QColor(0x31, 0x36, 0x3b));
    dark.setColor(QPalette::WindowText, QColor(0xfc, 0xfc, 0xfc));
    dark.setColor(QPalette::Base, QColor(0x1b, 0x1e, 0x20));
    dark.setColor(QPalette::AlternateBase, QColor(0x23, 0x26, 0x29));
    dark.setColor(QPalette::Text, QColor(0xfc, 0xfc, 0xfc));
    dark.setColor(QPalette::Button, QColor(0x31, 0x36, 0x3b));
    dark.setColor(QPalette::ButtonText, QColor(0xfc, 0xfc, 0xfc));
    dark.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
    dark.setColor(QPalette::HighlightedText, QColor(0xfc, 0xfc, 0xfc));
    dark.setColor(QPalette::PlaceholderText, QColor(0xa1, 0xa9, 0xb1));
    dark.setColor(QPalette::ToolTipBase, QColor(0x31, 0x36, 0x3b));
    dark.setColor(QPalette::ToolTipText, QColor(0xfc, 0xfc, 0xfc));
    dark.setColor(QPalette::Light, QColor(0x40, 0x46, 0x4c));
    dark.setColor(QPalette::Midlight, QColor(0x36, 0x3b, 0x40));
    dark.setColor(QPalette::Mid, QColor(0x24, 0x28, 0x2b));
    dark.setColor(QPalette::Dark, QColor(0x1e, 0x21, 0x24));
    dark.setColor(QPalette::Shadow, QColor(0x0f, 0x10, 0x11));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        dark.setColor(QPalette::Disabled, role, QColor(0x6e, 0x72, 0x76));
    return dark;
}

/// What a widget's text stands on: the nearest widget up the tree that paints its own background,
/// else the window's colour.
QColor backgroundBehind(const QWidget *widget)
{
    if (qobject_cast<const QAbstractButton *>(widget) && !qobject_cast<const QLabel *>(widget) &&
        widget->inherits("QPushButton"))
        return widget->palette().color(QPalette::Button);
    for (const QWidget *w = widget; w; w = w->parentWidget()) {
        if (w->autoFillBackground())
            return w->palette().color(w->backgroundRole());
    }
    return widget->window()->palette().color(QPalette::Window);
}

QColor textColour(const QWidget *widget)
{
    if (widget->inherits("QPushButton"))
        return widget->palette().color(QPalette::ButtonText);
    return widget->palette().color(widget->foregroundRole());
}

QString describe(const QWidget *widget)
{
    if (const auto *label = qobject_cast<const QLabel *>(widget))
        return u"label \""_s + label->text().left(60) + u'"';
    if (const auto *button = qobject_cast<const QAbstractButton *>(widget))
        return QString::fromLatin1(widget->metaObject()->className()) + u" \""_s + button->text() + u'"';
    return QString::fromLatin1(widget->metaObject()->className());
}

} // namespace

class TestReadability final : public QObject, public ClientFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void textColoursReadOnLightAndDark_data();
    void textColoursReadOnLightAndDark();
    void everyScreenReadsOnLightAndDark_data();
    void everyScreenReadsOnLightAndDark();
    void picturesAreDrawnForTheScreensPixels();

private:
    void logIn();
    /// The readable texts of the window's current screen whose contrast is below the minimum.
    QStringList faintTexts(qreal minimum) const;

    std::unique_ptr<ScheduleStore> m_store;
    FakeKeychain m_keychain;
    FakeNotifications m_notifications;
    FakeLoginItem m_loginItem;
    std::unique_ptr<LanternfoldApp> m_app;
    QPalette m_original;
};

void TestReadability::init()
{
    ClientFixture::init();
    m_original = QApplication::palette();
    m_store = std::make_unique<ScheduleStore>(dir->path());
    m_app = std::make_unique<LanternfoldApp>(*m_store, *trust, dir->filePath(u"Lanternfold.conf"_s),
                                             PlatformServices{m_keychain, m_notifications, m_loginItem});
    m_app->start();
}

void TestReadability::cleanup()
{
    m_app.reset();
    m_store.reset();
    QApplication::setPalette(m_original);
    ClientFixture::cleanup();
}

void TestReadability::logIn()
{
    Sim &sim = startSim();
    trust->pin(u"127.0.0.1"_s, sim.fingerprint());
    AppState &state = m_app->appState();
    (void)state.connect(configFor(sim), sim.password(), false);
    QTRY_VERIFY_WITH_TIMEOUT(state.isLoggedIn(), 20000);
    QTRY_COMPARE(m_app->window().tabs()->count(), 3);
    QTRY_VERIFY(!state.accessPoints().isEmpty());
}

QStringList TestReadability::faintTexts(qreal minimum) const
{
    QStringList faint;
    const QList<QWidget *> widgets = m_app->window().findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        const auto *label = qobject_cast<const QLabel *>(widget);
        const auto *button = qobject_cast<const QAbstractButton *>(widget);
        if ((!label || label->text().isEmpty()) && (!button || button->text().isEmpty()))
            continue;
        // Shown, and meant to be read: a disabled control may be fainter, by every desktop's rules.
        if (!widget->isVisible() || !widget->isEnabled())
            continue;
        const qreal ratio = contrast(textColour(widget), backgroundBehind(widget));
        if (ratio < minimum)
            faint.append(u"%1: %2 on %3, %4:1"_s
                             .arg(describe(widget), textColour(widget).name(), backgroundBehind(widget).name())
                             .arg(ratio, 0, 'f', 1));
    }
    return faint;
}

void TestReadability::textColoursReadOnLightAndDark_data()
{
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("light") << QApplication::palette();
    QTest::newRow("dark") << darkPalette();
}

void TestReadability::textColoursReadOnLightAndDark()
{
    // The colours the code mixes itself, for rows and notes and failures: at least 4.5:1, the
    // minimum for small print.
    QFETCH(QPalette, palette);
    QVERIFY(contrast(secondaryTextColor(palette), palette.color(QPalette::Window)) >= 4.5);
    QVERIFY(contrast(secondaryTextColor(palette, QPalette::Base, QPalette::Text), palette.color(QPalette::Base)) >=
            4.5);
    QVERIFY(contrast(errorTextColor(palette), palette.color(QPalette::Window)) >= 4.5);
    QVERIFY(contrast(errorTextColor(palette), palette.color(QPalette::Button)) >= 4.5);
}

void TestReadability::everyScreenReadsOnLightAndDark_data()
{
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("light") << QApplication::palette();
    QTest::newRow("dark") << darkPalette();
}

void TestReadability::everyScreenReadsOnLightAndDark()
{
    QFETCH(QPalette, palette);
    QApplication::setPalette(palette);
    ContentView &window = m_app->window();
    QCoreApplication::processEvents();
    QStringList faint = faintTexts(4.5);
    QVERIFY2(faint.isEmpty(), qPrintable(u"login form:\n"_s + faint.join(u'\n')));
    logIn();
    if (QTest::currentTestFailed())
        return;
    for (int tab = 0; tab < window.tabs()->count(); ++tab) {
        window.tabs()->setCurrentIndex(tab);
        QCoreApplication::processEvents();
        faint = faintTexts(4.5);
        QVERIFY2(faint.isEmpty(), qPrintable(window.tabs()->tabText(tab) + u":\n"_s + faint.join(u'\n')));
    }
}

void TestReadability::picturesAreDrawnForTheScreensPixels()
{
    ContentView &window = m_app->window();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.devicePixelRatio(), 2.0);

    // The emblem over the login form: painted at two device pixels per pixel, the same picture
    // as the emblem drawn at twice the size, not a stretched copy of the small one.
    auto *logo = window.loginView()->findChild<LanternfoldLogo *>();
    QVERIFY(logo);
    const QPixmap grabbed = logo->grab();
    QCOMPARE(grabbed.devicePixelRatio(), 2.0);
    QCOMPARE(grabbed.size(), QSize(logo->width(), logo->height()) * 2);
    QImage expected(grabbed.size(), QImage::Format_ARGB32_Premultiplied);
    expected.fill(logo->palette().color(QPalette::Window));
    {
        QPainter painter(&expected);
        painter.drawImage(0, 0, renderLanternfoldLogo(grabbed.width()));
    }
    const ImageDifference difference = compareImages(grabbed.toImage(), expected, 24);
    QVERIFY(difference.sameSize);
    QVERIFY2(difference.differing * 100 < difference.pixels,
             qPrintable(u"%1 of %2 pixels differ"_s.arg(difference.differing).arg(difference.pixels)));

    // The tabs' symbols and the window icon have pictures for the doubled size.
    logIn();
    if (QTest::currentTestFailed())
        return;
    const int side = window.style()->pixelMetric(QStyle::PM_SmallIconSize);
    for (int tab = 0; tab < window.tabs()->count(); ++tab) {
        const QPixmap symbol = window.tabs()->tabIcon(tab).pixmap(QSize(side, side), 2.0);
        QCOMPARE(symbol.devicePixelRatio(), 2.0);
        QCOMPARE(symbol.size(), QSize(side, side) * 2);
    }
    const QList<QSize> iconSizes = window.windowIcon().availableSizes();
    QVERIFY2(iconSizes.contains(QSize(64, 64)), "a 32-pixel window icon at twice the pixels");
}

int main(int argc, char *argv[])
{
    // Before the application: the scale factor is read once, at its start.
    qputenv("QT_SCALE_FACTOR", "2");
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    TestReadability test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_readability.moc"
