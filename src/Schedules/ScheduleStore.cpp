#include "Schedules/ScheduleStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

namespace lanternfold {

using namespace Qt::StringLiterals;

ScheduleStore::ScheduleStore(const QString &dataFolder)
{
    const QString folder = QDir(dataFolder).filePath(u"Lanternfold"_s);
    // A folder that exists already, or cannot be made, is no reason to stop: save() then fails quietly.
    QDir().mkpath(folder);
    m_filePath = QDir(folder).filePath(u"schedules.json"_s);
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

QList<ScheduledJob> ScheduleStore::load()
{
    QFile file(m_filePath);
    if (!file.exists()) {
        m_fileUnreadable = false;
        return {};
    }
    if (!file.open(QIODevice::ReadOnly)) {
        m_fileUnreadable = true;
        return {};
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        m_fileUnreadable = true;
        return {};
    }
    auto jobs = decode(bytes);
    m_fileUnreadable = !jobs.ok();
    return jobs.ok() ? std::move(jobs).value() : QList<ScheduledJob>{};
}

namespace {

std::optional<QByteArray> readWhole(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return bytes;
}

} // namespace

bool ScheduleStore::keepUnreadableCopy() const
{
    // A file that went away since load() has nothing left in it to lose.
    if (!QFileInfo::exists(m_filePath))
        return true;
    std::optional<QByteArray> original;
    for (int number = 1; number <= maxUnreadableCopies; ++number) {
        const QString copyPath = unreadableCopyPath(number);
        const QFileInfo existing(copyPath);
        if (!existing.exists() && !existing.isSymLink()) {
            // QFile::copy refuses to replace anything at the destination and writes through a
            // temporary file that it renames into place, so a copy that fails halfway (a full
            // disk) leaves nothing under the copy's name for the next save to mistake for a
            // finished one.
            return QFile::copy(m_filePath, copyPath);
        }
        // Anything but an earlier copy in the way is left alone, and the save with it.
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
