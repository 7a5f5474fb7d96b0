// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/JsonDecoding.h"
#include "Models/ScheduledJob.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>

namespace lanternfold {

/// Keeps the job list in "Lanternfold/schedules.json" under the user's data folder. Nothing it
/// does reports an error: an unreadable file loads as an empty list and a failed save leaves the
/// list in memory only. So that one bad byte cannot cost the user every schedule, a file that
/// exists but did not load is copied to "schedules.json.unreadable" (or, when an earlier copy is
/// there, ".unreadable.2", ".3"…) before a save replaces it, and a save that cannot make that copy
/// writes nothing. Only a regular file of at most 16 MB is read, and opening it never waits: anything
/// else at the path (a FIFO, a device, a folder) loads as unreadable, and is moved aside as it is
/// before a save. A pause between targets beyond what the editor offers is held to it on load.
class ScheduleStore final
{
public:
    /// Keeps the file in `dataFolder`/Lanternfold, creating that folder if it is missing.
    explicit ScheduleStore(const QString &dataFolder);
    Q_DISABLE_COPY_MOVE(ScheduleStore)

    /// The program's one store, over $XDG_DATA_HOME (~/.local/share), created on first use.
    static ScheduleStore &shared();

    /// The folder of the jobs file, where the program keeps its other files of the same kind.
    [[nodiscard]] QString folder() const;
    /// The jobs file itself.
    [[nodiscard]] const QString &filePath() const { return m_filePath; }
    /// The lock that whoever runs these jobs by their schedules holds, so that one process does.
    [[nodiscard]] QString schedulerLockPath() const;

    QList<ScheduledJob> load();
    void save(const QList<ScheduledJob> &jobs);
    /// The jobs as the file holds them now, when it is there and reads whole; nothing otherwise
    /// (another process writing it, a file gone or broken), so that a reader keeps what it has.
    [[nodiscard]] std::optional<QList<ScheduledJob>> reread() const;

    /// The file format on its own: a JSON array of jobs, indented, keys sorted.
    static Decoded<QList<ScheduledJob>> decode(const QByteArray &bytes);
    /// None when a job holds a date the file cannot hold.
    static std::optional<QByteArray> encode(const QList<ScheduledJob> &jobs);

private:
    /// True when replacing the file loses nothing: its bytes now lie in the ".unreadable" copy, or
    /// the file is gone. False leaves everything on disk as it was.
    [[nodiscard]] bool keepUnreadableCopy() const;
    /// "schedules.json.unreadable", then "schedules.json.unreadable.2", ".3" and so on.
    [[nodiscard]] QString unreadableCopyPath(int number) const;

    /// A jobs file larger than this is not read: no list of schedules comes near it.
    static constexpr qint64 maxFileSize = qint64(16) << 20;
    /// Beyond this many kept copies, a new bad file is left in place rather than copied aside.
    static constexpr int maxUnreadableCopies = 20;

    QString m_filePath;
    // Set when load() found a file it could not read or decode; cleared once a save replaced it.
    bool m_fileUnreadable = false;
};

} // namespace lanternfold
