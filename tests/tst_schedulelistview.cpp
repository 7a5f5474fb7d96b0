// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include "State/SchedulerEngine.h"
#include "Views/DeviceListModel.h"
#include "Views/JobRow.h"
#include "Views/JobRowLabel.h"
#include "Views/ScheduleEditView.h"
#include "Views/ScheduleListPlaceholder.h"
#include "Views/ScheduleListView.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

/// The Schedules tab: the placeholder, one row per job with its lines, the editor opened by a
/// row or by "New Schedule", the switch, deleting rows, and rows that follow the state's jobs.
/// The state's clock stands at 2025-03-14 08:30 UTC, en_US, UTC.
class TestScheduleListView final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup();

    void noJobsShowsTheHeaderAndThePlaceholder();
    void newScheduleOpensTheEditorForANewJob();
    void rowsShowEachJobInOrder();
    void targetsLineNamesThreeDevicesAtMost_data();
    void targetsLineNamesThreeDevicesAtMost();
    void jobWithoutNextRunShowsNoNextLine();
    void jobThatWaitsForEachDeviceSaysSo();
    void rowsNameTheSiteWhenThereAreSeveral();
    void longNamesEndInAnEllipsis();
    void clickingARowOpensItsEditorButTheSwitchDoesNot();
    void returnOnARowOpensItsEditor();
    void savingInTheEditorUpdatesTheRow();
    void switchingAJobOffAndOnGoesThroughTheState();
    void deleteKeyRemovesTheSelectedRows();
    void rowMenuDeletesTheRowWithoutAsking();
    void schedulerRunShowsItsLastRunAtOnce();
    void controlsAreNamed();

private:
    ScheduleListView &makeView();
    void activate();
    ScheduledJob addJob(const QString &name, RecurrenceRule rule = RecurrenceRule::dailyAt(9, 0),
                        QList<RestartTarget> targets = {});
    static QList<RestartTarget> named(const QStringList &names);
    static bool shown(const QWidget *widget) { return widget->isVisibleTo(widget->window()); }
    static QString accessibleName(QWidget *widget)
    {
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(widget);
        return accessible ? accessible->text(QAccessible::Name) : QString();
    }
    static QDateTime utc(int year, int month, int day, int hour, int minute = 0, int second = 0)
    {
        return QDateTime(QDate(year, month, day), QTime(hour, minute, second), QTimeZone::utc());
    }

    std::unique_ptr<DeviceListModel> m_devices;
    std::unique_ptr<ScheduleListView> m_view;
};

void TestScheduleListView::cleanup()
{
    m_view.reset();
    m_devices.reset();
    StateFixture::cleanup();
}

ScheduleListView &TestScheduleListView::makeView()
{
    if (!state)
        makeState();
    m_devices = std::make_unique<DeviceListModel>(*state);
    m_view = std::make_unique<ScheduleListView>(*state, *m_devices);
    m_view->resize(620, 520);
    m_view->show();
    return *m_view;
}

void TestScheduleListView::activate()
{
    QApplication::setActiveWindow(m_view.get());
    QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
}

ScheduledJob TestScheduleListView::addJob(const QString &name, RecurrenceRule rule, QList<RestartTarget> targets)
{
    if (!state)
        makeState();
    state->addJob(job(name, std::move(targets), std::move(rule)));
    return state->jobs().last();
}

QList<RestartTarget> TestScheduleListView::named(const QStringList &names)
{
    QList<RestartTarget> targets;
    for (const QString &name : names)
        targets.append({RestartTargetKind::accessPoint, name.toLower(), name});
    return targets;
}

void TestScheduleListView::noJobsShowsTheHeaderAndThePlaceholder()
{
    ScheduleListView &view = makeView();
    QVERIFY(shown(view.placeholder()));
    QVERIFY(!shown(view.list()));
    QCOMPARE(view.placeholder()->titleLabel()->text(), u"No Scheduled Restarts"_s);
    QCOMPARE(view.placeholder()->descriptionLabel()->text(),
             u"Create a schedule to power-cycle access points or cameras automatically."_s);
    QVERIFY(!view.placeholder()->pictureLabel()->pixmap().isNull());
    QVERIFY(view.findChild<QLabel *>() != nullptr);
    QStringList texts;
    for (const QLabel *label : view.findChildren<QLabel *>()) {
        if (shown(label) && !label->text().isEmpty())
            texts.append(label->text());
    }
    texts.sort();
    QCOMPARE(texts, (QStringList{u"Create a schedule to power-cycle access points or cameras automatically."_s,
                                 u"No Scheduled Restarts"_s, u"Schedules"_s}));
    QCOMPARE(view.newScheduleButton()->text(), u"New Schedule"_s);
    QVERIFY(!view.newScheduleButton()->icon().isNull());

    // A job arriving swaps the placeholder for the list; its removal swaps back.
    addJob(u"First"_s);
    QVERIFY(!shown(view.placeholder()));
    QVERIFY(shown(view.list()));
    QCOMPARE(view.list()->count(), 1);
    state->removeJobs({0});
    QVERIFY(shown(view.placeholder()));
    QCOMPARE(view.list()->count(), 0);
}

void TestScheduleListView::newScheduleOpensTheEditorForANewJob()
{
    ScheduleListView &view = makeView();
    QVERIFY(!view.isPresentingNewJob());
    QTest::mouseClick(view.newScheduleButton(), Qt::LeftButton);
    QVERIFY(view.isPresentingNewJob());
    QVERIFY(!view.editingJob());
    const QPointer<ScheduleEditView> editor = view.editor();
    QVERIFY(editor);
    QVERIFY(editor->isVisible());
    QCOMPARE(editor->windowModality(), Qt::WindowModal);
    QCOMPARE(editor->windowTitle(), u"New Schedule"_s);
    QVERIFY(!editor->existingJob());
    // A second press while the sheet is open opens nothing more.
    view.presentNewJob();
    QCOMPARE(view.editor(), editor.data());
    QCOMPARE(view.findChildren<ScheduleEditView *>().size(), 1);

    QTest::mouseClick(editor->cancelButton(), Qt::LeftButton);
    QVERIFY(!view.isPresentingNewJob());
    QVERIFY(!view.editor());
    QTRY_VERIFY(!editor);
    QVERIFY(state->jobs().isEmpty());
}

void TestScheduleListView::rowsShowEachJobInOrder()
{
    makeState();
    ScheduledJob ran = job(u"Nightly"_s, named({u"Lobby"_s, u"Office"_s}), RecurrenceRule::dailyAt(3, 0), 20);
    ran.lastRunAt = utc(2025, 3, 13, 3);
    state->addJob(ran);
    addJob(u"Weekends"_s, RecurrenceRule::weeklyAt({7, 1}, 6, 5), named({u"Door"_s}));
    addJob(u"Often"_s, RecurrenceRule::everyInterval(6));
    ScheduleListView &view = makeView();

    QCOMPARE(view.list()->count(), 3);
    JobRow *first = view.row(0);
    QVERIFY(first);
    QCOMPARE(first->job(), state->jobs().at(0));
    QVERIFY(first->enabledSwitch()->isChecked());
    QCOMPARE(first->nameLabel()->text(), u"Nightly"_s);
    QCOMPARE(first->summaryLabel()->text(), u"Daily at 03:00"_s);
    QCOMPARE(first->targetsLabel()->text(), u"2 device(s): Lobby, Office"_s);
    QVERIFY(shown(first->nextRunLabel()));
    QCOMPARE(first->nextRunLabel()->text(), u"Next: Mar 15, 2025, 3:00\u202FAM"_s);
    QVERIFY(shown(first->lastRunLabel()));
    QCOMPARE(first->lastRunLabel()->text(), u"Last: Mar 13, 2025, 3:00\u202FAM"_s);

    QCOMPARE(view.row(1)->nameLabel()->text(), u"Weekends"_s);
    QCOMPARE(view.row(1)->summaryLabel()->text(), u"Weekly on Sun, Sat at 06:05"_s);
    QCOMPARE(view.row(1)->nextRunLabel()->text(), u"Next: Mar 15, 2025, 6:05\u202FAM"_s);
    QVERIFY(!shown(view.row(1)->lastRunLabel()));
    QCOMPARE(view.row(2)->nameLabel()->text(), u"Often"_s);
    QCOMPARE(view.row(2)->summaryLabel()->text(), u"Every 6 hours"_s);
    QCOMPARE(view.row(2)->targetsLabel()->text(), u"0 device(s): "_s);
    QCOMPARE(view.row(2)->nextRunLabel()->text(), u"Next: Mar 14, 2025, 2:30\u202FPM"_s);

    // The name leads, the dates trail.
    QVERIFY(first->nameLabel()->x() > first->enabledSwitch()->x());
    QVERIFY(first->nextRunLabel()->x() > first->nameLabel()->x());
    QVERIFY(view.row(0)->y() < view.row(1)->y());
    QVERIFY(view.row(1)->y() < view.row(2)->y());
}

void TestScheduleListView::targetsLineNamesThreeDevicesAtMost_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QString>("line");
    QTest::newRow("five") << QStringList{u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s} << u"5 device(s): A, B, C\u2026"_s;
    QTest::newRow("four") << QStringList{u"A"_s, u"B"_s, u"C"_s, u"D"_s} << u"4 device(s): A, B, C\u2026"_s;
    QTest::newRow("three") << QStringList{u"A"_s, u"B"_s, u"C"_s} << u"3 device(s): A, B, C"_s;
    QTest::newRow("one") << QStringList{u"A"_s} << u"1 device(s): A"_s;
    QTest::newRow("none") << QStringList{} << u"0 device(s): "_s;
}

void TestScheduleListView::targetsLineNamesThreeDevicesAtMost()
{
    QFETCH(QStringList, names);
    QFETCH(QString, line);
    addJob(u"Devices"_s, RecurrenceRule::dailyAt(9, 0), named(names));
    ScheduleListView &view = makeView();
    QCOMPARE(view.row(0)->targetsLabel()->text(), line);
    QCOMPARE(JobRow::targetsLine(named(names)), line);
}

void TestScheduleListView::jobWithoutNextRunShowsNoNextLine()
{
    // A one-off date that has passed has no next run.
    addJob(u"Back then"_s, RecurrenceRule::once(utc(2025, 3, 10, 9)));
    QCOMPARE(state->jobs().first().nextRunAt, std::nullopt);
    ScheduleListView &view = makeView();
    JobRow *row = view.row(0);
    QCOMPARE(row->summaryLabel()->text(), u"Once, on Mar 10, 2025, 9:00\u202FAM"_s);
    QVERIFY(!shown(row->nextRunLabel()));
    QVERIFY(!shown(row->lastRunLabel()));
    for (const QLabel *label : row->findChildren<QLabel *>()) {
        if (shown(label)) {
            QVERIFY2(!label->text().startsWith(u"Next: "_s), qPrintable(label->text()));
            QVERIFY2(!label->text().startsWith(u"Last: "_s), qPrintable(label->text()));
        }
    }
}

void TestScheduleListView::jobThatWaitsForEachDeviceSaysSo()
{
    ScheduledJob waiting = addJob(u"Nightly"_s, RecurrenceRule::dailyAt(3, 0), named({u"Lobby"_s}));
    waiting.waitForOnline = ScheduledJob::WaitForOnline{};
    state->updateJob(waiting);
    addJob(u"Plain"_s, RecurrenceRule::dailyAt(4, 0), named({u"Hall"_s}));
    ScheduleListView &view = makeView();
    QCOMPARE(view.row(0)->summaryLabel()->text(), u"Daily at 03:00 \u00b7 waits for each device"_s);
    QVERIFY(view.row(0)->description().contains(u"waits for each device"_s));
    QVERIFY(!view.row(1)->summaryLabel()->text().contains(u"waits"_s));
}

void TestScheduleListView::rowsNameTheSiteWhenThereAreSeveral()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    ScheduledJob dock = addJob(u"Dock"_s, RecurrenceRule::dailyAt(3, 0), named({u"Loading Dock"_s}));
    dock.site = QString::fromLatin1(Sim::demoWarehouseSite);
    state->updateJob(dock);
    addJob(u"Office"_s, RecurrenceRule::dailyAt(4, 0), named({u"Lobby"_s}));
    ScheduledJob doors = addJob(u"Doors"_s, RecurrenceRule::dailyAt(5, 0));
    doors.targets = {{RestartTargetKind::camera, u"61f0c2a3"_s, u"Door Cam"_s}};
    state->updateJob(doors);
    ScheduleListView &view = makeView();
    // Before the sites are known (or with one), the rows say nothing of sites.
    QCOMPARE(view.row(0)->targetsLabel()->text(), u"1 device(s): Loading Dock"_s);
    connectTo(sim);
    QCOMPARE(view.row(0)->targetsLabel()->text(), u"Warehouse \u00b7 1 device(s): Loading Dock"_s);
    QCOMPARE(view.row(1)->targetsLabel()->text(), u"Default \u00b7 1 device(s): Lobby"_s);
    // Cameras belong to the console: a job of cameras alone names no site.
    QCOMPARE(view.row(2)->targetsLabel()->text(), u"1 device(s): Door Cam"_s);
    QVERIFY(view.row(0)->description().contains(u"Warehouse"_s));
    QVERIFY(view.list()->item(0)->data(Qt::AccessibleDescriptionRole).toString().contains(u"Warehouse"_s));
}

void TestScheduleListView::longNamesEndInAnEllipsis()
{
    const QString name = u"Once, after the firmware update of every access point on the third floor and in the "
                         u"warehouse, the lobby and the car park"_s;
    addJob(name, RecurrenceRule::dailyAt(9, 0), named({u"Lobby"_s}));
    ScheduleListView &view = makeView();
    JobRowLabel *label = view.row(0)->nameLabel();
    QCOMPARE(label->text(), name);
    QVERIFY(label->shownText().endsWith(u'\u2026'));
    QVERIFY(label->shownText().size() < name.size());
    QVERIFY(view.row(0)->width() <= view.list()->viewport()->width());
    QVERIFY(!view.list()->horizontalScrollBar()->isVisible());
    QCOMPARE(accessibleName(label), name);
}

void TestScheduleListView::clickingARowOpensItsEditorButTheSwitchDoesNot()
{
    addJob(u"First"_s);
    const ScheduledJob second = addJob(u"Second"_s, RecurrenceRule::everyInterval(2));
    ScheduleListView &view = makeView();
    JobRow *row = view.row(1);

    // On its text, on its empty parts, on the list around it: each opens this job's editor.
    const QList<std::pair<QWidget *, QPoint>> places{
        {row->nameLabel(), row->nameLabel()->rect().center()},
        {row->targetsLabel(), row->targetsLabel()->rect().center()},
        {row, QPoint(row->width() / 2, row->height() - 2)},
        {view.list()->viewport(), view.list()->visualItemRect(view.list()->item(1)).bottomRight() - QPoint(2, 2)},
    };
    for (const auto &[widget, position] : places) {
        QTest::mouseClick(widget, Qt::LeftButton, {}, position);
        QVERIFY2(view.editor(), widget->metaObject()->className());
        QCOMPARE(view.editingJob(), std::optional<ScheduledJob>(second));
        QVERIFY(!view.isPresentingNewJob());
        QCOMPARE(view.editor()->windowTitle(), u"Edit Schedule"_s);
        QCOMPARE(view.editor()->existingJob(), std::optional<ScheduledJob>(second));
        QTest::keyClick(view.editor()->nameField(), Qt::Key_Escape);
        QVERIFY(!view.editor());
        QCOMPARE(view.editingJob(), std::nullopt);
    }

    // The switch flips the job and opens nothing.
    QTest::mouseClick(row->enabledSwitch(), Qt::LeftButton);
    QVERIFY(!view.editor());
    QCOMPARE(view.editingJob(), std::nullopt);
    QVERIFY(!state->jobs().at(1).isEnabled);

    // A click with Ctrl adds to the selection instead.
    QTest::mouseClick(view.row(0)->nameLabel(), Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(!view.editor());
    QVERIFY(view.list()->item(0)->isSelected());
}

void TestScheduleListView::returnOnARowOpensItsEditor()
{
    addJob(u"First"_s);
    const ScheduledJob second = addJob(u"Second"_s);
    ScheduleListView &view = makeView();
    view.list()->setFocus();
    view.list()->setCurrentRow(1);
    QTest::keyClick(view.list(), Qt::Key_Return);
    QVERIFY(view.editor());
    QCOMPARE(view.editingJob(), std::optional<ScheduledJob>(second));
}

void TestScheduleListView::savingInTheEditorUpdatesTheRow()
{
    const ScheduledJob first = addJob(u"First"_s, RecurrenceRule::dailyAt(9, 0), named({u"Lobby"_s}));
    ScheduleListView &view = makeView();
    QTest::mouseClick(view.row(0)->nameLabel(), Qt::LeftButton);
    ScheduleEditView *editor = view.editor();
    QVERIFY(editor);
    editor->nameField()->selectAll();
    QTest::keyClicks(editor->nameField(), u"Renamed"_s);
    QTest::mouseClick(editor->frequencyButton(RuleType::interval), Qt::LeftButton);
    QTest::mouseClick(editor->confirmButton(), Qt::LeftButton);
    QVERIFY(!view.editor());
    QCOMPARE(view.editingJob(), std::nullopt);

    QCOMPARE(state->jobs().size(), 1);
    QCOMPARE(state->jobs().first().id, first.id);
    QCOMPARE(view.row(0)->nameLabel()->text(), u"Renamed"_s);
    QCOMPARE(view.row(0)->summaryLabel()->text(), u"Every 24 hours"_s);
    // The editor drops devices that are not loaded now; none are.
    QCOMPARE(view.row(0)->targetsLabel()->text(), u"0 device(s): "_s);
    QCOMPARE(view.row(0)->nextRunLabel()->text(), u"Next: Mar 15, 2025, 8:30\u202FAM"_s);
    QCOMPARE(savedJobs(), state->jobs());
}

void TestScheduleListView::switchingAJobOffAndOnGoesThroughTheState()
{
    addJob(u"Mornings"_s, RecurrenceRule::dailyAt(9, 0));
    ScheduleListView &view = makeView();
    const QPointer<JobRow> row = view.row(0);
    QCheckBox *toggle = row->enabledSwitch();
    QVERIFY(toggle->isChecked());

    QTest::mouseClick(toggle, Qt::LeftButton);
    QVERIFY(!state->jobs().first().isEnabled);
    QVERIFY(!savedJobs().first().isEnabled);
    QVERIFY(!toggle->isChecked());
    QCOMPARE(row->job(), state->jobs().first());
    // Disabling leaves the next run as it was.
    QCOMPARE(state->jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 14, 9)));

    // Back on after 09:00: the next run moves to tomorrow.
    now = utc(2025, 3, 14, 10);
    QTest::mouseClick(toggle, Qt::LeftButton);
    QVERIFY(state->jobs().first().isEnabled);
    QCOMPARE(savedJobs(), state->jobs());
    QVERIFY(toggle->isChecked());
    QCOMPARE(state->jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 9)));
    QCOMPARE(row->nextRunLabel()->text(), u"Next: Mar 15, 2025, 9:00\u202FAM"_s);
    // The same row, updated in place.
    QCOMPARE(view.row(0), row.data());

    // Switched by the state from elsewhere: the switch follows.
    state->setJob(state->jobs().first(), false);
    QVERIFY(!toggle->isChecked());
    // Switched as assistive technologies do, without a click.
    toggle->toggle();
    QVERIFY(state->jobs().first().isEnabled);
}

void TestScheduleListView::deleteKeyRemovesTheSelectedRows()
{
    QList<ScheduledJob> jobs;
    for (const QString &name : {u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s})
        jobs.append(addJob(name));
    ScheduleListView &view = makeView();
    activate();
    QVERIFY(!view.deleteAction()->isEnabled());

    // B and D: Ctrl-clicks select without opening anything.
    QTest::mouseClick(view.row(1)->nameLabel(), Qt::LeftButton, Qt::ControlModifier);
    QTest::mouseClick(view.row(3)->nameLabel(), Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(!view.editor());
    QCOMPARE(view.list()->selectedItems().size(), 2);
    QVERIFY(view.deleteAction()->isEnabled());
    view.list()->setFocus();
    QTest::keyClick(view.list(), Qt::Key_Delete);

    // Exactly the selected jobs go, at once, with nothing asked.
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(state->jobs(), (QList<ScheduledJob>{jobs.at(0), jobs.at(2), jobs.at(4)}));
    QCOMPARE(savedJobs(), state->jobs());
    QCOMPARE(view.list()->count(), 3);
    QCOMPARE(view.row(1)->nameLabel()->text(), u"C"_s);
    QVERIFY(!view.deleteAction()->isEnabled());

    // Nothing selected: the key does nothing.
    QTest::keyClick(view.list(), Qt::Key_Delete);
    QCOMPARE(state->jobs().size(), 3);
}

void TestScheduleListView::rowMenuDeletesTheRowWithoutAsking()
{
    const ScheduledJob first = addJob(u"First"_s);
    addJob(u"Second"_s);
    const ScheduledJob third = addJob(u"Third"_s);
    ScheduleListView &view = makeView();
    const QPoint onSecond = view.list()->visualItemRect(view.list()->item(1)).center();
    // A right click selects the row under it and asks for its menu; it opens no editor.
    QTest::mousePress(view.list()->viewport(), Qt::RightButton, {}, onSecond);
    QContextMenuEvent request(QContextMenuEvent::Mouse, onSecond, view.list()->viewport()->mapToGlobal(onSecond));
    QApplication::sendEvent(view.list()->viewport(), &request);
    QTest::mouseRelease(view.list()->viewport(), Qt::RightButton, {}, onSecond);
    QVERIFY(!view.editor());
    QCOMPARE(view.list()->selectedItems(), QList<QListWidgetItem *>{view.list()->item(1)});
    QMenu *menu = view.rowMenu();
    QTRY_VERIFY(menu->isVisible());
    QCOMPARE(menu->actions().size(), 1);
    QAction *remove = menu->actions().first();
    QCOMPARE(remove->text(), u"Delete"_s);
    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(remove).center());
    QTRY_VERIFY(!menu->isVisible());
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(state->jobs(), (QList<ScheduledJob>{first, third}));
    QCOMPARE(savedJobs(), state->jobs());
}

void TestScheduleListView::schedulerRunShowsItsLastRunAtOnce()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    QVERIFY(state->isLoggedIn());
    addJob(u"Nine"_s, RecurrenceRule::dailyAt(9, 0), firstAccessPoints(1));
    ScheduleListView &view = makeView();
    JobRow *row = view.row(0);
    QVERIFY(!shown(row->lastRunLabel()));
    QCOMPARE(row->nextRunLabel()->text(), u"Next: Mar 14, 2025, 9:00\u202FAM"_s);

    now = utc(2025, 3, 14, 9, 0, 10);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QVERIFY(finished.wait(30000));
    QCOMPARE(state->jobs().first().lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(restartedMacs(sim), QStringList{state->accessPoints().first().mac});
    // No prompting needed: the row has followed the published jobs.
    QCOMPARE(view.row(0), row);
    QVERIFY(shown(row->lastRunLabel()));
    QCOMPARE(row->lastRunLabel()->text(), u"Last: Mar 14, 2025, 9:00\u202FAM"_s);
    QCOMPARE(row->nextRunLabel()->text(), u"Next: Mar 15, 2025, 9:00\u202FAM"_s);
}

void TestScheduleListView::controlsAreNamed()
{
    addJob(u"Mornings"_s);
    addJob(u"Evenings"_s);
    ScheduleListView &view = makeView();
    QCOMPARE(accessibleName(view.newScheduleButton()), u"New Schedule"_s);
    // The switches have no visible label: each is named after its job.
    QCOMPARE(accessibleName(view.row(0)->enabledSwitch()), u"Mornings"_s);
    QCOMPARE(accessibleName(view.row(1)->enabledSwitch()), u"Evenings"_s);
    QCOMPARE(view.list()->item(1)->data(Qt::AccessibleTextRole).toString(), u"Evenings"_s);
    QAccessibleInterface *list = QAccessible::queryAccessibleInterface(view.list());
    QVERIFY(list);
    bool found = false;
    for (int index = 0; index < list->childCount(); ++index)
        found = found || list->child(index)->text(QAccessible::Name) == u"Evenings"_s;
    QVERIFY(found);
    // Every text a row shows reaches assistive technology: the name, then the rule, the devices
    // and the runs as the description.
    QAccessibleInterface *evenings = nullptr;
    for (int index = 0; index < list->childCount(); ++index) {
        if (list->child(index)->text(QAccessible::Name) == u"Evenings"_s)
            evenings = list->child(index);
    }
    QVERIFY(evenings);
    const JobRow *row = view.row(1);
    const QString description = evenings->text(QAccessible::Description);
    for (const QLabel *label : {row->summaryLabel(), row->targetsLabel(), row->nextRunLabel()}) {
        QVERIFY(!label->text().isEmpty());
        QVERIFY2(description.contains(label->text()), qPrintable(description));
    }
    QCOMPARE(accessibleName(view.row(1)), u"Evenings"_s);
    QCOMPARE(QAccessible::queryAccessibleInterface(view.row(1))->text(QAccessible::Description), description);
    // A rename reaches the name at once.
    ScheduledJob renamed = state->jobs().at(1);
    renamed.name = u"Nights"_s;
    state->updateJob(renamed);
    QCOMPARE(accessibleName(view.row(1)->enabledSwitch()), u"Nights"_s);
    QCOMPARE(view.list()->item(1)->data(Qt::AccessibleTextRole).toString(), u"Nights"_s);
}

QTEST_MAIN(TestScheduleListView)
#include "tst_schedulelistview.moc"
