// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Controller/UnifiAPIError.h"
#include "Models/ControllerConfig.h"
#include "Models/ControllerSite.h"
#include "Models/ProtectCamera.h"
#include "Models/RestartTarget.h"
#include "Models/Result.h"
#include "Models/ScheduledJob.h"
#include "Models/UnifiDevice.h"
#include "State/StateClock.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <QCoroTask>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace lanternfold {

class ControllerSession;
class FirstUseTrust;
class JobList;
class KeychainService;
class Latch;
class ScheduleStore;
struct RenewalBudget;

/// The one state that the windows and the scheduler share: the saved controller, the login, the
/// device lists, the jobs, the last error and the activity log, published as properties that the
/// views follow. Its operations are what the views and the scheduler ask for: connect, reconnect,
/// disconnect and refresh, restarts, and changes of the job list. It is the only writer of all of
/// them, on the main thread; the connection itself is a ControllerSession and the jobs a JobList.
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
    Q_PROPERTY(QList<lanternfold::ControllerSite> sites READ sites NOTIFY sitesChanged)
    Q_PROPERTY(QList<lanternfold::UnifiDevice> accessPoints READ accessPoints NOTIFY accessPointsChanged)
    Q_PROPERTY(QList<lanternfold::ProtectCamera> cameras READ cameras NOTIFY camerasChanged)
    Q_PROPERTY(QList<lanternfold::ScheduledJob> jobs READ jobs NOTIFY jobsChanged)
    Q_PROPERTY(std::optional<QString> lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(QStringList activityLog READ activityLog NOTIFY activityLogChanged)
    Q_PROPERTY(bool schedulesRunElsewhere READ schedulesRunElsewhere NOTIFY schedulesRunElsewhereChanged)

public:
    static const QString configDefaultsKey;
    /// The keyring account ("user@host") whose saved password the controller refused, if any.
    static const QString passwordRefusedKey;
    static const QString devicesTabWaitsKey;
    static constexpr int activityLogLimit = 200;

    using Clock = StateClock;

    /// Loads the jobs and the saved configuration; connects nobody. The configuration lives in the
    /// preferences file at settingsPath (beside the pins of trust); the password in keychain.
    AppState(ScheduleStore &store, FirstUseTrust &trust, KeychainService &keychain, QString settingsPath,
             Clock clock = {}, QObject *parent = nullptr);
    /// Closes every session first, so that suspended operations end without touching this object.
    ~AppState() override;

    /// The preferences file of the program (Lanternfold/Lanternfold.conf under XDG_CONFIG_HOME).
    static QString defaultSettingsPath();

    [[nodiscard]] const std::optional<ControllerConfig> &config() const { return m_config; }
    [[nodiscard]] bool isLoggedIn() const { return m_isLoggedIn; }
    [[nodiscard]] bool isConnecting() const { return m_isConnecting; }
    /// The sites the account may use, as the controller listed them after the last connect; none
    /// when logged out or when the controller did not say.
    [[nodiscard]] const QList<ControllerSite> &sites() const { return m_sites; }
    /// The site whose access points are shown, and that new jobs and restarts by hand use.
    [[nodiscard]] QString site() const;
    [[nodiscard]] const QList<UnifiDevice> &accessPoints() const { return m_accessPoints; }
    [[nodiscard]] const QList<ProtectCamera> &cameras() const { return m_cameras; }
    [[nodiscard]] const QList<ScheduledJob> &jobs() const;
    [[nodiscard]] const std::optional<QString> &lastError() const { return m_lastError; }
    [[nodiscard]] const QStringList &activityLog() const { return m_activityLog; }
    [[nodiscard]] QDateTime now() const { return m_clock.now(); }
    [[nodiscard]] Calendar calendar() const { return m_clock.calendar(); }
    [[nodiscard]] std::chrono::milliseconds sinceBoot() const { return m_clock.sinceBoot(); }
    /// The controller refused the saved password of the configured controller and user: no
    /// automatic login is tried until the person connects by hand. Kept across restarts.
    [[nodiscard]] bool isSavedPasswordRefused() const;
    /// The password the keyring holds for the saved controller and user, unless the controller
    /// refused it; nothing without a saved configuration. Asks nobody (the keyring's own time limit).
    [[nodiscard]] QCoro::Task<std::optional<QString>> rememberedPassword();
    /// Whether the Devices tab's restarts wait for each device to come back (a preference).
    [[nodiscard]] bool devicesTabWaits() const;
    void setDevicesTabWaits(bool waits);
    /// The last automatic reconnect stopped at a key that nobody has confirmed (new or changed).
    [[nodiscard]] bool reconnectNeedsCertificate() const { return m_reconnectNeedsCertificate; }
    /// Another process (the background service) runs the schedules; this one leaves them to it.
    [[nodiscard]] bool schedulesRunElsewhere() const { return m_schedulesRunElsewhere; }
    void setSchedulesRunElsewhere(bool elsewhere);
    /// The jobs themselves, for the scheduler that records their runs.
    [[nodiscard]] JobList &jobList() const { return *m_jobList; }

    /// How long a controller may keep one request waiting, for the sessions of connects from now
    /// on. Tests shorten it; the program keeps the client's default of 60 seconds.
    void setTransferTimeout(std::chrono::milliseconds timeout) { m_transferTimeout = timeout; }
    /// How long one request may take from its start, for the sessions of connects from now on.
    void setRequestDeadline(std::chrono::milliseconds deadline) { m_requestDeadline = deadline; }

    // Connection life.
    /// Logs in to config's controller with password; on success the configuration is saved, and the
    /// password too when rememberPassword.
    QCoro::Task<Done> connect(ControllerConfig config, QString password, bool rememberPassword);
    /// Logged in afterwards? With the saved configuration and the keyring's password; while a
    /// connect is under way, its outcome instead of a second attempt. Nobody watches it: a key not
    /// confirmed yet is not asked about (reconnectNeedsCertificate), and a saved password the
    /// controller refused is not tried again until the person connects by hand.
    QCoro::Task<bool> reconnectIfPossible();
    QCoro::Task<Done> disconnect();
    /// Before the state is destroyed on purpose (a service told to stop): restart commands already
    /// sent get their answers (up to a request's deadline and a grace), and from now on no command
    /// is sent; an operation that would send one waits for the state's end instead. A scheduled run
    /// under way thus stops exactly where it was, its progress kept in the jobs file, as when the
    /// program quits, and is resumed with the rest at the next start.
    QCoro::Task<Done> prepareToQuit();
    QCoro::Task<Done> refreshDevices();
    /// Shows the site of that short id from now on: saved in the configuration, then the devices
    /// are fetched again. Nothing when it is the site shown already.
    QCoro::Task<Done> chooseSite(QString name);
    /// How much an activity line matters to someone reading a service's journal.
    enum class LogLevel : std::uint8_t { info, warning, error };
    Q_ENUM(LogLevel)
    /// Adds a line to the activity log (newest first, at most activityLogLimit).
    void log(const QString &message, LogLevel level = LogLevel::info);

    // Restarts.
    QCoro::Task<Result<Done, UnifiAPIError>> restart(RestartTarget target);
    struct BatchOutcome
    {
        /// Whose restart command the controller accepted, and whose it did not.
        QList<RestartTarget> succeeded;
        QList<RestartTarget> failed;
        /// With waiting: of the succeeded, those that came back online and those that did not
        /// within the limit; the targets never restarted because the batch stopped at one of them.
        QList<RestartTarget> backOnline;
        QList<RestartTarget> notBack;
        QList<RestartTarget> notRestarted;
        /// The wait's limit per device, when the batch waited.
        std::optional<qint64> waitMinutes;
        /// From the first command until the last device was back (waiting batches).
        std::chrono::seconds duration{0};

        /// What the batch did, in one line for the activity log and a notification.
        [[nodiscard]] QString summary() const;
    };
    /// How a batch runs.
    struct BatchOptions
    {
        /// Between two targets; none before the first or after the last.
        std::chrono::seconds pause{0};
        /// Set by whoever started the batch to call it off: it ends at its next pause and sends
        /// nothing more. None: only the session's end stops it.
        std::shared_ptr<Latch> cancel;
        /// A scheduled batch belongs to the session logged in when it starts: a disconnect (or a
        /// new connect) ends it at its next pause, and the targets not reached are reported as
        /// failed. A batch that follows the login (the Devices tab's) restarts each target as a
        /// single restart would, through whatever session is logged in at that moment, and runs
        /// to its end.
        bool followsTheLogin = false;
        /// Told of each target just before its restart is sent, so that a run cut short knows
        /// which devices it reached.
        std::function<void(const RestartTarget &)> sending;
        /// After each restart, watch the device until it is back online before the pause and the
        /// next target (read every checkInterval); none: the pause alone separates them.
        std::optional<ScheduledJob::WaitForOnline> waitForOnline;
        /// The site whose access points are restarted (a job's own); none: the site shown at each
        /// restart.
        std::optional<QString> site;
    };
    static constexpr std::chrono::seconds checkInterval{5};
    /// "1 min 48 s", "10 min", "45 s".
    static QString durationText(std::chrono::seconds duration);
    /// One target after the other, staggerSeconds apart, as a scheduled run restarts its devices.
    QCoro::Task<BatchOutcome> restartBatch(QList<RestartTarget> targets, qint64 staggerSeconds);
    QCoro::Task<BatchOutcome> restartBatch(QList<RestartTarget> targets, BatchOptions options);

    // Jobs.
    void addJob(ScheduledJob job);
    void updateJob(ScheduledJob job);
    void setJob(const ScheduledJob &job, bool enabled);
    /// Removes the jobs at these positions as the schedule list deletes rows (JobList::remove).
    void removeJobs(QList<int> positions);

Q_SIGNALS:
    void configChanged();
    void isLoggedInChanged();
    void isConnectingChanged();
    void accessPointsChanged();
    void camerasChanged();
    void sitesChanged();
    void jobsChanged();
    void lastErrorChanged();
    void activityLogChanged();
    void schedulesRunElsewhereChanged();
    /// One line just added to the activity log, without its time stamp.
    void logged(lanternfold::AppState::LogLevel level, const QString &message);
    /// The controller refused the saved password of an automatic login; said once per refusal.
    void savedPasswordRefused();

private:
    struct ConnectAttempt;

    void setConfig(std::optional<ControllerConfig> config);
    void setLoggedIn(bool loggedIn);
    void setConnecting(bool connecting);
    void setAccessPoints(QList<UnifiDevice> devices);
    void setCameras(QList<ProtectCamera> cameras);
    void setSites(QList<ControllerSite> sites);
    void setLastError(std::optional<QString> error);

    void loadSavedConfig();
    void persistConfig();

    ControllerSession *openSession(const ControllerConfig &config);
    /// The logged-in session can no longer be used (its renewal was refused or impossible): the
    /// state is logged out, as after a disconnect, without telling the controller.
    void endSession(ControllerSession *session);
    /// Remembers that the controller refused config's saved password, and says so once.
    void markPasswordRefused(const ControllerConfig &config);
    void clearPasswordRefused();
    /// Ends a session as ControllerSession::retire does, then lets it go.
    static QCoro::Task<void> retire(QPointer<ControllerSession> session, bool logOut);
    /// unattended: an automatic reconnect, which asks nobody and records a refused password.
    QCoro::Task<Done> performConnect(ControllerConfig config, QString password, bool rememberPassword,
                                     std::shared_ptr<ConnectAttempt> attempt, bool unattended);
    QCoro::Task<Result<Done, UnifiAPIError>> restartOn(QPointer<ControllerSession> session, RestartTarget target,
                                                       std::shared_ptr<RenewalBudget> budget, QString site);
    /// Asks a session that has just logged in for the account's sites and publishes them; config
    /// as it is, or with the first site when the account has none of config's name.
    QCoro::Task<ControllerConfig> learnSites(QPointer<ControllerSession> session, ControllerConfig config);

    FirstUseTrust &m_trust;
    KeychainService &m_keychain;
    QString m_settingsPath;
    Clock m_clock;
    JobList *m_jobList = nullptr;

    std::optional<ControllerConfig> m_config;
    bool m_isLoggedIn = false;
    bool m_isConnecting = false;
    QList<UnifiDevice> m_accessPoints;
    QList<ProtectCamera> m_cameras;
    QList<ControllerSite> m_sites;
    std::optional<QString> m_lastError;
    QStringList m_activityLog;

    /// The logged-in session; none when logged out.
    QPointer<ControllerSession> m_session;
    /// Sessions of connects under way; closed together with the state.
    QList<QPointer<ControllerSession>> m_pending;
    std::shared_ptr<ConnectAttempt> m_connectAttempt;
    std::optional<std::chrono::milliseconds> m_transferTimeout;
    std::optional<std::chrono::milliseconds> m_requestDeadline;
    bool m_reconnectNeedsCertificate = false;
    bool m_schedulesRunElsewhere = false;
    /// Set by the destructor; every suspended operation checks it before touching the state.
    std::shared_ptr<Latch> m_gone;
    /// Set by prepareToQuit: no restart command leaves any more.
    bool m_quitting = false;
};

} // namespace lanternfold
