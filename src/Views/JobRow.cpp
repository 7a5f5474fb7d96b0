// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/JobRow.h"

#include "Schedules/Calendar.h"
#include "Schedules/RecurrenceRuleNextRun.h"
#include "State/AppState.h"
#include "Views/JobRowLabel.h"
#include "Views/TextStyle.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype namesShown = 3;

QString dateText(const QDateTime &instant, const Calendar &calendar)
{
    return formatDateTime(instant, calendar, FormatStyle::mediumStyle, FormatStyle::shortStyle);
}

} // namespace

JobRow::JobRow(AppState &appState, ScheduledJob job, QWidget *parent)
    : QWidget(parent), m_appState(appState), m_job(std::move(job))
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(10, 8, 12, 8);
    row->setSpacing(12);

    m_switch = new QCheckBox(this);
    // toggled, not clicked: assistive technologies switch a check box without clicking it.
    connect(m_switch, &QCheckBox::toggled, this, &JobRow::switchFlipped);
    row->addWidget(m_switch, 0, Qt::AlignVCenter);

    auto *leading = new QVBoxLayout;
    leading->setSpacing(2);
    m_name = new JobRowLabel(this);
    setTextStyle(m_name, TextStyle::headline, /*bold=*/true);
    m_summary = new JobRowLabel(this);
    setTextStyle(m_summary, TextStyle::caption);
    m_targets = new JobRowLabel(this);
    setTextStyle(m_targets, TextStyle::caption2);
    leading->addWidget(m_name);
    leading->addWidget(m_summary);
    leading->addWidget(m_targets);
    row->addLayout(leading, 3);

    auto *trailing = new QVBoxLayout;
    trailing->setSpacing(2);
    m_nextRun = new JobRowLabel(this);
    setTextStyle(m_nextRun, TextStyle::caption);
    m_lastRun = new JobRowLabel(this);
    setTextStyle(m_lastRun, TextStyle::caption2);
    for (JobRowLabel *label : {m_nextRun, m_lastRun}) {
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        trailing->addWidget(label);
    }
    trailing->addStretch(1);
    row->addLayout(trailing, 2);

    setJob(m_job);
}

void JobRow::setJob(ScheduledJob job)
{
    m_job = std::move(job);
    const Calendar calendar = m_appState.calendar();
    {
        const QSignalBlocker blocker(m_switch);
        m_switch->setChecked(m_job.isEnabled);
    }
    // The switch has no visible label: the job's name says what it switches.
    m_switch->setAccessibleName(m_job.name);
    m_name->setText(m_job.name);
    const QString rule = summary(m_job.rule, calendar);
    //: %1 is when the job runs ("Daily at 03:00"); added when the job waits for its devices to come back online
    m_summary->setText(m_job.waitForOnline ? tr("%1 \u00b7 waits for each device").arg(rule) : rule);
    const QString targets = targetsLine(m_job.targets);
    const std::optional<QString> site = shownSite();
    //: %1 is the site's name, %2 the job's devices ("5 device(s): A, B, C…")
    m_targets->setText(site ? tr("%1 \u00b7 %2").arg(*site, targets) : targets);
    m_nextRun->setVisible(m_job.nextRunAt.has_value());
    //: %1 is the date and time of the job's next run
    m_nextRun->setText(m_job.nextRunAt ? tr("Next: %1").arg(dateText(*m_job.nextRunAt, calendar)) : QString());
    m_lastRun->setVisible(m_job.lastRunAt.has_value());
    //: %1 is the date and time the job last ran
    m_lastRun->setText(m_job.lastRunAt ? tr("Last: %1").arg(dateText(*m_job.lastRunAt, calendar)) : QString());
    setAccessibleName(m_job.name);
    setAccessibleDescription(description());
    applyColours();
}

std::optional<QString> JobRow::shownSite() const
{
    // One site says nothing worth reading; with several, which one the job restarts matters. A job
    // of cameras alone has no site: they belong to the console.
    const QList<ControllerSite> &sites = m_appState.sites();
    const bool restartsAccessPoints =
        std::any_of(m_job.targets.cbegin(), m_job.targets.cend(),
                    [](const RestartTarget &target) { return target.kind == RestartTargetKind::accessPoint; });
    if (sites.size() < 2 || !restartsAccessPoints)
        return std::nullopt;
    return siteDisplayName(sites, m_job.site);
}

QString JobRow::description() const
{
    QStringList lines{m_summary->text(), m_targets->text()};
    for (const JobRowLabel *label : {m_nextRun, m_lastRun}) {
        if (!label->text().isEmpty())
            lines.append(label->text());
    }
    return lines.join(u"; "_s);
}

void JobRow::setSelected(bool selected)
{
    if (m_selected == selected)
        return;
    m_selected = selected;
    applyColours();
}

QString JobRow::targetsLine(const QList<RestartTarget> &targets)
{
    QStringList names;
    for (qsizetype index = 0; index < std::min(targets.size(), namesShown); ++index)
        names.append(targets.at(index).displayName);
    //: %1 is how many devices the job restarts, %2 the names of the first few, separated by commas
    QString line = tr("%1 device(s): %2").arg(QString::number(targets.size()), names.join(u", "_s));
    if (targets.size() > namesShown)
        line += u'\u2026';
    return line;
}

void JobRow::switchFlipped(bool on)
{
    m_appState.setJob(m_job, on);
    // The list has handed this row the published job by now; if the state did not take the
    // change (the job is gone), the switch goes back to what the row shows.
    const QSignalBlocker blocker(m_switch);
    m_switch->setChecked(m_job.isEnabled);
}

void JobRow::applyColours()
{
    const QPalette &base = parentWidget() ? parentWidget()->palette() : palette();
    const QPalette::ColorRole text = m_selected ? QPalette::HighlightedText : QPalette::Text;
    const QPalette::ColorRole background = m_selected ? QPalette::Highlight : QPalette::Base;
    const QColor primary = base.color(text);
    // The accent colour is darker than a list's background: secondary text keeps more of the
    // text colour there to stay readable.
    const QColor secondary = secondaryTextColor(base, background, text, m_selected ? 0.85 : 0.68);
    for (JobRowLabel *label : {m_name, m_nextRun})
        setTextColor(label, primary);
    for (JobRowLabel *label : {m_summary, m_targets, m_lastRun})
        setTextColor(label, secondary);
}

} // namespace lanternfold
