#include "Platform/KeychainService.h"

#include "Async/Latch.h"

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QStringDecoder>
#include <QTimer>

#include <qt6keychain/keychain.h>

#include <memory>

namespace lanternfold {

using namespace Qt::StringLiterals;

const QString KeychainService::service = u"com.lanternfold.controller"_s;

namespace {

// Off by default; QT_LOGGING_RULES="lanternfold.keychain.debug=true" shows each keyring call, its
// outcome and how long it took. Never the password.
Q_LOGGING_CATEGORY(lcKeychain, "lanternfold.keychain", QtInfoMsg)

int liveJobs = 0;
constexpr std::chrono::milliseconds defaultCallTimeout = KeychainService::defaultTimeout;
std::chrono::milliseconds callTimeout = defaultCallTimeout;

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
    auto *job = new JobType(KeychainService::service);
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
        qCDebug(lcKeychain) << kindOf(finished) << finished->key() << "finished after" << clock.elapsed() << "ms, error"
                            << finished->error() << finished->errorString();
    });
    const QString key = job->key();
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
        qCDebug(lcKeychain) << kind << key << "gave up after" << clock.elapsed() << "ms";
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

QString KeychainService::account(const QString &host, const QString &username)
{
    return host + u':' + username;
}

QCoro::Task<Done> KeychainService::savePassword(QString password, QString account)
{
    // The delete's outcome does not matter: there may be nothing to delete. When it gave up, the
    // write still goes ahead: QtKeychain keeps the order of its jobs, so if the keyring answers
    // later, the delete still runs before the write.
    auto *remove = newJob<QKeychain::DeletePasswordJob>(account);
    (void)co_await finishOrGiveUp(remove, timeout());

    auto *write = newJob<QKeychain::WritePasswordJob>(account);
    // As text, the item holds the UTF-8 bytes themselves (type "plaintext"), which other keyring
    // tools show as the password; binary data would be stored base64-encoded.
    write->setTextData(password);
    (void)co_await finishOrGiveUp(write, timeout());
    co_return Done{};
}

QCoro::Task<std::optional<QString>> KeychainService::readPassword(QString account)
{
    auto *read = newJob<QKeychain::ReadPasswordJob>(account);
    const JobOutcome outcome = co_await finishOrGiveUp(read, timeout());
    if (!outcome.finished || outcome.error != QKeychain::NoError)
        co_return std::nullopt;
    co_return decodeUtf8(outcome.data);
}

std::chrono::milliseconds KeychainService::timeout()
{
    return callTimeout;
}

void KeychainService::setTimeout(std::chrono::milliseconds timeout)
{
    callTimeout = timeout;
}

int KeychainService::liveJobCount()
{
    return liveJobs;
}

} // namespace lanternfold
