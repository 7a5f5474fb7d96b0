// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QCoroTask>
#include <QPointer>
#include <QWidget>

#include <optional>

class QAction;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QStackedWidget;

namespace lanternfold {

class ActivityLogList;
class AppState;
class CertTrustService;
class LoginItemService;

/// The Settings tab: the controller in use and a way to disconnect from it, forgetting that
/// controller's pinned certificate, launching at login, and the activity log. It keeps only the
/// launch-at-login switch's position and the last error of that switch; everything else it reads
/// from the application state as it changes.
class SettingsView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SettingsView)

public:
    SettingsView(AppState &state, CertTrustService &trust, LoginItemService &loginItem, QWidget *parent = nullptr);

    /// The switch's position: registered at login when the view was made, then as flipped (and
    /// set back after a failed change).
    [[nodiscard]] bool launchAtLogin() const { return m_launchAtLogin; }
    /// What the last failed change of the login registration said; absent after a success.
    [[nodiscard]] const std::optional<QString> &loginItemError() const { return m_loginItemError; }
    /// "Schedules are run by the background service.", shown while it does.
    [[nodiscard]] QLabel *serviceNote() const { return m_serviceNote; }
    /// The program's Quit as a button, shown when asked: where no tray holds the menu, the window
    /// is the only place to end the program from.
    void setQuitAction(QAction *quit, bool shown);
    [[nodiscard]] QPushButton *quitButton() const { return m_quitButton; }

protected:
    void changeEvent(QEvent *event) override;

private:
    [[nodiscard]] QWidget *makeControllerDetails();
    void showController();
    void showActivityLog();
    /// The Site row: shown while the account has more than one site, on the one shown.
    void showSites();
    static QCoro::Task<void> chooseSite(QPointer<SettingsView> self, QString name);
    void applyTextColours();
    void forgetPinnedCertificate();
    void launchAtLoginFlipped(bool enabled);
    void setLoginItemError(std::optional<QString> error);
    static QCoro::Task<void> disconnectController(QPointer<SettingsView> self);

    AppState &m_state;
    CertTrustService &m_trust;
    LoginItemService &m_loginItem;
    bool m_launchAtLogin = false;
    std::optional<QString> m_loginItemError;

    QList<QLabel *> m_secondaryLabels;
    QWidget *m_controllerDetails = nullptr;
    QLabel *m_hostValue = nullptr;
    QLabel *m_typeValue = nullptr;
    QLabel *m_usernameValue = nullptr;
    QFormLayout *m_controllerForm = nullptr;
    QComboBox *m_sitePicker = nullptr;
    QPushButton *m_disconnectButton = nullptr;
    QPushButton *m_quitButton = nullptr;
    QPointer<QAction> m_quit;
    QLabel *m_notConnected = nullptr;
    QPushButton *m_forgetButton = nullptr;
    QCheckBox *m_launchSwitch = nullptr;
    QLabel *m_loginItemErrorLabel = nullptr;
    QLabel *m_serviceNote = nullptr;
    QStackedWidget *m_log = nullptr;
    QLabel *m_noActivity = nullptr;
    ActivityLogList *m_logList = nullptr;
};

} // namespace lanternfold
