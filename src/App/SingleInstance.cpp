#include "App/SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {
constexpr QByteArrayView openRequest("open\n");
constexpr int handOverTimeoutMs = 2000;

/// Held while one launch looks for a running instance and, finding none, becomes it. An flock on
/// a file beside the socket: the kernel lets go of it when its holder ends, however it ends, so
/// no lock is ever stale, and taking it writes and syncs nothing (which a QLockFile does, costing
/// the start a millisecond or two on a disk).
class LaunchLock final
{
    Q_DISABLE_COPY_MOVE(LaunchLock)

public:
    explicit LaunchLock(const QString &path)
        : m_fd(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
    }
    ~LaunchLock()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }

    bool tryLock(int timeoutMs) const
    {
        if (m_fd < 0)
            return false;
        const QDeadlineTimer deadline(timeoutMs);
        while (::flock(m_fd, LOCK_EX | LOCK_NB) != 0) {
            if ((errno != EWOULDBLOCK && errno != EINTR) || deadline.hasExpired())
                return false;
            QThread::msleep(10);
        }
        return true;
    }

private:
    int m_fd;
};

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
    const LaunchLock lock(m_socketPath + u".lock"_s);
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
