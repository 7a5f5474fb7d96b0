#pragma once

#include "Controller/UnifiAPIError.h"
#include "Models/ControllerConfig.h"
#include "Models/ProtectCamera.h"
#include "Models/RestartTarget.h"
#include "Models/Result.h"
#include "Models/ScheduledJob.h"
#include "Models/UnifiDevice.h"
#include "Schedules/Calendar.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lanternfold {

class CertTrustService;
class CertificateApprover;
class ControllerSession;
class Latch;
class ScheduleStore;
class SchedulerEngine;
class UnifiAPIClient;
struct SessionRenewal;

/// Waits duration, or less when cancel is set first; true when it all passed. Any number of
/// seconds a jobs file holds, in steps a timer can hold.
QCoro::Task<bool> realPause(std::chrono::seconds duration, std::shared_ptr<Latch> cancel);

/// Where the application state takes the time, the calendar and the pauses between restarts from;
/// tests pass fixed instants and pauses that return at once.
struct AppStateClock
{
    using Pause = std::function<QCoro::Task<bool>(std::chrono::seconds, std::shared_ptr<Latch>)>;

    std::function<QDateTime()> now = [] { return QDateTime::currentDateTimeUtc(); };
    std::function<Calendar()> calendar = [] { return Calendar::current(); };
    Pause pause = realPause;
};

/// The one state that the windows and the scheduler share: the saved controller, the login, the
/// device lists, the jobs, the last error and the activity log. It is the only writer of all of
/// them, on the main thread, and performs the connection's life: connect, reconnect, disconnect
/// and refresh, restarts and the job list.
///
/// Every operation suspends without blocking and reports failures only through lastError and the
/// activity log. The state may be destroyed while operations are suspended (the program quits):
/// they then end without touching it, and nothing more is sent to the controller.
class AppState final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AppState)
    Q_PROPERTY(std::optional<lanternfold::ControllerConfig> config READ config NOTIFY configChanged)
    Q_PROPERTY(bool isLoggedIn READ isLoggedIn NOTIFY isLoggedInChanged)
    Q_PROPERTY(bool isConnecting READ isConnecting NOTIFY isConnectingChanged)
    Q_PROPERTY(QList<lanternfold::UnifiDevice> accessPoints READ accessPoints NOTIFY accessPointsChanged)
    Q_PROPERTY(QList<lanternfold::ProtectCamera> cameras READ cameras NOTIFY camerasChanged)
    Q_PROPERTY(QList<lanternfold::ScheduledJob> jobs READ jobs NOTIFY jobsChanged)
    Q_PROPERTY(std::optional<QString> lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(QStringList activityLog READ activityLog NOTIFY activityLogChanged)

public:
    static const QString configDefaultsKey;
    static constexpr int activityLogLimit = 200;

    using Clock = AppStateClock;

    /// Loads the jobs and the saved configuration, and starts the scheduler. The configuration lives
    /// in the preferences file at settingsPath (beside the pins of trust).
    AppState(ScheduleStore &store, CertTrustService &trust, QString settingsPath, Clock clock = {},
             QObject *parent = nullptr);
    /// Closes every client first, so that suspended operations end without touching this object.
    ~AppState() override;

    /// The preferences file of the program (Lanternfold/Lanternfold.conf under XDG_CONFIG_HOME).
    static QString defaultSettingsPath();

    [[nodiscard]] const std::optional<ControllerConfig> &config() const { return m_config; }
    [[nodiscard]] bool isLoggedIn() const { return m_isLoggedIn; }
    [[nodiscard]] bool isConnecting() const { return m_isConnecting; }
    [[nodiscard]] const QList<UnifiDevice> &accessPoints() const { return m_accessPoints; }
    [[nodiscard]] const QList<ProtectCamera> &cameras() const { return m_cameras; }
    [[nodiscard]] const QList<ScheduledJob> &jobs() const { return m_jobs; }
    [[nodiscard]] const std::optional<QString> &lastError() const { return m_lastError; }
    [[nodiscard]] const QStringList &activityLog() const { return m_activityLog; }
    [[nodiscard]] SchedulerEngine &scheduler() const { return *m_scheduler; }
    [[nodiscard]] QDateTime now() const { return m_clock.now(); }
    [[nodiscard]] Calendar calendar() const { return m_clock.calendar(); }
    /// Waits duration on the state's clock (tests pass pauses that return at once); false when
    /// cancel was set first. Views that space out their own restarts wait here.
    [[nodiscard]] QCoro::Task<bool> pause(std::chrono::seconds duration, std::shared_ptr<Latch> cancel) const
    {
        return m_clock.pause(duration, std::move(cancel));
    }

    /// Who asks the person about a first-seen key. None installed: such a key is declined.
    void setCertificateApprover(CertificateApprover *approver);
    /// How long a controller may keep one request waiting, for the clients of connects from now on.
    /// Tests shorten it; the program keeps the client's default of 60 seconds.
    void setTransferTimeout(std::chrono::milliseconds timeout) { m_transferTimeout = timeout; }

    // Connection life.
    QCoro::Task<Done> connect(QString host, qint64 port, ControllerKind kind, QString username, QString password,
                              QString site, bool rememberPassword);
    /// Logged in afterwards? With the saved configuration and the keyring's password; while a
    /// connect is under way, its outcome instead of a second attempt.
    QCoro::Task<bool> reconnectIfPossible();
    QCoro::Task<Done> disconnect();
    QCoro::Task<Done> refreshDevices();
    void log(const QString &message);

    // Restarts.
    QCoro::Task<Result<Done, UnifiAPIError>> restart(RestartTarget target);
    struct BatchOutcome
    {
        QList<RestartTarget> succeeded;
        QList<RestartTarget> failed;
    };
    /// One target after the other, staggerSeconds apart. A disconnect (or a new connect) ends the
    /// batch at its next pause: a restart already sent runs to its answer, the targets not reached
    /// are reported as failed.
    QCoro::Task<BatchOutcome> restartBatch(QList<RestartTarget> targets, qint64 staggerSeconds);

    // Jobs.
    void addJob(ScheduledJob job);
    void updateJob(ScheduledJob job);
    void setJob(const ScheduledJob &job, bool enabled);
    /// Removes the jobs at these positions as the schedule list deletes rows: each position is read
    /// against the list as it stands after the removals before it, and every job with that id goes.
    void removeJobs(QList<int> positions);
    /// Records a finished scheduled run of ran (a copy taken when it started): the job of that id,
    /// if it is still there, gets lastRunAt now and its next run, and the list is saved.
    void recordRun(const ScheduledJob &ran);

    /// The text of a key that no longer matches its pin.
    static QString mismatchText(const QString &host, const QString &expected, const QString &presented);

Q_SIGNALS:
    void configChanged();
    void isLoggedInChanged();
    void isConnectingChanged();
    void accessPointsChanged();
    void camerasChanged();
    void jobsChanged();
    void lastErrorChanged();
    void activityLogChanged();

private:
    struct ConnectAttempt;
    struct RenewalBudget;

    void setConfig(std::optional<ControllerConfig> config);
    void setLoggedIn(bool loggedIn);
    void setConnecting(bool connecting);
    void setAccessPoints(QList<UnifiDevice> devices);
    void setCameras(QList<ProtectCamera> cameras);
    void setJobs(QList<ScheduledJob> jobs);
    void setLastError(std::optional<QString> error);
    void saveJobs();

    void loadSavedConfig();
    void persistConfig();

    std::shared_ptr<ControllerSession> openSession(const ControllerConfig &config);
    static QCoro::Task<bool> promptCertificateApproval(QPointer<AppState> self, QString host, QString fingerprint);
    /// Ends a session: batches stop at their next pause, restart commands already sent get their
    /// answer, then the client logs out (when asked), closes and goes.
    static QCoro::Task<void> retire(std::shared_ptr<ControllerSession> session, bool logOut);
    QCoro::Task<Done> performConnect(ControllerConfig config, QString password, bool rememberPassword,
                                     std::shared_ptr<ConnectAttempt> attempt);
    QCoro::Task<Result<Done, UnifiAPIError>> restartOn(std::shared_ptr<ControllerSession> session, RestartTarget target,
                                                       std::shared_ptr<RenewalBudget> budget);
    static QCoro::Task<Result<Done, UnifiAPIError>> sendRestart(std::shared_ptr<ControllerSession> session,
                                                                QPointer<UnifiAPIClient> client, RestartTarget target);
    /// Runs call on the session's client; when the controller says the session expired, logs in
    /// again once (shared with concurrent failures, once per budget) and runs call once more.
    template <typename T>
    QCoro::Task<Result<T, UnifiAPIError>>
    callWithRenewal(std::shared_ptr<ControllerSession> session, std::shared_ptr<RenewalBudget> budget,
                    std::function<QCoro::Task<Result<T, UnifiAPIError>>(UnifiAPIClient &)> call);
    QCoro::Task<bool> renewSession(std::shared_ptr<ControllerSession> session, std::shared_ptr<RenewalBudget> budget);
    QCoro::Task<bool> performRenewal(std::shared_ptr<ControllerSession> session,
                                     std::shared_ptr<SessionRenewal> renewal);
    static bool mayRenew(const UnifiAPIError &error);
    [[nodiscard]] std::optional<QDateTime> nextRunAfterNow(const RecurrenceRule &rule) const;

    ScheduleStore &m_store;
    CertTrustService &m_trust;
    QString m_settingsPath;
    Clock m_clock;

    std::optional<ControllerConfig> m_config;
    bool m_isLoggedIn = false;
    bool m_isConnecting = false;
    QList<UnifiDevice> m_accessPoints;
    QList<ProtectCamera> m_cameras;
    QList<ScheduledJob> m_jobs;
    std::optional<QString> m_lastError;
    QStringList m_activityLog;

    /// The logged-in client and what its retirement waits for; absent when logged out.
    std::shared_ptr<ControllerSession> m_session;
    /// Clients of connects under way; closed together with the state.
    QList<std::weak_ptr<ControllerSession>> m_pending;
    std::shared_ptr<ConnectAttempt> m_connectAttempt;
    QPointer<CertificateApprover> m_approver;
    std::optional<std::chrono::milliseconds> m_transferTimeout;
    SchedulerEngine *m_scheduler = nullptr;
    /// Set by the destructor; every suspended operation checks it before touching the state.
    std::shared_ptr<Latch> m_gone;
};

} // namespace lanternfold
