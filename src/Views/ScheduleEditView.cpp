// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/ScheduleEditView.h"

#include "Models/ProtectCamera.h"
#include "Models/UnifiDevice.h"
#include "State/AppState.h"
#include "Views/DeviceListModel.h"
#include "Views/JobRow.h"
#include "Views/SegmentButton.h"
#include "Views/Symbols.h"
#include "Views/TextStyle.h"
#include "Views/WallClock.h"
#include "Views/WeekdayCell.h"
#include "Views/WeekdayPicker.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTimeEdit>
#include <QUuid>
#include <QVBoxLayout>

#include <algorithm>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

// Rows of the repeats form, top to bottom.
enum RepeatsRow { frequencyRow, runAtRow, timeRow, weekdaysRow, intervalRow, intervalCaptionRow };

constexpr int devicesShownWithoutScrolling = 7;

QLabel *sectionHeader(const QString &text, QWidget *parent)
{
    auto *header = new QLabel(text, parent);
    setTextStyle(header, TextStyle::headline, /*bold=*/true);
    return header;
}

QLabel *caption(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    setTextStyle(label, TextStyle::caption);
    setTextColor(label, secondaryTextColor(label->palette()));
    return label;
}

/// The locale's short weekday names, Sunday first; Qt's own when ICU has none.
QStringList weekdaySymbols(const Calendar &calendar)
{
    QStringList symbols = shortWeekdaySymbols(calendar);
    if (symbols.size() == 7)
        return symbols;
    symbols.clear();
    symbols.append(calendar.locale.dayName(7, QLocale::ShortFormat));
    for (int day = 1; day <= 6; ++day)
        symbols.append(calendar.locale.dayName(day, QLocale::ShortFormat));
    return symbols;
}

/// The locale's short date-and-time layout with a four-digit year, which a picker can step through
/// without guessing the century.
QString pickerDateTimeFormat(const QLocale &locale)
{
    QString format = locale.dateTimeFormat(QLocale::ShortFormat);
    if (!format.contains(u"yyyy"_s))
        format.replace(u"yy"_s, u"yyyy"_s);
    return format;
}

} // namespace

ScheduleEditView::ScheduleEditView(AppState &appState, DeviceListModel &devices,
                                   std::optional<ScheduledJob> existingJob, QWidget *parent)
    : QDialog(parent),
      m_appState(appState),
      m_devices(devices),
      m_existingJob(std::move(existingJob)),
      m_calendar(appState.calendar()),
      m_openedAt(appState.now())
{
    setWindowTitle(m_existingJob ? tr("Edit Schedule") : tr("New Schedule"));
    loadFields();
    buildForm();
    refresh();
    connect(&m_devices, &QAbstractItemModel::modelReset, this, &ScheduleEditView::rebuildDeviceToggles);
}

ScheduleEditView::~ScheduleEditView() = default;

void ScheduleEditView::loadFields()
{
    if (!m_existingJob) {
        //: The name a new schedule starts with
        m_name = tr("Restart Devices");
        m_ruleType = RuleType::interval;
        m_onceDate = m_openedAt;
        m_timeOfDay = todayAt(3, 0);
        m_weekdays = {1, 2, 3, 4, 5, 6, 7};
        m_intervalHours = 24;
        m_staggerSeconds = 20;
        return;
    }
    const ScheduledJob &job = *m_existingJob;
    m_name = job.name;
    for (const RestartTarget &target : job.targets)
        m_selectedTargetIDs.insert(target.id());
    m_ruleType = ruleTypeOf(job.rule);
    m_onceDate = m_openedAt;
    m_timeOfDay = todayAt(3, 0);
    m_intervalHours = 24;
    if (const auto *once = std::get_if<RecurrenceRule::Once>(&job.rule.value())) {
        m_onceDate = once->date;
    } else if (const auto *daily = std::get_if<RecurrenceRule::DailyAt>(&job.rule.value())) {
        m_timeOfDay = todayAt(static_cast<int>(daily->hour), static_cast<int>(daily->minute));
    } else if (const auto *weekly = std::get_if<RecurrenceRule::WeeklyAt>(&job.rule.value())) {
        m_timeOfDay = todayAt(static_cast<int>(weekly->hour), static_cast<int>(weekly->minute));
        m_weekdays = weekly->weekdays;
    } else if (const auto *interval = std::get_if<RecurrenceRule::EveryInterval>(&job.rule.value())) {
        m_intervalHours = interval->hours;
    }
    m_staggerSeconds = job.staggerSeconds;
    m_waits = job.waitForOnline.has_value();
    m_wait = job.waitForOnline.value_or(ScheduledJob::WaitForOnline{});
}

std::optional<ScheduledJob::WaitForOnline> ScheduleEditView::waitForOnline() const
{
    if (!m_waits)
        return std::nullopt;
    return m_wait;
}

QDateTime ScheduleEditView::todayAt(int hour, int minute) const
{
    const QDate today = wallClockReading(m_openedAt, m_calendar).date();
    return instantAtWallClock(today, hour, minute, m_calendar).value_or(m_openedAt);
}

void ScheduleEditView::buildForm()
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 16);
    layout->setSpacing(14);

    auto *title = new QLabel(windowTitle(), this);
    setTextStyle(title, TextStyle::title2);
    layout->addWidget(title);

    layout->addWidget(buildNameSection());
    layout->addWidget(buildDevicesSection());
    layout->addWidget(buildRepeatsSection());
    layout->addWidget(buildStaggerSection());
    layout->addStretch(1);

    auto *buttons = new QDialogButtonBox(this);
    //: Button: closes the editor without saving
    m_cancelButton = buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole);
    //: Button: saves the changes to an existing schedule
    const QString saveText = tr("Save");
    //: Button: adds the new schedule
    const QString createText = tr("Create");
    m_confirmButton = buttons->addButton(m_existingJob ? saveText : createText, QDialogButtonBox::AcceptRole);
    m_confirmButton->setDefault(true);
    m_cancelButton->setAutoDefault(false);
    // Each button does its own work: the confirm button must save before the sheet closes.
    connect(m_cancelButton, &QPushButton::clicked, this, &ScheduleEditView::reject);
    connect(m_confirmButton, &QPushButton::clicked, this, &ScheduleEditView::save);
    layout->addWidget(buttons);

    setMinimumWidth(480);
    orderTabs();
}

QWidget *ScheduleEditView::buildNameSection()
{
    auto *section = new QWidget(this);
    auto *layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    //: Section heading: the schedule's name
    QLabel *header = sectionHeader(tr("Name"), section);
    m_nameField = new QLineEdit(m_name, section);
    m_nameField->setPlaceholderText(tr("Schedule name"));
    header->setBuddy(m_nameField);
    connect(m_nameField, &QLineEdit::textChanged, this, [this](const QString &text) {
        m_name = text;
        refresh();
    });
    layout->addWidget(header);
    layout->addWidget(m_nameField);
    return section;
}

QWidget *ScheduleEditView::buildDevicesSection()
{
    auto *section = new QWidget(this);
    auto *layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    //: Section heading: the devices the schedule restarts
    layout->addWidget(sectionHeader(tr("Devices"), section));

    m_noDevicesNote = new QLabel(tr("No devices loaded. Connect and refresh from the Devices tab first."), section);
    m_noDevicesNote->setWordWrap(true);
    setTextColor(m_noDevicesNote, secondaryTextColor(m_noDevicesNote->palette()));
    layout->addWidget(m_noDevicesNote);

    auto *scroll = new QScrollArea(section);
    scroll->setObjectName(u"deviceScroll"_s);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *list = new QWidget(scroll);
    m_devicesLayout = new QVBoxLayout(list);
    m_devicesLayout->setContentsMargins(0, 0, 0, 0);
    m_devicesLayout->setSpacing(4);
    m_devicesLayout->addStretch(1);
    scroll->setWidget(list);
    layout->addWidget(scroll);

    rebuildDeviceToggles();
    return section;
}

QWidget *ScheduleEditView::buildRepeatsSection()
{
    auto *section = new QWidget(this);
    auto *layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    //: Section heading: when and how often the schedule runs
    layout->addWidget(sectionHeader(tr("Repeats"), section));

    m_repeatsForm = new QFormLayout;
    m_repeatsForm->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    m_repeatsForm->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    layout->addLayout(m_repeatsForm);

    // A segmented choice: one exclusive button per kind of rule, side by side.
    auto *segments = new QWidget(section);
    auto *segmentsLayout = new QHBoxLayout(segments);
    segmentsLayout->setContentsMargins(0, 0, 0, 0);
    segmentsLayout->setSpacing(0);
    segmentsLayout->setSizeConstraint(QLayout::SetFixedSize);
    m_frequency = new QButtonGroup(this);
    m_frequency->setExclusive(true);
    for (const RuleType type : allRuleTypes) {
        SegmentButton::Position position = SegmentButton::Position::middle;
        if (type == allRuleTypes.front())
            position = SegmentButton::Position::first;
        else if (type == allRuleTypes.back())
            position = SegmentButton::Position::last;
        auto *button = new SegmentButton(ruleTypeTitle(type), position, segments);
        button->setChecked(type == m_ruleType);
        m_frequency->addButton(button, static_cast<int>(type));
        segmentsLayout->addWidget(button);
    }
    connect(m_frequency, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked)
            setRuleType(static_cast<RuleType>(id));
    });
    //: Form label: the choice between Once, Daily, Weekly and Every N Hours
    m_repeatsForm->addRow(tr("Frequency"), segments);

    m_runAtPicker = new QDateTimeEdit(section);
    m_runAtPicker->setLocale(m_calendar.locale);
    m_runAtPicker->setTimeSpec(Qt::UTC);
    m_runAtPicker->setDisplayFormat(pickerDateTimeFormat(m_calendar.locale));
    m_runAtPicker->setCalendarPopup(true);
    // A past date of an existing job stays visible until the picker is touched.
    const QDateTime now = m_appState.now();
    m_runAtLimitedToFuture = m_onceDate >= now;
    m_runAtPicker->setMinimumDateTime(wallClockReading(m_runAtLimitedToFuture ? now : m_onceDate, m_calendar));
    m_runAtPicker->setDateTime(wallClockReading(m_onceDate, m_calendar));
    connect(m_runAtPicker, &QDateTimeEdit::dateTimeChanged, this, &ScheduleEditView::runAtPicked);
    //: Form label: the date and time of a schedule that runs once
    m_repeatsForm->addRow(tr("Run at"), m_runAtPicker);

    m_timePicker = new QTimeEdit(section);
    m_timePicker->setLocale(m_calendar.locale);
    m_timePicker->setDisplayFormat(m_calendar.locale.timeFormat(QLocale::ShortFormat));
    m_timePicker->setTime(wallClockReading(m_timeOfDay, m_calendar).time());
    connect(m_timePicker, &QTimeEdit::timeChanged, this, &ScheduleEditView::timePicked);
    //: Form label: the time of day of a daily or weekly schedule
    m_repeatsForm->addRow(tr("Time"), m_timePicker);

    m_weekdayPicker = new WeekdayPicker(weekdaySymbols(m_calendar), section);
    m_weekdayPicker->setSelection(m_weekdays);
    connect(m_weekdayPicker, &WeekdayPicker::selectionChanged, this, [this] {
        m_weekdays = m_weekdayPicker->selection();
        refresh();
    });
    m_repeatsForm->addRow(static_cast<QWidget *>(nullptr), m_weekdayPicker);

    m_intervalLabel = new QLabel(section);
    m_intervalStepper = new QSpinBox(section);
    m_intervalStepper->setRange(intervalHoursMinimum, intervalHoursMaximum);
    m_intervalStepper->setSingleStep(1);
    m_intervalStepper->setValue(static_cast<int>(m_intervalHours));
    m_intervalLabel->setBuddy(m_intervalStepper);
    connect(m_intervalStepper, &QSpinBox::valueChanged, this, [this](int hours) {
        m_intervalHours = hours;
        refresh();
    });
    m_repeatsForm->addRow(m_intervalLabel, m_intervalStepper);
    m_intervalCaption = caption(QString(), section);
    m_repeatsForm->addRow(m_intervalCaption);
    return section;
}

QWidget *ScheduleEditView::buildStaggerSection()
{
    auto *section = new QWidget(this);
    auto *layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    //: Section heading: the pause between restarting one device and the next
    layout->addWidget(sectionHeader(tr("Stagger"), section));

    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_staggerLabel = new QLabel(section);
    m_staggerStepper = new QSpinBox(section);
    m_staggerStepper->setRange(0, staggerSecondsMaximum);
    m_staggerStepper->setSingleStep(staggerSecondsStep);
    m_staggerStepper->setValue(static_cast<int>(m_staggerSeconds));
    m_staggerLabel->setBuddy(m_staggerStepper);
    connect(m_staggerStepper, &QSpinBox::valueChanged, this, [this](int seconds) {
        m_staggerSeconds = seconds;
        refresh();
    });
    form->addRow(m_staggerLabel, m_staggerStepper);
    form->addRow(caption(tr("Spacing out restarts avoids dropping wifi/camera coverage all at once."), section));
    layout->addLayout(form);

    m_waitToggle = new QCheckBox(tr("Wait for each device to come back online"), section);
    m_waitToggle->setChecked(m_waits);
    layout->addWidget(m_waitToggle);
    auto *waitForm = new QFormLayout;
    waitForm->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    waitForm->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    waitForm->setContentsMargins(24, 0, 0, 0);
    m_waitMinutesStepper = new QSpinBox(section);
    m_waitMinutesStepper->setRange(int(ScheduledJob::waitMinutesMinimum), int(ScheduledJob::waitMinutesMaximum));
    m_waitMinutesStepper->setValue(int(m_wait.minutes));
    //: Unit after the number of a spin box ("10 minutes"); keep the leading space
    m_waitMinutesStepper->setSuffix(tr(" minutes"));
    //: Form label before the longest wait for a device ("up to 10 minutes")
    auto *upTo = new QLabel(tr("up to"), section);
    upTo->setBuddy(m_waitMinutesStepper);
    waitForm->addRow(upTo, m_waitMinutesStepper);
    m_whenNotBackPicker = new QComboBox(section);
    //: What happens when a device is not back online in time: the run ends there
    m_whenNotBackPicker->addItem(tr("Stop the job"));
    //: What happens when a device is not back online in time: the run goes on
    m_whenNotBackPicker->addItem(tr("Continue with the next device"));
    m_whenNotBackPicker->setCurrentIndex(
        m_wait.whenNotBack == ScheduledJob::WaitForOnline::WhenNotBack::stopTheJob ? 0 : 1);
    auto *whenNotBack = new QLabel(tr("If one does not come back:"), section);
    whenNotBack->setBuddy(m_whenNotBackPicker);
    waitForm->addRow(whenNotBack, m_whenNotBackPicker);
    layout->addLayout(waitForm);
    connect(m_waitToggle, &QCheckBox::toggled, this, [this](bool on) {
        m_waits = on;
        refresh();
    });
    connect(m_waitMinutesStepper, &QSpinBox::valueChanged, this, [this](int minutes) { m_wait.minutes = minutes; });
    connect(m_whenNotBackPicker, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_wait.whenNotBack = index == 0 ? ScheduledJob::WaitForOnline::WhenNotBack::stopTheJob
                                        : ScheduledJob::WaitForOnline::WhenNotBack::continueWithNextDevice;
    });
    return section;
}

QList<RestartTarget> ScheduleEditView::allTargets() const
{
    // A job of another site keeps its devices: those listed are the shown site's, not its own.
    if (editsAnotherSite())
        return {};
    return m_devices.allTargets();
}

bool ScheduleEditView::editsAnotherSite() const
{
    return m_existingJob && m_existingJob->site != m_appState.site();
}

void ScheduleEditView::rebuildDeviceToggles()
{
    qDeleteAll(m_deviceToggles);
    m_deviceToggles.clear();
    const QList<RestartTarget> targets = allTargets();
    auto *scroll = findChild<QScrollArea *>(u"deviceScroll"_s);
    if (editsAnotherSite() && m_existingJob) {
        const ScheduledJob &existing = *m_existingJob;
        //: %1 is the job's devices ("5 device(s): A, B, C…"), %2 the name of the site they are on
        m_noDevicesNote->setText(
            tr("%1\nThese devices are on site '%2'. Choose that site in Settings to change them.")
                .arg(JobRow::targetsLine(existing.targets), siteDisplayName(m_appState.sites(), existing.site)));
    }
    m_noDevicesNote->setVisible(targets.isEmpty());
    scroll->setVisible(!targets.isEmpty());

    QWidget *list = scroll->widget();
    for (const RestartTarget &target : targets) {
        auto *toggle = new QCheckBox(target.displayName, list);
        toggle->setIcon(symbolIcon(target.kind == RestartTargetKind::camera ? Symbol::video : Symbol::wifiRouter));
        toggle->setChecked(m_selectedTargetIDs.contains(target.id()));
        const QString id = target.id();
        connect(toggle, &QCheckBox::toggled, this, [this, id](bool on) {
            if (on)
                m_selectedTargetIDs.insert(id);
            else
                m_selectedTargetIDs.remove(id);
            refresh();
        });
        m_devicesLayout->insertWidget(m_devicesLayout->count() - 1, toggle);
        m_deviceToggles.append(toggle);
    }
    // As tall as its toggles, up to a handful; more scroll.
    const int shown = std::min<int>(static_cast<int>(targets.size()), devicesShownWithoutScrolling);
    const int rowHeight = targets.isEmpty() ? 0 : m_deviceToggles.first()->sizeHint().height();
    scroll->setFixedHeight(shown * rowHeight + std::max(0, shown - 1) * m_devicesLayout->spacing());
    if (m_confirmButton)
        orderTabs();
}

void ScheduleEditView::orderTabs()
{
    QList<QWidget *> chain{m_nameField};
    for (QCheckBox *toggle : std::as_const(m_deviceToggles))
        chain.append(toggle);
    for (const RuleType type : allRuleTypes)
        chain.append(m_frequency->button(static_cast<int>(type)));
    chain << m_runAtPicker << m_timePicker;
    for (int weekday = 1; weekday <= 7; ++weekday)
        chain.append(m_weekdayPicker->cell(weekday));
    chain << m_intervalStepper << m_staggerStepper << m_waitToggle << m_waitMinutesStepper << m_whenNotBackPicker;
    // The buttons as the desktop lays them out, left to right.
    QList<QPushButton *> buttons{m_cancelButton, m_confirmButton};
    auto *box = qobject_cast<QDialogButtonBox *>(m_confirmButton->parentWidget());
    if (box && box->layout() && box->layout()->indexOf(m_confirmButton) < box->layout()->indexOf(m_cancelButton))
        std::swap(buttons[0], buttons[1]);
    for (QPushButton *button : buttons)
        chain.append(button);
    for (qsizetype index = 1; index < chain.size(); ++index)
        setTabOrder(chain.at(index - 1), chain.at(index));
}

QAbstractButton *ScheduleEditView::frequencyButton(RuleType type) const
{
    return m_frequency->button(static_cast<int>(type));
}

void ScheduleEditView::setRuleType(RuleType type)
{
    m_ruleType = type;
    refresh();
}

void ScheduleEditView::runAtPicked()
{
    const QDateTime now = m_appState.now();
    if (!m_runAtLimitedToFuture) {
        // The first touch of a past date: from here on only times from now on. Raising the
        // minimum may move the picker again, which comes back here and is harmless.
        m_runAtLimitedToFuture = true;
        m_runAtPicker->setMinimumDateTime(wallClockReading(now, m_calendar));
    }
    const QDateTime wall = m_runAtPicker->dateTime();
    const QDateTime picked =
        instantAtWallClock(wall.date(), wall.time().hour(), wall.time().minute(), m_calendar).value_or(now);
    // The picker's minute may be the current one, whose first second has passed.
    m_onceDate = std::max(picked, now);
}

void ScheduleEditView::timePicked()
{
    const QTime time = m_timePicker->time();
    m_timeOfDay = todayAt(time.hour(), time.minute());
}

void ScheduleEditView::refresh()
{
    m_repeatsForm->setRowVisible(runAtRow, m_ruleType == RuleType::once);
    m_repeatsForm->setRowVisible(timeRow, m_ruleType == RuleType::daily || m_ruleType == RuleType::weekly);
    m_repeatsForm->setRowVisible(weekdaysRow, m_ruleType == RuleType::weekly);
    m_repeatsForm->setRowVisible(intervalRow, m_ruleType == RuleType::interval);
    m_repeatsForm->setRowVisible(intervalCaptionRow, m_ruleType == RuleType::interval);

    // One sentence each for one hour and for several, so that a translation can word both.
    if (m_intervalHours == 1) {
        //: Label beside the number of hours between two runs, when it is one
        m_intervalLabel->setText(tr("Every %1 hour").arg(m_intervalHours));
        m_intervalCaption->setText(tr("First run will be %1 hour after saving.").arg(m_intervalHours));
    } else {
        //: Label beside the number of hours between two runs
        m_intervalLabel->setText(tr("Every %1 hours").arg(m_intervalHours));
        m_intervalCaption->setText(tr("First run will be %1 hours after saving.").arg(m_intervalHours));
    }
    //: %1 is the pause, in seconds, between restarting one device and the next
    m_staggerLabel->setText(tr("%1 seconds between each device").arg(m_staggerSeconds));
    m_waitMinutesStepper->setEnabled(m_waits);
    m_whenNotBackPicker->setEnabled(m_waits);
    m_confirmButton->setEnabled(canSave());
}

bool ScheduleEditView::canSave() const
{
    if (m_name.isEmpty() || m_selectedTargetIDs.isEmpty())
        return false;
    return m_ruleType != RuleType::weekly || !m_weekdays.empty();
}

void ScheduleEditView::save()
{
    if (!canSave())
        return;
    QList<RestartTarget> targets;
    for (const RestartTarget &target : allTargets()) {
        if (m_selectedTargetIDs.contains(target.id()))
            targets.append(target);
    }
    // Edited while another site is shown: its devices and its site stay as they are.
    const bool keepsItsDevices = editsAnotherSite();
    const QTime time = wallClockReading(m_timeOfDay, m_calendar).time();
    const qint64 hour = time.hour();
    const qint64 minute = time.minute();
    RecurrenceRule rule;
    switch (m_ruleType) {
    case RuleType::once:
        rule = RecurrenceRule::once(m_onceDate);
        break;
    case RuleType::daily:
        rule = RecurrenceRule::dailyAt(hour, minute);
        break;
    case RuleType::weekly:
        rule = RecurrenceRule::weeklyAt(m_weekdays, hour, minute);
        break;
    case RuleType::interval:
        rule = RecurrenceRule::everyInterval(m_intervalHours);
        break;
    }

    if (m_existingJob) {
        // Only what the editor edits is written back, over the job as it is now: a run that ended
        // while the editor was open keeps its lastRunAt and nextRunAt.
        const QList<ScheduledJob> &stored = m_appState.jobs();
        const auto current = std::find_if(stored.cbegin(), stored.cend(),
                                          [this](const ScheduledJob &job) { return job.id == m_existingJob->id; });
        ScheduledJob job = current != stored.cend() ? *current : *m_existingJob;
        job.name = m_name;
        if (!keepsItsDevices) {
            job.targets = std::move(targets);
            job.site = m_appState.site();
        }
        job.rule = std::move(rule);
        job.staggerSeconds = m_staggerSeconds;
        job.waitForOnline = waitForOnline();
        m_appState.updateJob(std::move(job));
    } else {
        ScheduledJob job;
        job.id = QUuid::createUuid();
        job.name = m_name;
        job.targets = std::move(targets);
        job.rule = std::move(rule);
        job.isEnabled = true;
        job.site = m_appState.site();
        job.staggerSeconds = m_staggerSeconds;
        job.waitForOnline = waitForOnline();
        m_appState.addJob(std::move(job));
    }
    accept();
}

} // namespace lanternfold
