#include "App/SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>

#include <unistd.h>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {
constexpr QByteArrayView openRequest("open\n");
constexpr int handOverTimeoutMs = 2000;
} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject *parent)
    : QObject(parent), m_socketPath(std::move(socketPath))
{
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultSocketPath()
{
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (!runtime.isEmpty())
        return QDir(runtime).filePath(u"lanternfold.socket"_s);
    return QDir::temp().filePath(u"lanternfold-"_s + QString::number(::getuid()) + u".socket"_s);
}

SingleInstance::Claim SingleInstance::claim()
{
    // Two launches at the same moment must not both remove and re-create the socket.
    QLockFile lock(m_socketPath + u".lock"_s);
    lock.setStaleLockTime(0);
    if (!lock.tryLock(handOverTimeoutMs))
        return Claim::failed;
    if (handOver())
        return Claim::handedOver;
    // Nobody answered: whatever socket file is there was left by a process that ended.
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

bool SingleInstance::handOver()
{
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    if (!socket.waitForConnected(handOverTimeoutMs))
        return false;
    socket.write(openRequest.data(), openRequest.size());
    if (!socket.waitForBytesWritten(handOverTimeoutMs))
        return false;
    // The running instance answers once it has taken the request.
    return socket.waitForReadyRead(handOverTimeoutMs) && socket.readAll().startsWith("ok");
}

void SingleInstance::acceptRequest()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            const QByteArray request = socket->readLine();
            if (request == openRequest) {
                socket->write(QByteArrayLiteral("ok\n"));
                Q_EMIT openRequested();
            }
            socket->disconnectFromServer();
        });
    }
}

} // namespace lanternfold
