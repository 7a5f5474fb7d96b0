// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>
#include <QPointer>

#include <functional>

class QAction;
class QMenu;
class QSystemTrayIcon;
class QTimer;

namespace lanternfold {

/// The tray icon and its menu: the way back to the window, and the only way to quit, since
/// closing the window leaves the program running for its schedules.
class AppDelegate final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AppDelegate)

public:
    struct Actions
    {
        std::function<void()> openMainWindow;
        std::function<void()> quit;
    };

    explicit AppDelegate(Actions actions, QObject *parent = nullptr);
    ~AppDelegate() override;

    /// Paints the icon and puts it in the tray. A tray that is not there yet (the panel starts after the
    /// program at login) is looked for again for a few minutes.
    void setUpStatusItem();

    /// Whether a tray is there; tests replace the desktop's answer.
    void setTrayAvailability(std::function<bool()> available) { m_trayAvailable = std::move(available); }
    /// Looks for the tray once more; the timer calls it.
    void checkTray();

    [[nodiscard]] QSystemTrayIcon *statusItem() const { return m_statusItem; }
    [[nodiscard]] QMenu *menu() const { return m_menu.get(); }
    [[nodiscard]] QAction *openAction() const { return m_open; }
    [[nodiscard]] QAction *quitAction() const { return m_quit; }
    [[nodiscard]] bool isWaitingForTray() const;
    /// Whether the icon is in a tray, so that closing the window leaves a way back.
    [[nodiscard]] bool isInTray() const;

Q_SIGNALS:
    /// The icon went into a tray (true), or there is none to put it in (false, also at first).
    void trayChanged(bool inTray);

public:
    static constexpr std::chrono::seconds trayPollInterval{2};
    static constexpr int trayPollLimit = 150; // five minutes

private:
    Actions m_actions;
    std::function<bool()> m_trayAvailable;
    std::unique_ptr<QMenu> m_menu;
    QAction *m_open = nullptr;
    QAction *m_quit = nullptr;
    QSystemTrayIcon *m_statusItem = nullptr;
    QTimer *m_trayPoll = nullptr;
    int m_trayPolls = 0;
    bool m_inTray = false;
};

} // namespace lanternfold
