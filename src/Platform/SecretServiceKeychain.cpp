// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/SecretServiceKeychain.h"

#include "Async/Latch.h"
#include "Platform/PlatformLog.h"

#include <QElapsedTimer>
#include <QStringDecoder>
#include <QTimer>

#include <qt6keychain/keychain.h>

#include <memory>

namespace lanternfold {

using namespace Qt::StringLiterals;

const QString SecretServiceKeychain::service = u"com.lanternfold.controller"_s;

namespace {

int liveJobs = 0;

/// What a job reported, copied out of it the moment it finished: the job goes away soon after,
/// and a caller that stopped waiting never looks.
struct JobOutcome
{
    bool finished = false;
    QKeychain::Error error = QKeychain::NoError;
    QByteArray data;
};

/// A job for account under the program's service, with its lifetime settled: it is deleted (later,
/// from the event loop) once it has finished, and not before. Until its D-Bus calls end,
/// QtKeychain and libsecret hold raw pointers to the job, so deleting it when a caller gives up
/// would leave their callback pointing at freed memory; deleting it from inside its own
/// `finished` signal would pull it from under QtKeychain, which still uses it after emitting.
/// A job that never finishes therefore stays until the program ends. QtKeychain's own
/// auto-delete is off so that this rule lives here, whatever its default.
template <typename JobType>
JobType *newJob(const QString &account)
{
    auto *job = new JobType(SecretServiceKeychain::service);
    job->setAutoDelete(false);
    // No plain-text file in place of a keyring: a password that cannot go to the keyring is not kept.
    job->setInsecureFallback(false);
    job->setKey(account);
    ++liveJobs;
    QObject::connect(job, &QObject::destroyed, job, [] { --liveJobs; });
    QObject::connect(job, &QKeychain::Job::finished, job, &QObject::deleteLater);
    return job;
}

const char *kindOf(const QKeychain::Job *job)
{
    if (qobject_cast<const QKeychain::ReadPasswordJob *>(job) != nullptr)
        return "read";
    if (qobject_cast<const QKeychain::WritePasswordJob *>(job) != nullptr)
        return "write";
    return "delete";
}

/// Starts job and waits until it finishes or `limit` passes, whichever comes first, in the event
/// loop. `finished` is false in the outcome when the wait gave up.
QCoro::Task<JobOutcome> finishOrGiveUp(QKeychain::Job *job, std::chrono::milliseconds limit)
{
    auto outcome = std::make_shared<JobOutcome>();
    QElapsedTimer clock;
    clock.start();
    // Copied during the signal: by the time this coroutine resumes the job may already be gone.
    QObject::connect(job, &QKeychain::Job::finished, job, [outcome, clock](QKeychain::Job *finished) {
        outcome->finished = true;
        outcome->error = finished->error();
        if (const auto *read = qobject_cast<const QKeychain::ReadPasswordJob *>(finished))
            outcome->data = read->binaryData();
        qCDebug(lcPlatform) << "keyring" << kindOf(finished) << "finished after" << clock.elapsed() << "ms, error"
                            << finished->error() << finished->errorString();
    });
    const char *kind = kindOf(job);

    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    Wakeup wakeup;
    wakeup.watch(job, &QKeychain::Job::finished);
    wakeup.watch(&timer, &QTimer::timeout);
    timer.start(limit);
    job->start();
    co_await wakeup.wait();

    if (!outcome->finished)
        qCInfo(lcPlatform) << "keyring" << kind << "gave up after" << clock.elapsed() << "ms";
    co_return *outcome;
}

/// The password's text; nothing unless bytes are valid UTF-8. An initial byte-order mark is kept as
/// part of the password.
std::optional<QString> decodeUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace

SecretServiceKeychain::SecretServiceKeychain(std::chrono::milliseconds timeout) : m_timeout(timeout) {}

QCoro::Task<Done> SecretServiceKeychain::savePassword(QString password, QString account)
{
    // Taken now: the adapter may be gone by the time the delete has given up.
    const std::chrono::milliseconds limit = m_timeout;
    // The delete's outcome does not matter: there may be nothing to delete. When it gave up, the
    // write still goes ahead: QtKeychain keeps the order of its jobs, so if the keyring answers
    // later, the delete still runs before the write.
    auto *remove = newJob<QKeychain::DeletePasswordJob>(account);
    (void)co_await finishOrGiveUp(remove, limit);

    auto *write = newJob<QKeychain::WritePasswordJob>(account);
    // As text, the item holds the UTF-8 bytes themselves (type "plaintext"), which other keyring
    // tools show as the password; binary data would be stored base64-encoded.
    write->setTextData(password);
    (void)co_await finishOrGiveUp(write, limit);
    co_return Done{};
}

QCoro::Task<std::optional<QString>> SecretServiceKeychain::readPassword(QString account)
{
    auto *read = newJob<QKeychain::ReadPasswordJob>(account);
    const JobOutcome outcome = co_await finishOrGiveUp(read, m_timeout);
    if (!outcome.finished || outcome.error != QKeychain::NoError)
        co_return std::nullopt;
    co_return decodeUtf8(outcome.data);
}

int SecretServiceKeychain::liveJobCount()
{
    return liveJobs;
}

} // namespace lanternfold
