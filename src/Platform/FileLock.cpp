// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

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

void FileLock::unlock()
{
    if (!m_held)
        return;
    // The note goes first: a note in a file nobody locks describes nobody.
    (void)::ftruncate(m_descriptor, 0);
    ::flock(m_descriptor, LOCK_UN);
    m_held = false;
}

// Not const: it changes the file this object stands for.
void FileLock::setHolderNote(const QByteArray &note) // NOLINT(readability-make-member-function-const)
{
    if (!m_held)
        return;
    if (::ftruncate(m_descriptor, 0) != 0)
        return;
    (void)::pwrite(m_descriptor, note.constData(), static_cast<size_t>(note.size()), 0);
}

std::optional<QByteArray> FileLock::holderNote(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor < 0)
        return std::nullopt;
    std::optional<QByteArray> note;
    // Only a held lock has a holder: the lock taken here means nobody else holds it.
    if (::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        char buffer[256];
        const ssize_t size = ::pread(descriptor, buffer, sizeof buffer, 0);
        note = size > 0 ? QByteArray(buffer, size).trimmed() : QByteArray();
    }
    ::close(descriptor);
    return note;
}

} // namespace lanternfold
