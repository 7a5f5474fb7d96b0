// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ControllerConfig.h"
#include "Models/RestartTarget.h"
#include "State/AppState.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <memory>
#include <optional>

namespace lanternfold {

class CertTrustService;
class FirstUseTrust;
class KeychainService;
class ScheduleStore;
class TerminalApprover;

/// How lanternfoldctl ends; scripts and the service manager read it.
enum class ExitCode : int {
    success = 0,
    /// Some targets failed (or did not come back), or what was asked could not be read.
    failed = 1,
    usage = 2,
    /// No controller configured, no password, or the controller refused the login.
    notConnected = 3,
    /// The controller's key is not trusted yet, or it changed.
    certificate = 4,
    /// Another process holds the scheduler lock.
    schedulerBusy = 5,
};

/// The subcommands of lanternfoldctl that do one thing and end, over the user's own
/// configuration, pins and jobs (those of the desktop program). Each one prints what a person or
/// a script reads on standard output, what went wrong on standard error, and answers its exit code.
class ControlCommands final
{
    Q_DISABLE_COPY_MOVE(ControlCommands)

public:
    /// passwords: where a login reads the password; keyring: where a connect saves it.
    ControlCommands(ScheduleStore &store, CertTrustService &pins, KeychainService &passwords, KeychainService &keyring,
                    const QString &settingsPath);
    ~ControlCommands();

    [[nodiscard]] AppState &state() const { return *m_state; }
    [[nodiscard]] TerminalApprover &approver() const { return *m_approver; }
    [[nodiscard]] FirstUseTrust &firstUse() const { return *m_firstUse; }

    struct ConnectRequest
    {
        ControllerConfig config;
        bool passwordFromStandardInput = false;
    };
    QCoro::Task<ExitCode> connect(ConnectRequest request);
    /// host and port: the configured controller's when not given.
    /// forget: the key trusted so far is forgotten first (a controller reset or replaced).
    QCoro::Task<ExitCode> trust(std::optional<QString> host, std::optional<qint64> port,
                                std::optional<QString> fingerprint, bool forget);
    QCoro::Task<ExitCode> devices(bool json);
    [[nodiscard]] ExitCode jobs(bool json) const;
    QCoro::Task<ExitCode> status(bool json);
    struct RestartRequest
    {
        QStringList targets;
        qint64 staggerSeconds = 0;
        std::optional<qint64> waitMinutes;
    };
    QCoro::Task<ExitCode> restart(RestartRequest request);
    QCoro::Task<ExitCode> run(QString job);

    /// The targets that identify devices of the lists, in order: a MAC or camera id, else a name
    /// (either case). An unknown or ambiguous one is an error that says which.
    static Result<QList<RestartTarget>, QString> resolveTargets(const QStringList &identifiers,
                                                                const QList<UnifiDevice> &accessPoints,
                                                                const QList<ProtectCamera> &cameras);

    /// The JSON documents of --json: stable field names (see the man page).
    [[nodiscard]] static QJsonObject devicesJson(const AppState &state);
    [[nodiscard]] static QJsonObject jobsJson(const AppState &state);

private:
    /// Logged in with the saved configuration and password; otherwise says why and answers the
    /// exit code.
    QCoro::Task<std::optional<ExitCode>> ensureConnected();
    /// Prints the activity lines of a restart as they come.
    void echoActivity();
    QCoro::Task<ExitCode> restartBatch(QList<RestartTarget> targets, AppState::BatchOptions options);

    ScheduleStore &m_store;
    CertTrustService &m_pins;
    KeychainService &m_keyring;
    std::unique_ptr<FirstUseTrust> m_firstUse;
    std::unique_ptr<TerminalApprover> m_approver;
    std::unique_ptr<AppState> m_state;
};

/// Writes text and a line break to standard output, or to standard error.
void printLine(const QString &text);
void printError(const QString &text);

} // namespace lanternfold
