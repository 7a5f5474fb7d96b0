#include "Platform/LoginItemService.h"

#include "Platform/DesktopEntry.h"

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

Result<Done, QString> registerProgram()
{
    const QString program = programPath();
    if (program.isEmpty())
        return u"Lanternfold cannot find its own program file, so it cannot be started at login."_s;
    const QString path = LoginItemService::autostartFilePath();
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

Result<Done, QString> unregisterProgram()
{
    QFile file(LoginItemService::autostartFilePath());
    if (!file.remove())
        return file.errorString();
    return Done{};
}

} // namespace

QString LoginItemService::autostartFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/autostart/lanternfold.desktop"_s;
}

LoginItemService::Status LoginItemService::status()
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

Result<Done, QString> LoginItemService::setEnabled(bool enabled)
{
    const bool isEnabled = status() == Status::enabled;
    if (enabled == isEnabled)
        return Done{};
    return enabled ? registerProgram() : unregisterProgram();
}

} // namespace lanternfold
