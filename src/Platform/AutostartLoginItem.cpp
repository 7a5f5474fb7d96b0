// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/AutostartLoginItem.h"

#include "Platform/DesktopEntry.h"
#include "Platform/PlatformLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

/// Empty when the program's file cannot be found, for instance after an upgrade deleted the file
/// that is running.
QString programPath()
{
    return QCoreApplication::applicationFilePath();
}

} // namespace

AutostartLoginItem::AutostartLoginItem(QString configFolder) : m_configFolder(std::move(configFolder)) {}

QString AutostartLoginItem::userConfigFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
}

QString AutostartLoginItem::autostartFilePath() const
{
    return m_configFolder + u"/autostart/lanternfold.desktop"_s;
}

LoginItemService::Status AutostartLoginItem::status() const
{
    QFile file(autostartFilePath());
    if (file.exists()) {
        // A file that cannot be read (a folder in its place) shows no key that hides it.
        const QByteArray contents = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        if (!desktopentry::hidesAutostart(contents))
            return Status::enabled;
    }
    return programPath().isEmpty() ? Status::notFound : Status::notRegistered;
}

Result<Done, QString> AutostartLoginItem::setEnabled(bool enabled)
{
    const bool isEnabled = status() == Status::enabled;
    if (enabled == isEnabled)
        return Done{};
    qCDebug(lcPlatform) << "login item:" << (enabled ? "registering" : "unregistering") << autostartFilePath();
    return enabled ? registerProgram() : unregisterProgram();
}

Result<Done, QString> AutostartLoginItem::registerProgram() const
{
    const QString program = programPath();
    if (program.isEmpty())
        return QCoreApplication::translate(
            "AutostartLoginItem", "Lanternfold cannot find its own program file, so it cannot be started at login.");
    const QString path = autostartFilePath();
    // A folder that cannot be made needs no message of its own: the save below fails and says why.
    QDir().mkpath(QFileInfo(path).absolutePath());
    // Written aside and renamed into place, so a session that starts meanwhile never reads half an entry.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    const QByteArray entry = desktopentry::autostartEntry(program);
    if (file.write(entry) != entry.size()) {
        QString error = file.errorString();
        file.cancelWriting();
        return error;
    }
    if (!file.commit())
        return file.errorString();
    return Done{};
}

Result<Done, QString> AutostartLoginItem::unregisterProgram() const
{
    QFile file(autostartFilePath());
    if (!file.remove())
        return file.errorString();
    return Done{};
}

} // namespace lanternfold
