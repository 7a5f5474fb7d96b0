#pragma once

#include "Models/Result.h"

#include <QCoroTask>
#include <QString>

#include <chrono>
#include <optional>

namespace lanternfold {

/// The controller password in the Secret Service (GNOME Keyring, KWallet) through QtKeychain.
///
/// QtKeychain has no timeout of its own and can wait forever (an unlock prompt nobody answers, a
/// keyring daemon that hangs), so every keyring call here gives up after `timeout()`. Waiting never
/// blocks the event loop. A call that gave up leaves its QtKeychain job running: the job is never
/// deleted while QtKeychain may still call back into it, and deletes itself (deleteLater) once it
/// finishes, however late. QtKeychain runs its jobs one at a time, so calls made while such a job
/// hangs wait behind it and give up in turn; their order is kept.
class KeychainService final
{
public:
    static const QString service; // "com.lanternfold.controller"
    static constexpr std::chrono::seconds defaultTimeout{10};

    /// How long each keyring call waits before it gives up: `defaultTimeout` unless changed.
    static std::chrono::milliseconds timeout();
    /// Tests shorten it so that a keyring that never answers costs them little time; the program
    /// keeps the default. Main thread only; calls already waiting keep the limit they started with.
    static void setTimeout(std::chrono::milliseconds timeout);

    /// host + ":" + username, joined without spaces.
    static QString account(const QString &host, const QString &username);

    /// Replaces the account's password: deletes any item, then writes. Failures are silent. Each of the
    /// two keyring calls gives up after `timeout()`.
    static QCoro::Task<Done> savePassword(QString password, QString account);

    /// The account's password; nothing when there is none, when the keyring is locked, missing or
    /// does not answer within `timeout()`, or when the data is not UTF-8.
    static QCoro::Task<std::optional<QString>> readPassword(QString account);

    /// For tests: QtKeychain jobs started here that have not been deleted yet, including those whose
    /// callers gave up waiting. Main thread only.
    static int liveJobCount();
};

} // namespace lanternfold
