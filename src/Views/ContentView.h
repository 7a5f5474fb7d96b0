// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QPointer>
#include <QWidget>

class QAction;
class QStackedLayout;
#include <QTabWidget>

namespace lanternfold {

class AppState;
class CertTrustService;
class DeviceListModel;
class LoginItemService;
class LoginView;
class SettingsView;

/// The main window's content: the login form until a login succeeds, then the Devices, Schedules
/// and Settings tabs; a disconnect brings the form back. Swapped in place, never by reopening.
class ContentView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ContentView)

public:
    static constexpr QSize minimumContentSize{620, 560};

    ContentView(AppState &appState, CertTrustService &trust, LoginItemService &loginItem, QWidget *parent = nullptr);
    ~ContentView() override;

    [[nodiscard]] LoginView *loginView() const { return m_login; }
    /// The tabs while logged in, else null. Devices comes first; Schedules and Settings join it
    /// on the next turn of the event loop.
    [[nodiscard]] QTabWidget *tabs() const { return m_tabs; }
    /// The Settings tab's view (inside the tab's scroll area) while logged in, else null.
    [[nodiscard]] SettingsView *settingsView() const;

    /// The program's Quit, which Settings offers as a button while no tray holds its menu.
    void setQuitAction(QAction *quit);
    /// Whether the tray icon is there: without it, Settings shows the Quit button.
    void setInTray(bool inTray);

private:
    void showLoginState();
    void addRemainingTabs();

    AppState &m_appState;
    CertTrustService &m_trust;
    LoginItemService &m_loginItem;
    QStackedLayout *m_stack = nullptr;
    LoginView *m_login = nullptr;
    QPointer<QTabWidget> m_tabs;
    /// The device rows the tabs share; they go with the tabs.
    QPointer<DeviceListModel> m_devices;
    QPointer<SettingsView> m_settings;
    QPointer<QAction> m_quit;
    bool m_inTray = false;
};

} // namespace lanternfold
