// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The Settings tab over a real application state: the controller section from a saved or a new
// configuration, Disconnect against the simulated controller, forgetting the pin of the configured
// host, the launch-at-login switch over a login item that the test makes fail when it wants (the
// autostart entry itself has its own tests), the activity log, and what assistive technologies read.
//
// Set LANTERNFOLD_TEST_SNAPSHOTS to a folder to keep a picture of the view from each test there.
#include "StateFixture.h"

#include "Views/ActivityLogList.h"
#include "Views/SettingsView.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFontInfo>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QStackedWidget>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

template <typename T>
T *withText(const QWidget &root, const QString &text)
{
    const QList<T *> found = root.findChildren<T *>();
    for (T *widget : found) {
        if (widget->text() == text)
            return widget;
    }
    return nullptr;
}

QString accessibleName(QWidget *widget)
{
    QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(widget);
    return interface != nullptr ? interface->text(QAccessible::Name) : QString();
}

/// The widgets that name widget for assistive technologies (buddy labels, form rows).
QStringList accessibleLabels(QWidget *widget)
{
    QStringList names;
    QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(widget);
    if (interface == nullptr)
        return names;
    const auto relations = interface->relations(QAccessible::Label);
    for (const auto &relation : relations)
        names.append(relation.first->text(QAccessible::Name));
    return names;
}

bool looksRed(const QColor &colour)
{
    return colour.red() > 150 && colour.red() > 2 * colour.green() && colour.red() > 2 * colour.blue();
}

} // namespace

class TestSettingsView final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void noConfigurationReadsNotConnected();
    void savedConfigurationWhileLoggedOut_data();
    void savedConfigurationWhileLoggedOut();
    void newConnectionShowsItsController();
    void disconnectLogsOut();
    void forgetRemovesThePinOfTheConfiguredHost();
    void switchReadsTheRegistration();
    void failedRegistrationFlipsBackAndSaysWhy();
    void failedRemovalFlipsBackOn();
    void switchingOffRemovesTheEntry();
    void emptyActivityLog();
    void activityLogLines();
    void sectionsAndTexts();
    void accessibleNamesAreTheLabels();
    void oneSiteShowsNoSiteChoice();
    void severalSitesAreChosenFromTheList();
    void saysWhenTheBackgroundServiceRunsTheSchedules();
    void offersQuitWhenNoTrayHoldsTheMenu();

private:
    SettingsView &makeView();
    void saveConfig(const ControllerConfig &config) const;
    void snapshot(const QString &name);
    [[nodiscard]] QLabel *valueOf(const QString &rowLabel) const;
    [[nodiscard]] QPushButton *button(const QString &text) const;
    [[nodiscard]] QCheckBox *launchSwitch() const;
    [[nodiscard]] QLabel *errorLine() const;
    [[nodiscard]] QComboBox *sitePicker() const;

    FakeLoginItem m_loginItem;
    std::unique_ptr<SettingsView> m_view;
};

namespace {

/// What a login item that cannot be changed says, as a file error would.
const QString cannotChange = u"Cannot create /home/user/.config/autostart for output: Not a directory"_s;

} // namespace

void TestSettingsView::init()
{
    StateFixture::init();
    m_loginItem.enabled = false;
    m_loginItem.failure.reset();
    m_loginItem.changes = 0;
}

void TestSettingsView::cleanup()
{
    if (m_view != nullptr)
        snapshot(QString::fromLatin1(QTest::currentTestFunction()));
    m_view.reset();
    StateFixture::cleanup();
}

SettingsView &TestSettingsView::makeView()
{
    if (!state)
        makeState();
    m_view = std::make_unique<SettingsView>(*state, *trust, m_loginItem);
    m_view->resize(620, 560);
    m_view->show();
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        qFatal("the view was never shown");
    return *m_view;
}

void TestSettingsView::saveConfig(const ControllerConfig &config) const
{
    QSettings settings(settingsPath(), QSettings::NativeFormat);
    settings.setValue(AppState::configDefaultsKey, QJsonDocument(config.toJson()).toJson(QJsonDocument::Compact));
}

void TestSettingsView::snapshot(const QString &name)
{
    const QString folder = qEnvironmentVariable("LANTERNFOLD_TEST_SNAPSHOTS");
    if (!folder.isEmpty())
        m_view->grab().save(QDir(folder).filePath(u"settingsview-"_s + name + u".png"_s));
}

QLabel *TestSettingsView::valueOf(const QString &rowLabel) const
{
    const QLabel *label = withText<QLabel>(*m_view, rowLabel);
    return label != nullptr ? qobject_cast<QLabel *>(label->buddy()) : nullptr;
}

QPushButton *TestSettingsView::button(const QString &text) const
{
    return withText<QPushButton>(*m_view, text);
}

QCheckBox *TestSettingsView::launchSwitch() const
{
    return withText<QCheckBox>(*m_view, u"Launch Lanternfold at login"_s);
}

QComboBox *TestSettingsView::sitePicker() const
{
    const QLabel *label = withText<QLabel>(*m_view, u"Site"_s);
    return label != nullptr ? qobject_cast<QComboBox *>(label->buddy()) : nullptr;
}

QLabel *TestSettingsView::errorLine() const
{
    // The one label that is coloured red.
    const QList<QLabel *> labels = m_view->findChildren<QLabel *>();
    for (QLabel *label : labels) {
        if (looksRed(label->palette().color(QPalette::WindowText)))
            return label;
    }
    return nullptr;
}

void TestSettingsView::noConfigurationReadsNotConnected()
{
    trust->pin(u"10.0.0.1"_s, u"ab"_s.repeated(32));
    SettingsView &view = makeView();
    const QLabel *notConnected = withText<QLabel>(view, u"Not connected."_s);
    QVERIFY(notConnected != nullptr);
    QVERIFY(notConnected->isVisible());
    QVERIFY(button(u"Disconnect"_s) == nullptr || !button(u"Disconnect"_s)->isVisible());
    QVERIFY(valueOf(u"Host"_s) == nullptr || !valueOf(u"Host"_s)->isVisible());

    // Forget does nothing without a configuration.
    QSignalSpy changed(trust.get(), &CertTrustService::pinChanged);
    QPushButton *forget = button(u"Forget Pinned Certificate"_s);
    QVERIFY(forget != nullptr);
    QVERIFY(forget->isEnabled());
    forget->click();
    QCOMPARE(changed.size(), 0);
    QCOMPARE(trust->pins().size(), 1);
}

void TestSettingsView::savedConfigurationWhileLoggedOut_data()
{
    QTest::addColumn<ControllerConfig>("config");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("type");
    QTest::newRow("console") << ControllerConfig{u"192.168.1.1"_s, 443, ControllerKind::unifiOS, u"admin"_s,
                                                 u"default"_s}
                             << u"192.168.1.1:443"_s << u"UniFi OS"_s;
    QTest::newRow("classic on 8443") << ControllerConfig{u"Unifi.Lan"_s, 8443, ControllerKind::classic, u"ops team"_s,
                                                         u"default"_s}
                                     << u"Unifi.Lan:8443"_s << u"Classic"_s;
}

void TestSettingsView::savedConfigurationWhileLoggedOut()
{
    QFETCH(ControllerConfig, config);
    QFETCH(QString, host);
    QFETCH(QString, type);
    saveConfig(config);
    AppState &state = makeState();
    QVERIFY(state.config());
    QVERIFY(!state.isLoggedIn());
    makeView();
    QVERIFY(valueOf(u"Host"_s) != nullptr);
    QVERIFY(valueOf(u"Host"_s)->isVisible());
    QCOMPARE(valueOf(u"Host"_s)->text(), host);
    QCOMPARE(valueOf(u"Type"_s)->text(), type);
    QCOMPARE(valueOf(u"Username"_s)->text(), config.username);
    QVERIFY(button(u"Disconnect"_s)->isVisible());
    QVERIFY(!withText<QLabel>(*m_view, u"Not connected."_s)->isVisible());
}

void TestSettingsView::newConnectionShowsItsController()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    makeView();
    QVERIFY(withText<QLabel>(*m_view, u"Not connected."_s)->isVisible());
    connectTo(sim);
    QVERIFY(state->isLoggedIn());
    QVERIFY(!withText<QLabel>(*m_view, u"Not connected."_s)->isVisible());
    QCOMPARE(valueOf(u"Host"_s)->text(), u"127.0.0.1:"_s + QString::number(sim.port()));
    QCOMPARE(valueOf(u"Type"_s)->text(), u"Classic"_s);
    QCOMPARE(valueOf(u"Username"_s)->text(), sim.username());
}

void TestSettingsView::disconnectLogsOut()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    QVERIFY(state->isLoggedIn());
    makeView();
    QPushButton *disconnect = button(u"Disconnect"_s);
    QVERIFY(disconnect != nullptr && disconnect->isVisible());
    QTest::mouseClick(disconnect, Qt::LeftButton);
    QTRY_VERIFY(!state->isLoggedIn());
    QTRY_COMPARE(requests(sim).last().value(u"path"_s).toString(), u"/api/auth/logout"_s);
    QCOMPARE(sim.liveSessionCount(), 0);
    // The configuration survives, and so does the section.
    QVERIFY(valueOf(u"Host"_s)->isVisible());
    QCOMPARE(valueOf(u"Host"_s)->text(), u"127.0.0.1:"_s + QString::number(sim.port()));
    // Logged out at once; "Disconnected" once the controller has answered the logout.
    QTRY_VERIFY(state->activityLog().first().endsWith(u"] Disconnected"_s));
}

void TestSettingsView::forgetRemovesThePinOfTheConfiguredHost()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    QCOMPARE(approver->asked.size(), 1);
    QCOMPARE(trust->pinnedFingerprint(u"127.0.0.1"_s), std::optional<QString>(sim.fingerprint()));
    trust->pin(u"10.0.0.1"_s, u"ab"_s.repeated(32));
    makeView();

    button(u"Forget Pinned Certificate"_s)->click();
    QCOMPARE(trust->pinnedFingerprint(u"127.0.0.1"_s), std::nullopt);
    QCOMPARE(trust->pinnedFingerprint(u"10.0.0.1"_s), std::optional<QString>(u"ab"_s.repeated(32)));
    // Harmless a second time.
    button(u"Forget Pinned Certificate"_s)->click();
    QCOMPARE(trust->pins().size(), 1);

    // The next connection asks about the key again.
    await(state->disconnect());
    connectTo(sim);
    QVERIFY(state->isLoggedIn());
    QCOMPARE(approver->asked.size(), 2);
}

void TestSettingsView::switchReadsTheRegistration()
{
    makeView();
    QVERIFY(!launchSwitch()->isChecked());
    QVERIFY(!m_view->launchAtLogin());
    m_view.reset();

    QVERIFY(m_loginItem.setEnabled(true).ok());
    makeView();
    QVERIFY(launchSwitch()->isChecked());
    QVERIFY(m_view->launchAtLogin());
    QVERIFY(!m_view->loginItemError());
    QVERIFY(errorLine() == nullptr || !errorLine()->isVisible());
}

void TestSettingsView::failedRegistrationFlipsBackAndSaysWhy()
{
    m_loginItem.failure = cannotChange;
    SettingsView &view = makeView();
    QCheckBox *toggle = launchSwitch();
    QVERIFY(!toggle->isChecked());
    QVERIFY(errorLine() == nullptr || !errorLine()->isVisible());

    QTest::mouseClick(toggle, Qt::LeftButton);
    QVERIFY(!toggle->isChecked());
    QVERIFY(!view.launchAtLogin());
    QCOMPARE(view.loginItemError(), std::optional<QString>(cannotChange));
    QLabel *error = errorLine();
    QVERIFY(error != nullptr);
    QVERIFY(error->isVisible());
    QCOMPARE(error->text(), cannotChange);
    QVERIFY(error->font().pointSizeF() < view.font().pointSizeF());
    QCOMPARE(m_loginItem.status(), LoginItemService::Status::notRegistered);
    QCOMPARE(m_loginItem.changes, 1); // the flip back is no new attempt

    // Once the way is clear, the next change succeeds and the error goes. Flipped the way
    // assistive technologies do it: toggle(), no click.
    m_loginItem.failure.reset();
    toggle->toggle();
    QVERIFY(toggle->isChecked());
    QVERIFY(view.launchAtLogin());
    QVERIFY(!view.loginItemError());
    QVERIFY(!error->isVisible());
    QCOMPARE(m_loginItem.status(), LoginItemService::Status::enabled);
}

void TestSettingsView::failedRemovalFlipsBackOn()
{
    m_loginItem.enabled = true;
    m_loginItem.failure = cannotChange;
    SettingsView &view = makeView();
    QCheckBox *toggle = launchSwitch();
    QVERIFY(toggle->isChecked());

    QTest::mouseClick(toggle, Qt::LeftButton);
    QVERIFY(toggle->isChecked());
    QVERIFY(view.launchAtLogin());
    QCOMPARE(view.loginItemError(), std::optional<QString>(cannotChange));
    QVERIFY(errorLine() != nullptr && errorLine()->isVisible());
    QCOMPARE(errorLine()->text(), *view.loginItemError());
    QCOMPARE(m_loginItem.status(), LoginItemService::Status::enabled);
}

void TestSettingsView::switchingOffRemovesTheEntry()
{
    QVERIFY(m_loginItem.setEnabled(true).ok());
    SettingsView &view = makeView();
    QTest::mouseClick(launchSwitch(), Qt::LeftButton);
    QVERIFY(!launchSwitch()->isChecked());
    QVERIFY(!view.launchAtLogin());
    QVERIFY(!view.loginItemError());
    QCOMPARE(m_loginItem.status(), LoginItemService::Status::notRegistered);
}

void TestSettingsView::emptyActivityLog()
{
    SettingsView &view = makeView();
    QLabel *empty = withText<QLabel>(view, u"No activity yet."_s);
    QVERIFY(empty != nullptr);
    QVERIFY(empty->isVisible());
    // Secondary: neither the text colour nor invisible.
    const QColor shown = empty->palette().color(QPalette::WindowText);
    QVERIFY(shown != view.palette().color(QPalette::WindowText));
    QVERIFY(shown != view.palette().color(QPalette::Window));
    const auto *list = view.findChild<ActivityLogList *>();
    QVERIFY(list != nullptr);
    QVERIFY(!list->isVisible());
}

void TestSettingsView::activityLogLines()
{
    AppState &state = makeState();
    SettingsView &view = makeView();
    state.log(u"Connected to 10.0.0.1"_s);
    state.log(u"Restarted Lobby AP"_s);
    state.log(u"Disconnected"_s);

    auto *list = view.findChild<ActivityLogList *>();
    QVERIFY(list != nullptr);
    QVERIFY(list->isVisible());
    QVERIFY(!withText<QLabel>(view, u"No activity yet."_s)->isVisible());
    // In stored order: the newest first.
    QCOMPARE(list->lines(), state.activityLog());
    QVERIFY(list->lines().first().endsWith(u"] Disconnected"_s));
    for (const QLabel *line : list->lineLabels()) {
        QVERIFY(line->isVisible());
        QVERIFY2(QFontInfo(line->font()).fixedPitch(), qPrintable(QFontInfo(line->font()).family()));
        QVERIFY(line->font().pointSizeF() < view.font().pointSizeF());
    }
    // Spaced four points apart, top to bottom.
    const QList<QLabel *> &labels = list->lineLabels();
    QCOMPARE(labels.at(1)->geometry().top() - labels.at(0)->geometry().bottom() - 1, 4);
    QVERIFY(labels.at(2)->geometry().top() > labels.at(1)->geometry().top());

    // A long log scrolls; lines follow the state as it changes.
    for (int i = 0; i < AppState::activityLogLimit; ++i)
        state.log(u"Line %1"_s.arg(i));
    QCOMPARE(list->lines(), state.activityLog());
    QCOMPARE(list->lineLabels().size(), AppState::activityLogLimit);
    // Laid out when the event loop gets there.
    QTRY_VERIFY(list->verticalScrollBar()->maximum() > 0);
    QVERIFY(list->widget()->height() > list->viewport()->height());
}

void TestSettingsView::sectionsAndTexts()
{
    saveConfig(ControllerConfig{u"10.0.0.1"_s, 443, ControllerKind::unifiOS, u"admin"_s, u"default"_s});
    SettingsView &view = makeView();
    // The four section headers, top to bottom, as text.
    const QStringList headers{u"Controller"_s, u"Security"_s, u"Background Scheduling"_s, u"Activity Log"_s};
    int previous = -1;
    for (const QString &header : headers) {
        const QLabel *label = withText<QLabel>(view, header);
        QVERIFY2(label != nullptr, qPrintable(header));
        QVERIFY(label->isVisible());
        QVERIFY(label->font().bold());
        QVERIFY(label->y() > previous);
        previous = label->y();
    }
    const QLabel *securityCaption =
        withText<QLabel>(view, u"Only do this if you've reset, replaced, or re-adopted your controller \u2014 you'll "
                               u"be asked to re-verify the new certificate fingerprint on next connect."_s);
    QVERIFY(securityCaption != nullptr);
    QVERIFY(securityCaption->font().pointSizeF() < view.font().pointSizeF());
    QVERIFY(securityCaption->y() > button(u"Forget Pinned Certificate"_s)->y());
    const QLabel *schedulingCaption = withText<QLabel>(
        view, u"Schedules only fire while Lanternfold is running. Keep it running in the background (closing the "
              u"window won't quit it) and enable launch-at-login so restarts keep happening after a reboot."_s);
    QVERIFY(schedulingCaption != nullptr);
    QVERIFY(schedulingCaption->font().pointSizeF() < view.font().pointSizeF());
    QVERIFY(schedulingCaption->y() > launchSwitch()->y());
    // Captions wrap within the view rather than widen it.
    QVERIFY(securityCaption->wordWrap() && schedulingCaption->wordWrap());
    QVERIFY(securityCaption->geometry().right() <= view.width());

    // The keyboard goes through the controls in the order they are shown.
    QList<QWidget *> focusOrder;
    QWidget *widget = &view;
    do {
        widget = widget->nextInFocusChain();
        if (widget->isVisible() && (widget->focusPolicy() & Qt::TabFocus) != 0)
            focusOrder.append(widget);
    } while (widget != &view);
    const QList<QWidget *> expected{button(u"Disconnect"_s), button(u"Forget Pinned Certificate"_s), launchSwitch()};
    QCOMPARE(focusOrder.mid(0, 3), expected);
}

void TestSettingsView::accessibleNamesAreTheLabels()
{
    saveConfig(ControllerConfig{u"10.0.0.1"_s, 8443, ControllerKind::classic, u"admin"_s, u"default"_s});
    makeView();
    for (const QString &text : {u"Disconnect"_s, u"Forget Pinned Certificate"_s}) {
        QPushButton *control = button(text);
        QVERIFY(control != nullptr);
        QCOMPARE(accessibleName(control), text);
    }
    QCOMPARE(accessibleName(launchSwitch()), u"Launch Lanternfold at login"_s);
    // The values read as their text and are labelled by their row.
    const QList<QPair<QString, QString>> rows{
        {u"Host"_s, u"10.0.0.1:8443"_s}, {u"Type"_s, u"Classic"_s}, {u"Username"_s, u"admin"_s}};
    for (const auto &[row, value] : rows) {
        QLabel *field = valueOf(row);
        QVERIFY(field != nullptr);
        QCOMPARE(accessibleName(field), value);
        QCOMPARE(accessibleLabels(field), QStringList{row});
    }
    QCOMPARE(accessibleName(withText<QLabel>(*m_view, u"Security"_s)), u"Security"_s);
}

void TestSettingsView::oneSiteShowsNoSiteChoice()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    QCOMPARE(state->sites().size(), 1);
    makeView();
    // With one site there is nothing to choose: no row, no label.
    QVERIFY(sitePicker() != nullptr);
    QVERIFY(!sitePicker()->isVisible());
    QVERIFY(!withText<QLabel>(*m_view, u"Site"_s)->isVisible());
}

void TestSettingsView::severalSitesAreChosenFromTheList()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    makeState();
    makeView();
    QVERIFY(!sitePicker()->isVisible());
    connectTo(sim);
    QComboBox *picker = sitePicker();
    QVERIFY(picker != nullptr);
    QVERIFY(picker->isVisible());
    QVERIFY(withText<QLabel>(*m_view, u"Site"_s)->isVisible());
    // Under the user name, by the names people know, on the site shown.
    QVERIFY(picker->y() > valueOf(u"Username"_s)->y());
    QCOMPARE(picker->count(), 2);
    QCOMPARE(picker->itemText(0), u"Default"_s);
    QCOMPARE(picker->itemText(1), u"Warehouse"_s);
    QCOMPARE(picker->currentText(), u"Default"_s);
    // Named by its label: on Linux assistive technology reads the box as its value and its label
    // through the labelled-by relation.
    QCOMPARE(accessibleLabels(picker), QStringList{u"Site"_s});
    QCOMPARE(picker->accessibleName(), u"Site"_s);

    QSignalSpy devices(state.get(), &AppState::accessPointsChanged);
    // Chosen from the keyboard, as a person moves through the list.
    picker->setFocus();
    QTest::keyClick(picker, Qt::Key_Down);
    QTRY_COMPARE(state->site(), QString::fromLatin1(Sim::demoWarehouseSite));
    QTRY_VERIFY(!state->accessPoints().isEmpty() && state->accessPoints().first().name == u"Loading Dock"_s);
    QCOMPARE(savedConfig()->site, QString::fromLatin1(Sim::demoWarehouseSite));
    QCOMPARE(picker->currentText(), u"Warehouse"_s);
    QVERIFY(!devices.isEmpty());
}

void TestSettingsView::saysWhenTheBackgroundServiceRunsTheSchedules()
{
    SettingsView &view = makeView();
    QVERIFY(view.serviceNote() != nullptr);
    QVERIFY(!view.serviceNote()->isVisible());
    state->setSchedulesRunElsewhere(true);
    QVERIFY(view.serviceNote()->isVisible());
    QCOMPARE(view.serviceNote()->text(), u"Schedules are run by the background service."_s);
    // In the Background Scheduling section, under its caption.
    QVERIFY(view.serviceNote()->y() > launchSwitch()->y());
    QVERIFY(view.serviceNote()->y() < withText<QLabel>(view, u"Activity Log"_s)->y());
    state->setSchedulesRunElsewhere(false);
    QVERIFY(!view.serviceNote()->isVisible());
}

void TestSettingsView::offersQuitWhenNoTrayHoldsTheMenu()
{
    SettingsView &view = makeView();
    QVERIFY(!view.quitButton()->isVisible()); // nothing to offer before the program gives its Quit
    QAction quit(u"Quit Lanternfold"_s);
    QSignalSpy triggered(&quit, &QAction::triggered);
    view.setQuitAction(&quit, true);
    QVERIFY(view.quitButton()->isVisible());
    QCOMPARE(view.quitButton()->text(), u"Quit Lanternfold"_s);
    // In the Background Scheduling section, before the activity log.
    QVERIFY(view.quitButton()->y() > launchSwitch()->y());
    QVERIFY(view.quitButton()->y() < withText<QLabel>(view, u"Activity Log"_s)->y());
    QTest::mouseClick(view.quitButton(), Qt::LeftButton);
    QCOMPARE(triggered.size(), 1);
    view.setQuitAction(&quit, false); // a tray came
    QVERIFY(!view.quitButton()->isVisible());
}

QTEST_MAIN(TestSettingsView)
#include "tst_settingsview.moc"
