// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/ServerPasswords.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

/// A password file is a line: what follows its first line break is not part of the password.
QString firstLine(const QByteArray &bytes)
{
    const qsizetype end = bytes.indexOf('\n');
    QByteArray line = end < 0 ? bytes : bytes.left(end);
    if (line.endsWith('\r'))
        line.chop(1);
    return QString::fromUtf8(line);
}

/// Passwords are short; a file larger than this is not one.
constexpr qint64 passwordFileLimit = 4096;

} // namespace

ServerPasswords::ServerPasswords(KeychainService &keyring, QString passwordFile, QString credentialsDirectory)
    : m_keyring(keyring),
      m_passwordFile(std::move(passwordFile)),
      m_credentialsDirectory(std::move(credentialsDirectory))
{
}

QCoro::Task<Done> ServerPasswords::savePassword(QString password, QString account)
{
    co_return co_await m_keyring.savePassword(std::move(password), std::move(account));
}

QCoro::Task<std::optional<QString>> ServerPasswords::readPassword(QString account)
{
    if (auto saved = co_await m_keyring.readPassword(std::move(account)))
        co_return saved;
    if (auto credential = readCredential(m_credentialsDirectory))
        co_return credential;
    if (m_passwordFile.isEmpty())
        co_return std::nullopt;
    auto fromFile = readPasswordFile(m_passwordFile);
    if (!fromFile.ok())
        co_return std::nullopt;
    co_return std::move(fromFile).value();
}

Result<QString, ServerPasswords::Refusal> ServerPasswords::readPasswordFile(const QString &path)
{
    const QByteArray encoded = QFile::encodeName(path);
    // Opened first and checked through the descriptor, so that the file checked is the file read.
    const int descriptor = ::open(encoded.constData(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0)
        return Refusal{
            u"The password file %1 cannot be read: %2."_s.arg(path, QString::fromLocal8Bit(std::strerror(errno)))};
    struct stat status = {};
    QString refusal;
    if (::fstat(descriptor, &status) != 0)
        refusal = u"The password file %1 cannot be read: %2."_s.arg(path, QString::fromLocal8Bit(std::strerror(errno)));
    else if (!S_ISREG(status.st_mode))
        refusal = u"The password file %1 is not a regular file."_s.arg(path);
    else if (status.st_uid != ::geteuid())
        refusal =
            u"The password file %1 belongs to another user. It must be your own, readable by you alone."_s.arg(path);
    else if ((status.st_mode & 077) != 0)
        refusal = u"The password file %1 can be read or changed by other users (mode %2). Make it yours alone: "
                  u"chmod 600 %1"_s.arg(path, QString::number(status.st_mode & 0777, 8).rightJustified(4, u'0'));
    else if (status.st_size > passwordFileLimit)
        refusal = u"The password file %1 is too large to hold a password."_s.arg(path);
    if (!refusal.isEmpty()) {
        ::close(descriptor);
        return Refusal{refusal};
    }
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return Refusal{u"The password file %1 cannot be read: %2."_s.arg(path, file.errorString())};
    const QByteArray bytes = file.read(passwordFileLimit);
    const QString password = firstLine(bytes);
    if (password.isEmpty())
        return Refusal{u"The password file %1 is empty."_s.arg(path)};
    return password;
}

std::optional<QString> ServerPasswords::readCredential(const QString &credentialsDirectory)
{
    if (credentialsDirectory.isEmpty())
        return std::nullopt;
    QFile file(QDir(credentialsDirectory).filePath(u"password"_s));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QString password = firstLine(file.read(passwordFileLimit));
    if (password.isEmpty())
        return std::nullopt;
    return password;
}

} // namespace lanternfold
