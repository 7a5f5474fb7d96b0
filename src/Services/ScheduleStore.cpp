#include "Services/ScheduleStore.h"

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

void ScheduleStore::keepUnreadableCopy() const
{
    // Written through QSaveFile as well, so an older copy is replaced whole or not at all.
    QFile original(m_filePath);
    if (!original.open(QIODevice::ReadOnly))
        return;
    const QByteArray bytes = original.readAll();
    if (original.error() != QFileDevice::NoError)
        return;
    QSaveFile copy(m_filePath + u".unreadable"_s);
    if (!copy.open(QIODevice::WriteOnly))
        return;
    if (copy.write(bytes) != bytes.size()) {
        copy.cancelWriting();
        return;
    }
    copy.commit();
}

void ScheduleStore::save(const QList<ScheduledJob> &jobs)
{
    const auto bytes = encode(jobs);
    if (!bytes)
        return;
    if (m_fileUnreadable)
        keepUnreadableCopy(); // a failed copy does not stop the save
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
