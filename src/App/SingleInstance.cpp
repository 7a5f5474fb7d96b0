// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "App/SingleInstance.h"

#include "Platform/FileLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

#include <chrono>

#include <sys/stat.h>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {
// "open" and a space and the launch's activation token, if it has one, on one line.
constexpr QByteArrayView openRequest("open");
constexpr qsizetype tokenLimit = 512;

/// An activation token is opaque, but goes into the environment and onto a line: printable
/// ASCII without spaces and of a sane length, or nothing.
QByteArray usableToken(const QByteArray &token)
{
    if (token.size() > tokenLimit)
        return {};
    for (const char c : token) {
        if (c <= ' ' || c > '~')
            return {};
    }
    return token;
}
constexpr std::chrono::milliseconds handOverTimeout{2000};
} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject *parent)
    : QObject(parent), m_socketPath(std::move(socketPath))
{
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultSocketPath()
{
    // Read directly: without the variable, Qt would make a folder of its own in the shared /tmp.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir())
        return QDir(runtime).filePath(u"lanternfold.socket"_s);
    // Nothing in the shared /tmp, where another user could take the name first: a folder of the
    // user's own, readable by nobody else.
    const QString folder =
        QDir(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)).filePath(u"lanternfold"_s);
    QDir().mkpath(folder);
    ::chmod(QFile::encodeName(folder).constData(), 0700);
    return QDir(folder).filePath(u"lanternfold.socket"_s);
}

QByteArray SingleInstance::launchActivationToken()
{
    return usableToken(qgetenv("XDG_ACTIVATION_TOKEN"));
}

SingleInstance::Claim SingleInstance::claim()
{
    // Two launches at the same moment must not both remove and re-create the socket.
    FileLock lock(m_socketPath + u".lock"_s);
    if (!lock.tryLock(handOverTimeout))
        return Claim::failed;
    switch (handOver()) {
    case HandOver::answered:
        return Claim::handedOver;
    case HandOver::unanswered:
        // A socket that accepts a connection belongs to a running instance, busy for now: it finds
        // the request when it gets to it. Its socket is never removed.
        return Claim::leftForBusyInstance;
    case HandOver::nobody:
        break;
    }
    // Nobody listens: whatever socket file is there was left by a process that ended.
    QLocalServer::removeServer(m_socketPath);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_socketPath)) {
        delete m_server;
        m_server = nullptr;
        return Claim::failed;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptRequest);
    return Claim::primary;
}

SingleInstance::HandOver SingleInstance::handOver()
{
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    if (!socket.waitForConnected(int(handOverTimeout.count())))
        return HandOver::nobody;
    QByteArray request = openRequest.toByteArray();
    const QByteArray token = usableToken(m_activationToken);
    if (!token.isEmpty())
        request += ' ' + token;
    request += '\n';
    socket.write(request);
    if (!socket.waitForBytesWritten(int(handOverTimeout.count())))
        return HandOver::unanswered;
    // The running instance answers once it has taken the request.
    if (socket.waitForReadyRead(int(handOverTimeout.count())) && socket.readAll().startsWith("ok"))
        return HandOver::answered;
    return HandOver::unanswered;
}

void SingleInstance::acceptRequest()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            const QByteArray line = socket->readLine(tokenLimit + 16);
            const QByteArray request = line.endsWith('\n') ? line.chopped(1) : QByteArray();
            const qsizetype space = request.indexOf(' ');
            const QByteArray verb = space < 0 ? request : request.left(space);
            if (verb == openRequest) {
                socket->write(QByteArrayLiteral("ok\n"));
                const QByteArray token = space < 0 ? QByteArray() : usableToken(request.mid(space + 1));
                Q_EMIT openRequested(QString::fromLatin1(token));
            }
            socket->disconnectFromServer();
        });
    }
}

} // namespace lanternfold
