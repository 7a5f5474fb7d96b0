// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QFile>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QString>

namespace lanternfold::sim {

/// The simulator's JSON-lines record: kept in memory for in-process tests and, when a file is
/// set, written and flushed line by line so another process can follow it while the server runs.
class SimLog final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SimLog)

public:
    explicit SimLog(QObject *parent = nullptr);
    ~SimLog() override;

    bool setFile(const QString &path, QString *error = nullptr);
    void append(QJsonObject entry);
    [[nodiscard]] const QList<QJsonObject> &entries() const { return m_entries; }
    /// Entries whose "event" equals the given name, in order.
    [[nodiscard]] QList<QJsonObject> entries(const QString &event) const;
    void clear() { m_entries.clear(); }

Q_SIGNALS:
    void appended(const QJsonObject &entry);

private:
    QList<QJsonObject> m_entries;
    QFile m_file;
};

} // namespace lanternfold::sim
