// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/RestartTarget.h"
#include "Models/ScheduledJob.h"
#include "Schedules/Calendar.h"
#include "Views/RuleType.h"

#include <QDateTime>
#include <QDialog>
#include <QList>
#include <QSet>
#include <QString>

#include <optional>
#include <set>

class QAbstractButton;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTimeEdit;
class QVBoxLayout;

namespace lanternfold {

class AppState;
class DeviceListModel;
class WeekdayPicker;

/// The sheet in which a person creates a scheduled job or changes one: its name, its devices,
/// when it repeats and how far apart its devices restart. It edits a copy of the fields and hands
/// the finished job to the application state only on saving. Open it with open(): it is modal to
/// its window and closes itself after saving or cancelling (Escape cancels).
class ScheduleEditView final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ScheduleEditView)

public:
    static constexpr int intervalHoursMinimum = 1;
    static constexpr int intervalHoursMaximum = 168;
    static constexpr int staggerSecondsMaximum = int(ScheduledJob::staggerSecondsMaximum);
    static constexpr int staggerSecondsStep = 5;

    /// existingJob absent: a new job. Its devices are devices' rows.
    ScheduleEditView(AppState &appState, DeviceListModel &devices, std::optional<ScheduledJob> existingJob,
                     QWidget *parent = nullptr);
    ~ScheduleEditView() override;

    [[nodiscard]] const std::optional<ScheduledJob> &existingJob() const { return m_existingJob; }
    [[nodiscard]] const QString &name() const { return m_name; }
    [[nodiscard]] const QSet<QString> &selectedTargetIDs() const { return m_selectedTargetIDs; }
    [[nodiscard]] RuleType ruleType() const { return m_ruleType; }
    [[nodiscard]] const QDateTime &onceDate() const { return m_onceDate; }
    [[nodiscard]] const QDateTime &timeOfDay() const { return m_timeOfDay; }
    [[nodiscard]] const std::set<qint64> &weekdays() const { return m_weekdays; }
    [[nodiscard]] qint64 intervalHours() const { return m_intervalHours; }
    [[nodiscard]] qint64 staggerSeconds() const { return m_staggerSeconds; }
    /// The waiting the job will do: none when the option is off.
    [[nodiscard]] std::optional<ScheduledJob::WaitForOnline> waitForOnline() const;

    /// The devices one can choose now: the access points, then the cameras, in the state's order.
    [[nodiscard]] QList<RestartTarget> allTargets() const;
    /// An existing job of a site other than the one shown: its devices cannot be chosen here.
    [[nodiscard]] bool editsAnotherSite() const;
    /// Whether the confirm button is on: a name, a device, and a weekday when weekly. A name of
    /// blanks counts as a name.
    [[nodiscard]] bool canSave() const;
    /// Builds the job from the fields, adds it or replaces the existing one, and closes.
    void save();

    // The controls, for the schedule list and for tests that drive them.
    [[nodiscard]] QLineEdit *nameField() const { return m_nameField; }
    [[nodiscard]] QList<QCheckBox *> deviceToggles() const { return m_deviceToggles; }
    /// The "No devices loaded…" note; shown only when there are no devices.
    [[nodiscard]] QLabel *noDevicesNote() const { return m_noDevicesNote; }
    [[nodiscard]] QAbstractButton *frequencyButton(RuleType type) const;
    [[nodiscard]] QDateTimeEdit *runAtPicker() const { return m_runAtPicker; }
    [[nodiscard]] QTimeEdit *timePicker() const { return m_timePicker; }
    [[nodiscard]] WeekdayPicker *weekdayPicker() const { return m_weekdayPicker; }
    [[nodiscard]] QSpinBox *intervalStepper() const { return m_intervalStepper; }
    [[nodiscard]] QLabel *intervalLabel() const { return m_intervalLabel; }
    [[nodiscard]] QLabel *intervalCaption() const { return m_intervalCaption; }
    [[nodiscard]] QSpinBox *staggerStepper() const { return m_staggerStepper; }
    [[nodiscard]] QLabel *staggerLabel() const { return m_staggerLabel; }
    [[nodiscard]] QCheckBox *waitToggle() const { return m_waitToggle; }
    [[nodiscard]] QSpinBox *waitMinutesStepper() const { return m_waitMinutesStepper; }
    [[nodiscard]] QComboBox *whenNotBackPicker() const { return m_whenNotBackPicker; }
    [[nodiscard]] QPushButton *cancelButton() const { return m_cancelButton; }
    [[nodiscard]] QPushButton *confirmButton() const { return m_confirmButton; }

private:
    void loadFields();
    void buildForm();
    [[nodiscard]] QWidget *buildNameSection();
    [[nodiscard]] QWidget *buildDevicesSection();
    [[nodiscard]] QWidget *buildRepeatsSection();
    [[nodiscard]] QWidget *buildStaggerSection();
    void rebuildDeviceToggles();
    void orderTabs();

    void setRuleType(RuleType type);
    void runAtPicked();
    void timePicked();
    void refresh();

    /// Today (in the calendar's zone, as of when the sheet opened) at hour:minute:00; now when
    /// the calendar cannot form that time.
    [[nodiscard]] QDateTime todayAt(int hour, int minute) const;

    AppState &m_appState;
    DeviceListModel &m_devices;
    const std::optional<ScheduledJob> m_existingJob;
    const Calendar m_calendar;
    const QDateTime m_openedAt;

    QString m_name;
    QSet<QString> m_selectedTargetIDs;
    RuleType m_ruleType = RuleType::interval;
    QDateTime m_onceDate;
    QDateTime m_timeOfDay;
    std::set<qint64> m_weekdays;
    qint64 m_intervalHours = 24;
    qint64 m_staggerSeconds = 20;
    bool m_waits = false;
    ScheduledJob::WaitForOnline m_wait;

    QLineEdit *m_nameField = nullptr;
    QVBoxLayout *m_devicesLayout = nullptr;
    QLabel *m_noDevicesNote = nullptr;
    QList<QCheckBox *> m_deviceToggles;
    QButtonGroup *m_frequency = nullptr;
    QFormLayout *m_repeatsForm = nullptr;
    QDateTimeEdit *m_runAtPicker = nullptr;
    /// The run-at picker shows a past date of an existing job until it is first touched; from then
    /// on only times from now on can be picked.
    bool m_runAtLimitedToFuture = false;
    QTimeEdit *m_timePicker = nullptr;
    WeekdayPicker *m_weekdayPicker = nullptr;
    QLabel *m_intervalLabel = nullptr;
    QSpinBox *m_intervalStepper = nullptr;
    QLabel *m_intervalCaption = nullptr;
    QLabel *m_staggerLabel = nullptr;
    QSpinBox *m_staggerStepper = nullptr;
    QCheckBox *m_waitToggle = nullptr;
    QSpinBox *m_waitMinutesStepper = nullptr;
    QComboBox *m_whenNotBackPicker = nullptr;
    QPushButton *m_cancelButton = nullptr;
    QPushButton *m_confirmButton = nullptr;
};

} // namespace lanternfold
