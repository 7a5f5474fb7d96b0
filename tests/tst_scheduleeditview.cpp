// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include "Schedules/RecurrenceRuleNextRun.h"
#include "State/JobList.h"
#include "Views/DeviceListModel.h"
#include "Views/ScheduleEditView.h"
#include "Views/WeekdayCell.h"
#include "Views/WeekdayPicker.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimeEdit>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

/// The schedule editor: what a new and an existing job open with, when the confirm button is on,
/// the limits of its pickers and steppers, and the job that saving hands to the application state
/// and its jobs file. The state's clock stands at 2025-03-14 08:30 UTC, en_US, UTC.
class TestScheduleEditView final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup();

    void newJobStartsEveryDayAtThreeEveryTwentyFourHours();
    void newJobWithNoDevicesShowsTheNoteAndCannotBeCreated();
    void existingJobOpensWithItsFields_data();
    void existingJobOpensWithItsFields();
    void devicesAreTogglesInAccessPointThenCameraOrder();
    void editingAJobWhoseDevicesAreNotLoadedDropsThem();
    void editingKeepsIdEnabledFlagAndLastRun();
    void runThatEndedWhileTheEditorWasOpenKeepsItsRunTimes();
    void confirmNeedsANameADeviceAndAWeekdayWhenWeekly();
    void intervalStepperStopsAtOneAndOneHundredSixtyEight();
    void staggerStepperMovesInFivesBetweenZeroAndThreeHundred();
    void pastOnceDateIsShownButOnlyTheFutureCanBePicked();
    void newOnceJobCannotBePickedBeforeNow();
    void savingBuildsTheRuleOfEachFrequency_data();
    void savingBuildsTheRuleOfEachFrequency();
    void escapeClosesWithoutSaving();
    void cancelClosesWithoutSaving();
    void controlsAreNamedByTheirLabels();
    void tabOrderFollowsTheLayout();
    void waitingForEachDeviceIsSavedAndShown();
    void jobsKeepTheSiteTheyWereMadeOn();

private:
    ScheduleEditView &openEditor(std::optional<ScheduledJob> existing = std::nullopt);
    [[nodiscard]] bool jobsFileExists() const { return QFile::exists(jobsFilePath()); }
    static QString accessibleName(QWidget *widget);
    static QDateTime utc(int year, int month, int day, int hour, int minute = 0)
    {
        return QDateTime(QDate(year, month, day), QTime(hour, minute), QTimeZone::utc());
    }
    /// Whether widget is shown within the editor (it may be hidden with its form row).
    static bool shown(const QWidget *widget) { return widget->isVisibleTo(widget->window()); }

    std::unique_ptr<DeviceListModel> m_devices;
    std::unique_ptr<ScheduleEditView> m_editor;
};

void TestScheduleEditView::cleanup()
{
    m_editor.reset();
    m_devices.reset();
    StateFixture::cleanup();
}

ScheduleEditView &TestScheduleEditView::openEditor(std::optional<ScheduledJob> existing)
{
    if (!state)
        makeState();
    if (!m_devices)
        m_devices = std::make_unique<DeviceListModel>(*state);
    m_editor = std::make_unique<ScheduleEditView>(*state, *m_devices, std::move(existing));
    m_editor->open();
    return *m_editor;
}

QString TestScheduleEditView::accessibleName(QWidget *widget)
{
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(widget);
    return accessible ? accessible->text(QAccessible::Name) : QString();
}

void TestScheduleEditView::newJobStartsEveryDayAtThreeEveryTwentyFourHours()
{
    ScheduleEditView &editor = openEditor();
    QVERIFY(editor.isVisible());
    QVERIFY(editor.isModal());
    QCOMPARE(editor.windowTitle(), u"New Schedule"_s);
    QVERIFY(!editor.existingJob());
    QCOMPARE(editor.name(), u"Restart Devices"_s);
    QCOMPARE(editor.nameField()->text(), u"Restart Devices"_s);
    QCOMPARE(editor.nameField()->placeholderText(), u"Schedule name"_s);
    QVERIFY(editor.selectedTargetIDs().isEmpty());
    QCOMPARE(editor.ruleType(), RuleType::interval);
    QCOMPARE(editor.onceDate(), now);
    QCOMPARE(editor.timeOfDay(), utc(2025, 3, 14, 3));
    QCOMPARE(editor.weekdays(), (std::set<qint64>{1, 2, 3, 4, 5, 6, 7}));
    QCOMPARE(editor.intervalHours(), 24);
    QCOMPARE(editor.staggerSeconds(), 20);

    // What shows: "Every N Hours" chosen, its stepper and caption, no date, time or weekdays.
    QVERIFY(editor.frequencyButton(RuleType::interval)->isChecked());
    QCOMPARE(editor.frequencyButton(RuleType::interval)->text(), u"Every N Hours"_s);
    QVERIFY(!editor.frequencyButton(RuleType::once)->isChecked());
    QVERIFY(shown(editor.intervalStepper()));
    QCOMPARE(editor.intervalStepper()->value(), 24);
    QCOMPARE(editor.intervalLabel()->text(), u"Every 24 hours"_s);
    QCOMPARE(editor.intervalCaption()->text(), u"First run will be 24 hours after saving."_s);
    QVERIFY(!shown(editor.runAtPicker()));
    QVERIFY(!shown(editor.timePicker()));
    QVERIFY(!shown(editor.weekdayPicker()));
    QCOMPARE(editor.staggerStepper()->value(), 20);
    QCOMPARE(editor.staggerLabel()->text(), u"20 seconds between each device"_s);
    QVERIFY(editor.findChild<QLabel *>(QString(), Qt::FindChildrenRecursively) != nullptr);
    QStringList texts;
    for (const QLabel *label : editor.findChildren<QLabel *>())
        texts.append(label->text());
    for (const QString &text : {u"New Schedule"_s, u"Name"_s, u"Devices"_s, u"Repeats"_s, u"Frequency"_s, u"Stagger"_s,
                                u"Spacing out restarts avoids dropping wifi/camera coverage all at once."_s})
        QVERIFY2(texts.contains(text), qPrintable(text));
    QCOMPARE(editor.cancelButton()->text(), u"Cancel"_s);
    QCOMPARE(editor.confirmButton()->text(), u"Create"_s);

    // Switching to the other kinds shows their pickers with the starting values.
    QTest::mouseClick(editor.frequencyButton(RuleType::weekly), Qt::LeftButton);
    QCOMPARE(editor.ruleType(), RuleType::weekly);
    QVERIFY(shown(editor.timePicker()));
    QVERIFY(shown(editor.weekdayPicker()));
    QVERIFY(!shown(editor.intervalStepper()));
    QCOMPARE(editor.timePicker()->time(), QTime(3, 0));
    for (int weekday = 1; weekday <= 7; ++weekday)
        QVERIFY(editor.weekdayPicker()->cell(weekday)->isChecked());
    QTest::mouseClick(editor.frequencyButton(RuleType::once), Qt::LeftButton);
    QVERIFY(shown(editor.runAtPicker()));
    QVERIFY(!shown(editor.timePicker()));
    QCOMPARE(editor.runAtPicker()->dateTime(), now);
}

void TestScheduleEditView::newJobWithNoDevicesShowsTheNoteAndCannotBeCreated()
{
    ScheduleEditView &editor = openEditor();
    QVERIFY(editor.allTargets().isEmpty());
    QVERIFY(editor.deviceToggles().isEmpty());
    QVERIFY(shown(editor.noDevicesNote()));
    QCOMPARE(editor.noDevicesNote()->text(), u"No devices loaded. Connect and refresh from the Devices tab first."_s);
    QCOMPARE(editor.confirmButton()->text(), u"Create"_s);
    QVERIFY(!editor.confirmButton()->isEnabled());
    QVERIFY(!editor.canSave());
    // A disabled button does nothing when clicked.
    QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);
    QVERIFY(editor.isVisible());
    QVERIFY(state->jobs().isEmpty());
    QVERIFY(!jobsFileExists());
}

void TestScheduleEditView::existingJobOpensWithItsFields_data()
{
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::addColumn<RuleType>("ruleType");
    QTest::addColumn<QDateTime>("onceDate");
    QTest::addColumn<QDateTime>("timeOfDay");
    QTest::addColumn<QList<qint64>>("weekdays");
    QTest::addColumn<qint64>("intervalHours");

    const QDateTime now(QDate(2025, 3, 14), QTime(8, 30), QTimeZone::utc());
    const QDateTime three = utc(2025, 3, 14, 3);
    QTest::newRow("once") << RecurrenceRule::once(utc(2025, 4, 1, 12, 15)) << RuleType::once << utc(2025, 4, 1, 12, 15)
                          << three << QList<qint64>{} << qint64(24);
    QTest::newRow("daily") << RecurrenceRule::dailyAt(7, 45) << RuleType::daily << now << utc(2025, 3, 14, 7, 45)
                           << QList<qint64>{} << qint64(24);
    QTest::newRow("weekly") << RecurrenceRule::weeklyAt({6, 2}, 22, 5) << RuleType::weekly << now
                            << utc(2025, 3, 14, 22, 5) << QList<qint64>{2, 6} << qint64(24);
    QTest::newRow("interval") << RecurrenceRule::everyInterval(6) << RuleType::interval << now << three
                              << QList<qint64>{} << qint64(6);
}

void TestScheduleEditView::existingJobOpensWithItsFields()
{
    QFETCH(RecurrenceRule, rule);
    QFETCH(RuleType, ruleType);
    QFETCH(QDateTime, onceDate);
    QFETCH(QDateTime, timeOfDay);
    QFETCH(QList<qint64>, weekdays);
    QFETCH(qint64, intervalHours);

    const ScheduledJob existing =
        job(u"Nightly"_s,
            {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}, {RestartTargetKind::camera, u"c1"_s, u"Door"_s}},
            rule, 35);
    ScheduleEditView &editor = openEditor(existing);
    QCOMPARE(editor.windowTitle(), u"Edit Schedule"_s);
    QCOMPARE(editor.confirmButton()->text(), u"Save"_s);
    QCOMPARE(editor.existingJob(), std::optional<ScheduledJob>(existing));
    QCOMPARE(editor.name(), u"Nightly"_s);
    QCOMPARE(editor.nameField()->text(), u"Nightly"_s);
    QCOMPARE(editor.selectedTargetIDs(), (QSet<QString>{u"accessPoint:aa:bb"_s, u"camera:c1"_s}));
    QCOMPARE(editor.ruleType(), ruleType);
    QVERIFY(editor.frequencyButton(ruleType)->isChecked());
    QCOMPARE(editor.onceDate(), onceDate);
    QCOMPARE(editor.timeOfDay(), timeOfDay);
    QCOMPARE(editor.weekdays(), std::set<qint64>(weekdays.cbegin(), weekdays.cend()));
    QCOMPARE(editor.intervalHours(), intervalHours);
    QCOMPARE(editor.staggerSeconds(), 35);
    QCOMPARE(editor.staggerLabel()->text(), u"35 seconds between each device"_s);

    QCOMPARE(shown(editor.runAtPicker()), ruleType == RuleType::once);
    QCOMPARE(shown(editor.timePicker()), ruleType == RuleType::daily || ruleType == RuleType::weekly);
    QCOMPARE(shown(editor.weekdayPicker()), ruleType == RuleType::weekly);
    QCOMPARE(shown(editor.intervalStepper()), ruleType == RuleType::interval);
    QCOMPARE(editor.runAtPicker()->dateTime(), onceDate);
    QCOMPARE(editor.timePicker()->time(), timeOfDay.time());
    QCOMPARE(editor.intervalStepper()->value(), intervalHours);
    for (int weekday = 1; weekday <= 7; ++weekday)
        QCOMPARE(editor.weekdayPicker()->cell(weekday)->isChecked(), weekdays.contains(weekday));
}

void TestScheduleEditView::devicesAreTogglesInAccessPointThenCameraOrder()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    QVERIFY(state->isLoggedIn());
    QVERIFY(state->accessPoints().size() >= 2);
    QVERIFY(!state->cameras().isEmpty());

    ScheduleEditView &editor = openEditor();
    const QList<RestartTarget> targets = editor.allTargets();
    QCOMPARE(targets.size(), state->accessPoints().size() + state->cameras().size());
    for (qsizetype index = 0; index < state->accessPoints().size(); ++index) {
        const UnifiDevice &ap = state->accessPoints().at(index);
        QCOMPARE(targets.at(index), (RestartTarget{RestartTargetKind::accessPoint, ap.mac, ap.name}));
    }
    const ProtectCamera &firstCamera = state->cameras().first();
    QCOMPARE(targets.at(state->accessPoints().size()),
             (RestartTarget{RestartTargetKind::camera, firstCamera.id, firstCamera.name}));

    QVERIFY(!shown(editor.noDevicesNote()));
    QCOMPARE(editor.deviceToggles().size(), targets.size());
    for (qsizetype index = 0; index < targets.size(); ++index) {
        QCheckBox *toggle = editor.deviceToggles().at(index);
        QCOMPARE(toggle->text(), targets.at(index).displayName);
        QVERIFY(!toggle->icon().isNull());
        QVERIFY(!toggle->isChecked());
    }
    // Cameras and access points have different pictures.
    const auto picture = [](const QCheckBox *toggle) { return toggle->icon().pixmap(16, 16).toImage(); };
    QCOMPARE(picture(editor.deviceToggles().first()), picture(editor.deviceToggles().at(1)));
    QVERIFY(picture(editor.deviceToggles().first()) != picture(editor.deviceToggles().last()));

    QVERIFY(!editor.confirmButton()->isEnabled());
    editor.deviceToggles().at(1)->click();
    QCOMPARE(editor.selectedTargetIDs(), QSet<QString>{targets.at(1).id()});
    QVERIFY(editor.confirmButton()->isEnabled());
    editor.deviceToggles().at(1)->click();
    QVERIFY(editor.selectedTargetIDs().isEmpty());
    QVERIFY(!editor.confirmButton()->isEnabled());
}

void TestScheduleEditView::editingAJobWhoseDevicesAreNotLoadedDropsThem()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    const UnifiDevice ap = state->accessPoints().at(1);
    const RestartTarget loaded{RestartTargetKind::accessPoint, ap.mac, ap.name};
    const RestartTarget gone{RestartTargetKind::camera, u"no-such-camera"_s, u"Old camera"_s};
    state->addJob(job(u"Mixed"_s, {gone, loaded}, RecurrenceRule::dailyAt(4, 0)));
    const ScheduledJob existing = state->jobs().first();

    ScheduleEditView &editor = openEditor(existing);
    // The confirm button goes by the selected ids, which still hold both.
    QCOMPARE(editor.selectedTargetIDs(), (QSet<QString>{gone.id(), loaded.id()}));
    QVERIFY(editor.confirmButton()->isEnabled());
    QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);
    QVERIFY(!editor.isVisible());
    QCOMPARE(editor.result(), int(QDialog::Accepted));
    QCOMPARE(state->jobs().size(), 1);
    QCOMPARE(state->jobs().first().id, existing.id);
    QCOMPARE(state->jobs().first().targets, QList<RestartTarget>{loaded});
    QCOMPARE(savedJobs(), state->jobs());
}

void TestScheduleEditView::runThatEndedWhileTheEditorWasOpenKeepsItsRunTimes()
{
    ScheduledJob existing = job(u"Weekend"_s, {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}},
                                RecurrenceRule::weeklyAt({1, 7}, 6, 0), 10);
    existing.isEnabled = false;
    existing.lastRunAt = utc(2025, 3, 9, 6);
    existing.nextRunAt = utc(2025, 3, 15, 6);
    store->save({existing});
    makeState();
    ScheduleEditView &editor = openEditor(existing);
    // A run ends while the person types: it records its own times.
    now = utc(2025, 3, 15, 6, 1);
    state->jobList().recordRun(state->jobs().first());
    const ScheduledJob ran = state->jobs().first();
    QCOMPARE(ran.lastRunAt, std::optional<QDateTime>(now));
    editor.nameField()->selectAll();
    QTest::keyClicks(editor.nameField(), u"Weekend mornings"_s);
    QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);
    const ScheduledJob saved = state->jobs().first();
    QCOMPARE(saved.name, u"Weekend mornings"_s);
    QCOMPARE(saved.lastRunAt, ran.lastRunAt);
    QCOMPARE(saved.nextRunAt, ran.nextRunAt);
}

void TestScheduleEditView::editingKeepsIdEnabledFlagAndLastRun()
{
    // Nothing loaded at all: every target is dropped, and the button still follows the ids.
    ScheduledJob existing = job(u"Weekend"_s, {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}},
                                RecurrenceRule::weeklyAt({1, 7}, 6, 0), 10);
    existing.isEnabled = false;
    existing.lastRunAt = utc(2025, 3, 9, 6);
    existing.nextRunAt = utc(2025, 3, 15, 6);
    store->save({existing});
    makeState();

    ScheduleEditView &editor = openEditor(existing);
    QVERIFY(editor.confirmButton()->isEnabled());
    editor.nameField()->selectAll();
    QTest::keyClicks(editor.nameField(), u"Weekend mornings"_s);
    QCOMPARE(editor.name(), u"Weekend mornings"_s);
    QTest::keyClick(editor.staggerStepper(), Qt::Key_Up);
    QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);
    QVERIFY(!editor.isVisible());

    QCOMPARE(state->jobs().size(), 1);
    const ScheduledJob saved = state->jobs().first();
    QCOMPARE(saved.id, existing.id);
    QCOMPARE(saved.name, u"Weekend mornings"_s);
    QVERIFY(saved.targets.isEmpty());
    QCOMPARE(saved.rule, RecurrenceRule::weeklyAt({1, 7}, 6, 0));
    QVERIFY(!saved.isEnabled);
    QCOMPARE(saved.lastRunAt, existing.lastRunAt);
    QCOMPARE(saved.nextRunAt, existing.nextRunAt); // disabled: left as it was
    QCOMPARE(saved.staggerSeconds, 15);
    QCOMPARE(savedJobs(), state->jobs());
}

void TestScheduleEditView::confirmNeedsANameADeviceAndAWeekdayWhenWeekly()
{
    const ScheduledJob existing =
        job(u"Nightly"_s, {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}}, RecurrenceRule::dailyAt(1, 0));
    ScheduleEditView &editor = openEditor(existing);
    QVERIFY(editor.confirmButton()->isEnabled());

    // Weekly with every day deselected.
    QTest::mouseClick(editor.frequencyButton(RuleType::weekly), Qt::LeftButton);
    QVERIFY(editor.weekdays().empty()); // a daily job opens with no weekdays
    QVERIFY(!editor.confirmButton()->isEnabled());
    QTest::mouseClick(editor.weekdayPicker()->cell(4), Qt::LeftButton);
    QCOMPARE(editor.weekdays(), std::set<qint64>{4});
    QVERIFY(editor.confirmButton()->isEnabled());
    QTest::mouseClick(editor.weekdayPicker()->cell(4), Qt::LeftButton);
    QVERIFY(editor.weekdays().empty());
    QVERIFY(!editor.confirmButton()->isEnabled());
    // Other kinds do not care about weekdays.
    QTest::mouseClick(editor.frequencyButton(RuleType::daily), Qt::LeftButton);
    QVERIFY(editor.confirmButton()->isEnabled());

    // An empty name disables it; blanks are a name.
    editor.nameField()->selectAll();
    QTest::keyClick(editor.nameField(), Qt::Key_Backspace);
    QCOMPARE(editor.name(), QString());
    QVERIFY(!editor.confirmButton()->isEnabled());
    QTest::keyClicks(editor.nameField(), u"  "_s);
    QCOMPARE(editor.name(), u"  "_s);
    QVERIFY(editor.confirmButton()->isEnabled());
}

void TestScheduleEditView::intervalStepperStopsAtOneAndOneHundredSixtyEight()
{
    ScheduleEditView &editor = openEditor();
    QSpinBox *stepper = editor.intervalStepper();
    QCOMPARE(stepper->minimum(), 1);
    QCOMPARE(stepper->maximum(), 168);
    QCOMPARE(stepper->singleStep(), 1);

    QTest::keyClick(stepper, Qt::Key_Up);
    QCOMPARE(editor.intervalHours(), 25);
    QCOMPARE(editor.intervalLabel()->text(), u"Every 25 hours"_s);

    QTest::keyClick(stepper, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(stepper, u"2"_s);
    QCOMPARE(editor.intervalHours(), 2);
    QTest::keyClick(stepper, Qt::Key_Down);
    QCOMPARE(editor.intervalHours(), 1);
    QCOMPARE(editor.intervalLabel()->text(), u"Every 1 hour"_s);
    QCOMPARE(editor.intervalCaption()->text(), u"First run will be 1 hour after saving."_s);
    QTest::keyClick(stepper, Qt::Key_Down);
    QCOMPARE(stepper->value(), 1);
    QCOMPARE(editor.intervalHours(), 1);

    QTest::keyClick(stepper, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(stepper, u"167"_s);
    QCOMPARE(editor.intervalHours(), 167);
    QTest::keyClick(stepper, Qt::Key_Up);
    QCOMPARE(editor.intervalHours(), 168);
    QTest::keyClick(stepper, Qt::Key_Up);
    QTest::keyClick(stepper, Qt::Key_PageUp);
    QCOMPARE(stepper->value(), 168);
    QCOMPARE(editor.intervalHours(), 168);
    QCOMPARE(editor.intervalLabel()->text(), u"Every 168 hours"_s);
    QCOMPARE(editor.intervalCaption()->text(), u"First run will be 168 hours after saving."_s);
}

void TestScheduleEditView::staggerStepperMovesInFivesBetweenZeroAndThreeHundred()
{
    ScheduleEditView &editor = openEditor();
    QSpinBox *stepper = editor.staggerStepper();
    QCOMPARE(stepper->minimum(), 0);
    QCOMPARE(stepper->maximum(), 300);
    QCOMPARE(stepper->singleStep(), 5);

    QTest::keyClick(stepper, Qt::Key_Up);
    QCOMPARE(editor.staggerSeconds(), 25);
    QCOMPARE(editor.staggerLabel()->text(), u"25 seconds between each device"_s);
    for (int step = 0; step < 5; ++step)
        QTest::keyClick(stepper, Qt::Key_Down);
    QCOMPARE(editor.staggerSeconds(), 0);
    QCOMPARE(editor.staggerLabel()->text(), u"0 seconds between each device"_s);
    QTest::keyClick(stepper, Qt::Key_Down);
    QCOMPARE(editor.staggerSeconds(), 0);

    QTest::keyClick(stepper, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(stepper, u"295"_s);
    QCOMPARE(editor.staggerSeconds(), 295);
    QTest::keyClick(stepper, Qt::Key_Up);
    QCOMPARE(editor.staggerSeconds(), 300);
    QTest::keyClick(stepper, Qt::Key_Up);
    QCOMPARE(stepper->value(), 300);
    QCOMPARE(editor.staggerSeconds(), 300);
    QCOMPARE(editor.staggerLabel()->text(), u"300 seconds between each device"_s);
}

void TestScheduleEditView::pastOnceDateIsShownButOnlyTheFutureCanBePicked()
{
    const QDateTime past = utc(2025, 3, 10, 9, 15);
    const ScheduledJob existing =
        job(u"Back then"_s, {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}}, RecurrenceRule::once(past));
    ScheduleEditView &editor = openEditor(existing);
    QCOMPARE(editor.ruleType(), RuleType::once);
    QVERIFY(editor.frequencyButton(RuleType::once)->isChecked());
    QVERIFY(shown(editor.runAtPicker()));
    QCOMPARE(editor.runAtPicker()->dateTime(), past);
    QCOMPARE(editor.onceDate(), past);

    // One day on is still past: the picker moves to now, and nothing earlier can be picked again.
    QDateTimeEdit *picker = editor.runAtPicker();
    picker->setFocus();
    picker->setSelectedSection(QDateTimeEdit::DaySection);
    QTest::keyClick(picker, Qt::Key_Up);
    QCOMPARE(picker->dateTime(), now);
    QCOMPARE(editor.onceDate(), now);
    picker->setSelectedSection(QDateTimeEdit::DaySection);
    QTest::keyClick(picker, Qt::Key_Down);
    QCOMPARE(editor.onceDate(), now);
    QTest::keyClick(picker, Qt::Key_Up);
    QCOMPARE(picker->dateTime(), utc(2025, 3, 15, 8, 30));
    QCOMPARE(editor.onceDate(), utc(2025, 3, 15, 8, 30));
}

void TestScheduleEditView::newOnceJobCannotBePickedBeforeNow()
{
    ScheduleEditView &editor = openEditor();
    QTest::mouseClick(editor.frequencyButton(RuleType::once), Qt::LeftButton);
    QDateTimeEdit *picker = editor.runAtPicker();
    QCOMPARE(picker->dateTime(), now);
    picker->setFocus();
    picker->setSelectedSection(QDateTimeEdit::MinuteSection);
    QTest::keyClick(picker, Qt::Key_Down);
    QCOMPARE(picker->dateTime(), now);
    QCOMPARE(editor.onceDate(), now);
    picker->setSelectedSection(QDateTimeEdit::HourSection);
    QTest::keyClick(picker, Qt::Key_Up);
    QCOMPARE(editor.onceDate(), utc(2025, 3, 14, 9, 30));
}

void TestScheduleEditView::savingBuildsTheRuleOfEachFrequency_data()
{
    QTest::addColumn<RuleType>("ruleType");
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::newRow("once") << RuleType::once << RecurrenceRule::once(utc(2025, 3, 15, 8, 30));
    QTest::newRow("daily") << RuleType::daily << RecurrenceRule::dailyAt(7, 45);
    QTest::newRow("weekly") << RuleType::weekly << RecurrenceRule::weeklyAt({2, 3, 4, 5, 6}, 7, 45);
    QTest::newRow("interval") << RuleType::interval << RecurrenceRule::everyInterval(25);
}

void TestScheduleEditView::savingBuildsTheRuleOfEachFrequency()
{
    QFETCH(RuleType, ruleType);
    QFETCH(RecurrenceRule, rule);
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    ScheduleEditView &editor = openEditor();
    const QList<RestartTarget> targets = editor.allTargets();
    QVERIFY(targets.size() >= 3);

    // Chosen out of order: the job keeps the devices' own order.
    editor.deviceToggles().last()->click();
    editor.deviceToggles().at(1)->click();
    QTest::mouseClick(editor.frequencyButton(ruleType), Qt::LeftButton);
    QCOMPARE(editor.ruleType(), ruleType);
    switch (ruleType) {
    case RuleType::once:
        editor.runAtPicker()->setFocus();
        editor.runAtPicker()->setSelectedSection(QDateTimeEdit::DaySection);
        QTest::keyClick(editor.runAtPicker(), Qt::Key_Up);
        break;
    case RuleType::weekly:
        QTest::mouseClick(editor.weekdayPicker()->cell(1), Qt::LeftButton);
        QTest::mouseClick(editor.weekdayPicker()->cell(7), Qt::LeftButton);
        [[fallthrough]];
    case RuleType::daily:
        editor.timePicker()->setFocus();
        editor.timePicker()->setSelectedSection(QDateTimeEdit::HourSection);
        for (int step = 0; step < 4; ++step)
            QTest::keyClick(editor.timePicker(), Qt::Key_Up);
        editor.timePicker()->setSelectedSection(QDateTimeEdit::MinuteSection);
        QTest::keyClicks(editor.timePicker(), u"45"_s);
        QCOMPARE(editor.timePicker()->time(), QTime(7, 45));
        QCOMPARE(editor.timeOfDay(), utc(2025, 3, 14, 7, 45));
        break;
    case RuleType::interval:
        QTest::keyClick(editor.intervalStepper(), Qt::Key_Up);
        break;
    }
    QTest::keyClick(editor.staggerStepper(), Qt::Key_Down);
    QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);

    QVERIFY(!editor.isVisible());
    QCOMPARE(editor.result(), int(QDialog::Accepted));
    QCOMPARE(state->jobs().size(), 1);
    const ScheduledJob created = state->jobs().first();
    QVERIFY(!created.id.isNull());
    QCOMPARE(created.name, u"Restart Devices"_s);
    QCOMPARE(created.targets, (QList<RestartTarget>{targets.at(1), targets.last()}));
    QCOMPARE(created.rule, rule);
    QVERIFY(created.isEnabled);
    QCOMPARE(created.lastRunAt, std::nullopt);
    QCOMPARE(created.nextRunAt, nextRun(rule, now, calendar()));
    QVERIFY(created.nextRunAt.has_value());
    QCOMPARE(created.staggerSeconds, 15);
    QCOMPARE(savedJobs(), state->jobs());
}

void TestScheduleEditView::escapeClosesWithoutSaving()
{
    const ScheduledJob existing =
        job(u"Nightly"_s, {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}}, RecurrenceRule::dailyAt(1, 0));
    store->save({existing});
    makeState();
    const QDateTime written = QFileInfo(jobsFilePath()).lastModified();
    ScheduleEditView &editor = openEditor(existing);
    editor.nameField()->setFocus();
    QTest::keyClicks(editor.nameField(), u" changed"_s);
    QTest::keyClick(editor.nameField(), Qt::Key_Escape);
    QVERIFY(!editor.isVisible());
    QCOMPARE(editor.result(), int(QDialog::Rejected));
    QCOMPARE(state->jobs(), QList<ScheduledJob>{existing});
    QCOMPARE(savedJobs(), QList<ScheduledJob>{existing});
    QCOMPARE(QFileInfo(jobsFilePath()).lastModified(), written);

    // A new one: nothing is written at all.
    QFile::remove(jobsFilePath());
    ScheduleEditView &fresh = openEditor();
    QTest::keyClick(fresh.nameField(), Qt::Key_Escape);
    QVERIFY(!fresh.isVisible());
    QCOMPARE(state->jobs().size(), 1);
    QVERIFY(!jobsFileExists());
}

void TestScheduleEditView::cancelClosesWithoutSaving()
{
    const ScheduledJob existing =
        job(u"Nightly"_s, {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}}, RecurrenceRule::dailyAt(1, 0));
    ScheduleEditView &editor = openEditor(existing);
    QTest::mouseClick(editor.frequencyButton(RuleType::interval), Qt::LeftButton);
    QTest::mouseClick(editor.cancelButton(), Qt::LeftButton);
    QVERIFY(!editor.isVisible());
    QCOMPARE(editor.result(), int(QDialog::Rejected));
    QVERIFY(state->jobs().isEmpty());
    QVERIFY(!jobsFileExists());
}

void TestScheduleEditView::waitingForEachDeviceIsSavedAndShown()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    const ScheduledJob existing = job(u"Nightly"_s, firstAccessPoints(1), RecurrenceRule::dailyAt(3, 0), 20);
    state->addJob(existing);
    {
        ScheduleEditView &editor = openEditor(existing);
        QVERIFY(!editor.waitToggle()->isChecked());
        QVERIFY(!editor.waitMinutesStepper()->isEnabled());
        QVERIFY(!editor.whenNotBackPicker()->isEnabled());
        QCOMPARE(editor.waitMinutesStepper()->value(), 10);
        QCOMPARE(editor.whenNotBackPicker()->currentText(), u"Stop the job"_s);
        QTest::mouseClick(editor.waitToggle(), Qt::LeftButton, {}, QPoint(4, editor.waitToggle()->height() / 2));
        QVERIFY(editor.waitMinutesStepper()->isEnabled());
        QTest::keyClick(editor.waitMinutesStepper(), Qt::Key_Up);
        editor.whenNotBackPicker()->setCurrentIndex(1);
        QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);
    }
    const auto wait = state->jobs().first().waitForOnline;
    QVERIFY(wait);
    QCOMPARE(wait->minutes, 11);
    QCOMPARE(wait->whenNotBack, ScheduledJob::WaitForOnline::WhenNotBack::continueWithNextDevice);
    QCOMPARE(savedJobs(), state->jobs());
    // Opened again, it shows what was saved; switched off, the job is as it was.
    ScheduleEditView &again = openEditor(state->jobs().first());
    QVERIFY(again.waitToggle()->isChecked());
    QCOMPARE(again.waitMinutesStepper()->value(), 11);
    QCOMPARE(again.whenNotBackPicker()->currentIndex(), 1);
    again.waitToggle()->setChecked(false);
    QTest::mouseClick(again.confirmButton(), Qt::LeftButton);
    QVERIFY(!state->jobs().first().waitForOnline);
}

void TestScheduleEditView::jobsKeepTheSiteTheyWereMadeOn()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    makeState();
    connectTo(sim);
    const QString warehouse = QString::fromLatin1(Sim::demoWarehouseSite);
    await(state->chooseSite(warehouse));
    {
        ScheduleEditView &editor = openEditor();
        QCOMPARE(editor.deviceToggles().first()->text(), u"Loading Dock"_s);
        editor.deviceToggles().first()->setChecked(true);
        QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);
    }
    QCOMPARE(state->jobs().size(), 1);
    const ScheduledJob made = state->jobs().first();
    QCOMPARE(made.site, warehouse);
    QCOMPARE(savedJobs().first().site, warehouse);

    // Opened while another site is shown: its devices cannot be chosen from that site's list, and
    // saving keeps them and its site.
    await(state->chooseSite(u"default"_s));
    ScheduleEditView &editor = openEditor(made);
    QVERIFY(editor.deviceToggles().isEmpty());
    QVERIFY(shown(editor.noDevicesNote()));
    QCOMPARE(editor.noDevicesNote()->text(),
             u"1 device(s): Loading Dock\nThese devices are on site 'Warehouse'. Choose that site in Settings to "
             u"change them."_s);
    editor.nameField()->setText(u"Dock at night"_s);
    QVERIFY(editor.confirmButton()->isEnabled());
    QTest::mouseClick(editor.confirmButton(), Qt::LeftButton);
    const ScheduledJob saved = state->jobs().first();
    QCOMPARE(saved.name, u"Dock at night"_s);
    QCOMPARE(saved.site, warehouse);
    QCOMPARE(saved.targets, made.targets);
}

void TestScheduleEditView::controlsAreNamedByTheirLabels()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    ScheduleEditView &editor = openEditor();
    QCOMPARE(accessibleName(&editor), u"New Schedule"_s);
    QCOMPARE(accessibleName(editor.nameField()), u"Name"_s);
    for (QCheckBox *toggle : editor.deviceToggles())
        QCOMPARE(accessibleName(toggle), toggle->text());
    QCOMPARE(accessibleName(editor.frequencyButton(RuleType::once)->parentWidget()), u"Frequency"_s);
    for (const RuleType type : allRuleTypes)
        QCOMPARE(accessibleName(editor.frequencyButton(type)), ruleTypeTitle(type));
    QCOMPARE(accessibleName(editor.runAtPicker()), u"Run at"_s);
    QCOMPARE(accessibleName(editor.timePicker()), u"Time"_s);
    QCOMPARE(accessibleName(editor.intervalStepper()), u"Every 24 hours"_s);
    QTest::keyClick(editor.intervalStepper(), Qt::Key_Down);
    QCOMPARE(accessibleName(editor.intervalStepper()), u"Every 23 hours"_s);
    QCOMPARE(accessibleName(editor.staggerStepper()), u"20 seconds between each device"_s);
    QCOMPARE(accessibleName(editor.waitToggle()), u"Wait for each device to come back online"_s);
    QCOMPARE(accessibleName(editor.waitMinutesStepper()), u"up to"_s);
    // A combo box's name is its current item on Linux; its label comes as the labelled-by relation.
    QStringList labels;
    for (const auto &[label, relation] :
         QAccessible::queryAccessibleInterface(editor.whenNotBackPicker())->relations(QAccessible::Label))
        labels.append(label->text(QAccessible::Name));
    QCOMPARE(labels, QStringList{u"If one does not come back:"_s});
    QCOMPARE(accessibleName(editor.cancelButton()), u"Cancel"_s);
    QCOMPARE(accessibleName(editor.confirmButton()), u"Create"_s);
    // A tile shows one letter; its name is the day's short name, which begins with that letter.
    const QStringList days{u"Sun"_s, u"Mon"_s, u"Tue"_s, u"Wed"_s, u"Thu"_s, u"Fri"_s, u"Sat"_s};
    for (int weekday = 1; weekday <= 7; ++weekday) {
        WeekdayCell *cell = editor.weekdayPicker()->cell(weekday);
        QCOMPARE(cell->text(), days.at(weekday - 1).left(1));
        QCOMPARE(accessibleName(cell), days.at(weekday - 1));
    }
}

void TestScheduleEditView::tabOrderFollowsTheLayout()
{
    const ScheduledJob existing = job(u"Weekdays"_s, {{RestartTargetKind::accessPoint, u"aa:bb"_s, u"Lobby"_s}},
                                      RecurrenceRule::weeklyAt({2, 3}, 6, 0));
    ScheduleEditView &editor = openEditor(existing);
    QApplication::setActiveWindow(&editor);
    QVERIFY(QTest::qWaitForWindowActive(&editor));
    editor.nameField()->setFocus();
    QTRY_COMPARE(QApplication::focusWidget(), editor.nameField());

    // The frequency bar is one stop, at the chosen segment, like a group of radio buttons.
    QList<QWidget *> expected{editor.frequencyButton(RuleType::weekly), editor.timePicker()};
    for (int weekday = 1; weekday <= 7; ++weekday)
        expected.append(editor.weekdayPicker()->cell(weekday));
    expected.append(editor.staggerStepper());
    // The wait's fields are off until the wait is on.
    expected.append(editor.waitToggle());
    // Tab walks through the sections of a time picker before it leaves it.
    const auto tabToNextControl = [] {
        QWidget *from = QApplication::focusWidget();
        for (int press = 0; press < 4 && QApplication::focusWidget() == from; ++press)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        return QApplication::focusWidget();
    };
    QList<QWidget *> reached;
    for (qsizetype step = 0; step < expected.size(); ++step)
        reached.append(tabToNextControl());
    QCOMPARE(reached, expected);
    // Then the two buttons, in the order the desktop lays them out.
    QWidget *firstButton = tabToNextControl();
    QWidget *secondButton = tabToNextControl();
    QCOMPARE((QSet<QWidget *>{firstButton, secondButton}),
             (QSet<QWidget *>{editor.cancelButton(), editor.confirmButton()}));
    QVERIFY(firstButton->x() < secondButton->x());

    // Arrows move the choice along the bar.
    editor.frequencyButton(RuleType::weekly)->setFocus();
    QTest::keyClick(editor.frequencyButton(RuleType::weekly), Qt::Key_Right);
    QCOMPARE(editor.ruleType(), RuleType::interval);
    QCOMPARE(QApplication::focusWidget(), editor.frequencyButton(RuleType::interval));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Left);
    QCOMPARE(editor.ruleType(), RuleType::weekly);

    // Space on a focused tile switches its day.
    editor.weekdayPicker()->cell(5)->setFocus();
    QTest::keyClick(editor.weekdayPicker()->cell(5), Qt::Key_Space);
    QCOMPARE(editor.weekdays(), (std::set<qint64>{2, 3, 5}));
}

QTEST_MAIN(TestScheduleEditView)
#include "tst_scheduleeditview.moc"
