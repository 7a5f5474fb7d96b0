#pragma once

#include "Models/JsonDecoding.h"
#include "Models/RecurrenceRule.h"
#include "Models/RestartTarget.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
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
