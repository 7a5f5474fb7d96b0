// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/Result.h"
#include "Platform/KeychainService.h"

#include <QString>

#include <optional>

namespace lanternfold {

/// The controller password on a machine that may have no desktop. In this order: the keyring,
/// when a Secret Service answers (as the desktop program keeps it); a systemd credential
/// ($CREDENTIALS_DIRECTORY/password); a file the person named, which must be theirs and readable
/// by nobody else. Saving goes to the keyring only: a password is never written to a file here.
class ServerPasswords final : public KeychainService
{
public:
    /// passwordFile: empty for none; credentialsDirectory: the service manager's folder, empty
    /// for none.
    ServerPasswords(KeychainService &keyring, QString passwordFile, QString credentialsDirectory);
    ~ServerPasswords() override = default;
    Q_DISABLE_COPY_MOVE(ServerPasswords)

    QCoro::Task<Done> savePassword(QString password, QString account) override;
    QCoro::Task<std::optional<QString>> readPassword(QString account) override;

    /// The password in the file at path, or why it may not be used: a file that is not the
    /// user's own, that the group or others may read or write, or that cannot be read. One line
    /// break at its end is not part of the password.
    struct Refusal
    {
        QString text;
    };
    static Result<QString, Refusal> readPasswordFile(const QString &path);
    /// The credential the service manager passes: credentialsDirectory/password.
    static std::optional<QString> readCredential(const QString &credentialsDirectory);

private:
    KeychainService &m_keyring;
    QString m_passwordFile;
    QString m_credentialsDirectory;
};

} // namespace lanternfold
