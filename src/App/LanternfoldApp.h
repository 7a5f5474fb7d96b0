// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QString>

#include <chrono>
#include <memory>

class QTimer;

namespace lanternfold {

class AppDelegate;
class AppState;
class CertTrustService;
class CertificateQuestion;
class ContentView;
class FileLock;
class FirstUseTrust;
class KeychainService;
class LoginItemService;
class NotificationService;
class ScheduleStore;
class SchedulerEngine;

/// The desktop services the program runs on: the real ones in the program, fakes in tests.
struct PlatformServices
{
    KeychainService &keychain;
    NotificationService &notifications;
    LoginItemService &loginItem;
};

/// Builds the program's objects once and keeps them for its whole life: the trust in the
/// controller's key with its question, the state and its scheduler with the notifications of its
/// runs, the main window and the tray.
class LanternfoldApp final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LanternfoldApp)

public:
    LanternfoldApp(ScheduleStore &store, CertTrustService &pins, const QString &settingsPath, PlatformServices platform,
                   QObject *parent = nullptr);
    /// The window goes before the state it shows.
    ~LanternfoldApp() override;

    /// Shows the main window; its icon and the tray's follow once the window has painted.
    void start();
    /// Shows the main window, or brings it to the front when it is already open. A later launch's
    /// activation token, when it brought one, lets a Wayland compositor raise the window.
    void openMainWindow(const QString &activationToken = {});

    [[nodiscard]] AppState &appState() const { return *m_appState; }
    [[nodiscard]] SchedulerEngine &scheduler() const { return *m_scheduler; }
    [[nodiscard]] ContentView &window() const { return *m_window; }
    [[nodiscard]] AppDelegate &delegate() const { return *m_delegate; }

    /// The icons wait for the window's first paint, or this long if that never comes.
    static constexpr std::chrono::milliseconds iconDelayLimit{500};

    /// Fills the login form's password from the keyring, for the saved controller and user: for
    /// a profile made to be tried without typing (the demo of scripts/run.sh). Not done otherwise:
    /// the form leaves the password to the person.
    static QCoro::Task<void> fillRememberedPassword(QPointer<LanternfoldApp> self);

    /// Takes the scheduler lock and starts the schedules; false while another process holds it.
    /// Tried at start and then at the scheduler's interval (lockRetry) until it succeeds.
    bool takeOverSchedules();
    /// Running while another process holds the scheduler lock; none before that ever happened.
    [[nodiscard]] QTimer *lockRetry() const { return m_lockRetry; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void setUpIcons();
    /// Without a tray, a closed window would leave the program running out of sight: the first
    /// close of a run says so, and how to get the window back.
    void windowClosed();

    std::unique_ptr<FirstUseTrust> m_firstUse;
    std::unique_ptr<AppState> m_appState;
    SchedulerEngine *m_scheduler = nullptr;
    std::unique_ptr<ContentView> m_window;
    std::unique_ptr<CertificateQuestion> m_question;
    std::unique_ptr<AppDelegate> m_delegate;
    /// At most one process of the user runs the schedules, whatever became of the single-instance
    /// socket; the background service takes the same lock.
    std::unique_ptr<FileLock> m_schedulerLock;
    /// While another process holds the lock: tries again at the scheduler's interval.
    QTimer *m_lockRetry = nullptr;
    bool m_iconsSet = false;
    /// Whether the person was told, this run, that the closed window left the program running.
    bool m_backgroundNoticeGiven = false;
    NotificationService &m_notifications;
};

} // namespace lanternfold
