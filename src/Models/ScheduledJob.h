// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ControllerSite.h"
#include "Models/JsonDecoding.h"
#include "Models/RecurrenceRule.h"
#include "Models/RestartTarget.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

namespace lanternfold {

/// One saved schedule: which devices to restart, when, and how far apart.
struct ScheduledJob
{
    QUuid id;
    QString name;
    QList<RestartTarget> targets;
    RecurrenceRule rule;
    bool isEnabled = true;
    std::optional<QDateTime> lastRunAt;
    std::optional<QDateTime> nextRunAt;
    qint64 staggerSeconds = 0;

    /// A scheduled run under way: the occurrence it runs and the targets (RestartTarget::id) whose
    /// restart has been sent. In the file only while a run is in progress, so that a run cut short
    /// (the program quit, the machine went down) resumes with the rest and never restarts a device
    /// twice; a finished run leaves the file as it would be without it.
    struct RunInProgress
    {
        QDateTime occurrence;
        QStringList restarted;
        bool operator==(const RunInProgress &) const = default;
    };
    std::optional<RunInProgress> runInProgress = std::nullopt;

    /// Each device is watched until it is back online before the next one goes down. In the file
    /// only when on, so that the files of jobs without it stay as they were.
    struct WaitForOnline
    {
        enum class WhenNotBack { stopTheJob, continueWithNextDevice };
        /// How long one device may take to come back.
        qint64 minutes = 10;
        WhenNotBack whenNotBack = WhenNotBack::stopTheJob;
        bool operator==(const WaitForOnline &) const = default;
    };
    std::optional<WaitForOnline> waitForOnline = std::nullopt;
    static constexpr qint64 waitMinutesMinimum = 1;
    static constexpr qint64 waitMinutesMaximum = 30;

    /// The site (short id) whose access points the job restarts, whichever site is shown when it
    /// runs. In the file only when it is not "default", so that the files of jobs from a single
    /// site stay as they were. Cameras belong to the console and have no site.
    QString site = defaultSiteName.toString();

    /// The pause between two targets that the editor offers, and that a loaded file is held to.
    static constexpr qint64 staggerSecondsMaximum = 300;

    /// None when a date cannot be written in the jobs file's date form (years 1-9999 UTC).
    [[nodiscard]] std::optional<QJsonObject> toJson() const;
    static Decoded<ScheduledJob> fromJson(const QJsonValue &json, const QString &path = {});

    bool operator==(const ScheduledJob &) const = default;
};

/// The UUID as the jobs file writes it: 36 characters, upper-case hexadecimal, no braces.
QString uuidText(const QUuid &uuid);
/// The 36-character form in either case (no braces, nothing around it); the nil UUID included.
std::optional<QUuid> uuidFromText(QStringView text);

} // namespace lanternfold
