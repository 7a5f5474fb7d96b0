#include "Platform/FileLock.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace lanternfold {

FileLock::FileLock(const QString &path)
    : m_descriptor(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600))
{
}

FileLock::~FileLock()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool FileLock::tryLock(std::chrono::milliseconds wait)
{
    if (m_descriptor < 0)
        return false;
    if (m_held)
        return true;
    const QDeadlineTimer deadline(wait);
    while (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || deadline.hasExpired())
            return false;
        QThread::msleep(10);
    }
    m_held = true;
    return true;
}

} // namespace lanternfold
