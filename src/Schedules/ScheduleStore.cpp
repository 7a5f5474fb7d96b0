// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/ScheduleStore.h"

#include "Schedules/SchedulesLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace lanternfold {

using namespace Qt::StringLiterals;

ScheduleStore::ScheduleStore(const QString &dataFolder)
{
    const QString folder = QDir(dataFolder).filePath(u"Lanternfold"_s);
    // A folder that exists already, or cannot be made, is no reason to stop: save() then fails quietly.
    QDir().mkpath(folder);
    m_filePath = QDir(folder).filePath(u"schedules.json"_s);
}

QString ScheduleStore::folder() const
{
    return QFileInfo(m_filePath).path();
}

QString ScheduleStore::schedulerLockPath() const
{
    return QDir(folder()).filePath(u"scheduler.lock"_s);
}

ScheduleStore &ScheduleStore::shared()
{
    static ScheduleStore store([] {
        const QString dataFolder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        if (dataFolder.isEmpty())
            qFatal("No data folder for the schedules file (is HOME set?)");
        return dataFolder;
    }());
    return store;
}

Decoded<QList<ScheduledJob>> ScheduleStore::decode(const QByteArray &bytes)
{
    LF_TRY_DECODE(document, json::parse(bytes));
    LF_TRY_DECODE(array, json::asArray(document, {}));
    QList<ScheduledJob> jobs;
    jobs.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i) {
        LF_TRY_DECODE(job, ScheduledJob::fromJson(array.at(i), json::elementPath({}, i)));
        jobs.append(std::move(job));
    }
    return jobs;
}

std::optional<QByteArray> ScheduleStore::encode(const QList<ScheduledJob> &jobs)
{
    QJsonArray array;
    for (const ScheduledJob &job : jobs) {
        const auto object = job.toJson();
        if (!object)
            return std::nullopt;
        array.append(*object);
    }
    // QJsonObject keeps its keys sorted, so the indented text lists them alphabetically.
    return QJsonDocument(array).toJson(QJsonDocument::Indented);
}

namespace {

/// What is at a path: nothing, a regular file no larger than limit, or something else.
enum class Found : std::uint8_t { nothing, file, other };

/// The whole of a regular file of at most limit bytes; none for anything else. Opened without
/// waiting: a FIFO or a device at the path would otherwise hold the program before its window,
/// deaf even to a polite SIGTERM, or feed it bytes without end.
std::optional<QByteArray> readRegularFile(const QString &path, qint64 limit, Found *found = nullptr)
{
    const auto report = [found](Found what) {
        if (found)
            *found = what;
    };
    const QByteArray local = QFile::encodeName(path);
    const int descriptor = ::open(local.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        report(errno == ENOENT ? Found::nothing : Found::other);
        return std::nullopt;
    }
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > limit) {
        ::close(descriptor);
        report(Found::other);
        return std::nullopt;
    }
    report(Found::file);
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return std::nullopt;
    }
    QByteArray bytes = file.readAll();
    // A file that grew while it was read is still held to the limit.
    if (file.error() != QFileDevice::NoError || bytes.size() > limit)
        return std::nullopt;
    return bytes;
}

} // namespace

QList<ScheduledJob> ScheduleStore::load()
{
    Found found = Found::nothing;
    const auto bytes = readRegularFile(m_filePath, maxFileSize, &found);
    if (found == Found::nothing) {
        m_fileUnreadable = false;
        return {};
    }
    if (!bytes) {
        qCWarning(lcSchedules).noquote() << m_filePath
                                         << "is not a regular file of at most 16 MB that can be read; "
                                            "no schedules were loaded, and it will be kept aside at the next save";
        m_fileUnreadable = true;
        return {};
    }
    auto jobs = decode(*bytes);
    m_fileUnreadable = !jobs.ok();
    if (!jobs.ok()) {
        qCWarning(lcSchedules).noquote() << m_filePath << "could not be read:" << jobs.error().message
                                         << "; it will be kept aside at the next save";
        return {};
    }
    QList<ScheduledJob> loaded = std::move(jobs).value();
    for (ScheduledJob &job : loaded) {
        const qint64 clamped = std::clamp<qint64>(job.staggerSeconds, 0, ScheduledJob::staggerSecondsMaximum);
        if (clamped != job.staggerSeconds) {
            qCWarning(lcSchedules).noquote() << "job" << uuidText(job.id) << "waited" << job.staggerSeconds
                                             << "seconds between devices; held to" << clamped;
            job.staggerSeconds = clamped;
        }
    }
    return loaded;
}

std::optional<QList<ScheduledJob>> ScheduleStore::reread() const
{
    const auto bytes = readRegularFile(m_filePath, maxFileSize);
    if (!bytes)
        return std::nullopt;
    auto jobs = decode(*bytes);
    if (!jobs.ok())
        return std::nullopt;
    return std::move(jobs).value();
}

namespace {

std::optional<QByteArray> readWhole(const QString &path)
{
    return readRegularFile(path, std::numeric_limits<qint64>::max());
}

} // namespace

bool ScheduleStore::keepUnreadableCopy() const
{
    // A file that went away since load() has nothing left in it to lose.
    const QFileInfo current(m_filePath);
    if (!current.exists())
        return true;
    std::optional<QByteArray> original;
    // Something that is not a regular file (a FIFO, a device, a folder) cannot be copied without
    // waiting or without end: it is moved aside as it is, under the first free name.
    const bool moveAside = !current.isFile();
    for (int number = 1; number <= maxUnreadableCopies; ++number) {
        const QString copyPath = unreadableCopyPath(number);
        const QFileInfo existing(copyPath);
        if (!existing.exists() && !existing.isSymLink()) {
            if (moveAside)
                return std::rename(QFile::encodeName(m_filePath).constData(),
                                   QFile::encodeName(copyPath).constData()) == 0;
            // QFile::copy refuses to replace anything at the destination and writes through a
            // temporary file that it renames into place, so a copy that fails halfway (a full
            // disk) leaves nothing under the copy's name for the next save to mistake for a
            // finished one.
            return QFile::copy(m_filePath, copyPath);
        }
        // Anything but an earlier copy in the way is left alone, and the save with it.
        if (moveAside)
            continue;
        if (!existing.isFile())
            return false;
        // A copy of these very bytes (left by a save that copied but then could not write)
        // already makes this file safe to replace.
        if (!original)
            original = readWhole(m_filePath);
        if (!original)
            return false;
        if (readWhole(copyPath) == original)
            return true;
        // An earlier copy of another bad file may be the only record of its schedules, and the
        // user may not have looked at it yet: it is kept, and this one goes beside it.
    }
    return false;
}

QString ScheduleStore::unreadableCopyPath(int number) const
{
    const QString first = m_filePath + u".unreadable"_s;
    return number == 1 ? first : first + u'.' + QString::number(number);
}

void ScheduleStore::save(const QList<ScheduledJob> &jobs)
{
    const auto bytes = encode(jobs);
    if (!bytes)
        return;
    // Without a copy aside, replacing the file would destroy the only record of what it held.
    // The save is dropped instead, quietly like every other failed save: the jobs stay in memory,
    // m_fileUnreadable stays set, and the next save tries the copy again.
    if (m_fileUnreadable && !keepUnreadableCopy())
        return;
    QSaveFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly))
        return;
    if (file.write(*bytes) != bytes->size()) {
        file.cancelWriting();
        return;
    }
    if (file.commit())
        m_fileUnreadable = false;
}

} // namespace lanternfold
