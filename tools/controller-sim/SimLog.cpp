// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimLog.h"

#include <QDateTime>
#include <QJsonDocument>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

SimLog::SimLog(QObject *parent) : QObject(parent) {}

SimLog::~SimLog() = default;

bool SimLog::setFile(const QString &path, QString *error)
{
    m_file.close();
    m_file.setFileName(path);
    // Appending lets a person keep one log across several runs; tests pass a fresh path.
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        if (error)
            *error = path + u": "_s + m_file.errorString();
        return false;
    }
    return true;
}

void SimLog::append(QJsonObject entry)
{
    entry.insert(u"time"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    m_entries.append(entry);
    if (m_file.isOpen()) {
        m_file.write(QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n');
        m_file.flush();
    }
    Q_EMIT appended(entry);
}

QList<QJsonObject> SimLog::entries(const QString &event) const
{
    QList<QJsonObject> result;
    for (const QJsonObject &entry : m_entries) {
        if (entry.value(u"event"_s).toString() == event)
            result.append(entry);
    }
    return result;
}

} // namespace lanternfold::sim
