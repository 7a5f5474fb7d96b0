// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "App/AppDelegate.h"

#include "Views/AppIcons.h"

#include <QAction>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

namespace lanternfold {

using namespace Qt::StringLiterals;

AppDelegate::AppDelegate(Actions actions, QObject *parent)
    : QObject(parent),
      m_actions(std::move(actions)),
      m_trayAvailable([] { return QSystemTrayIcon::isSystemTrayAvailable(); }),
      m_menu(std::make_unique<QMenu>())
{
    m_open = m_menu->addAction(tr("Open Lanternfold"));
    m_open->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_O));
    m_open->setShortcutVisibleInContextMenu(true);
    m_menu->addSeparator();
    m_quit = m_menu->addAction(tr("Quit Lanternfold"));
    m_quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    m_quit->setShortcutVisibleInContextMenu(true);
    connect(m_open, &QAction::triggered, this, [this] {
        if (m_actions.openMainWindow)
            m_actions.openMainWindow();
    });
    connect(m_quit, &QAction::triggered, this, [this] {
        if (m_actions.quit)
            m_actions.quit();
    });
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::setUpStatusItem()
{
    if (!m_statusItem) {
        // Qt hands the icon to a StatusNotifierItem host when the session bus has a watcher.
        const QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        const bool byName = bus && bus->isServiceRegistered(u"org.kde.StatusNotifierWatcher"_s).value();
        m_statusItem = new QSystemTrayIcon(trayIcon(byName ? TrayHost::byName : TrayHost::pixelsOnly), this);
        m_statusItem->setToolTip(u"Lanternfold"_s);
        m_statusItem->setContextMenu(m_menu.get());
        // A click on the icon itself opens the window too, as a tray user expects.
        connect(m_statusItem, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger && m_actions.openMainWindow)
                m_actions.openMainWindow();
        });
    }
    m_trayPolls = 0;
    checkTray();
}

void AppDelegate::checkTray()
{
    if (m_trayAvailable()) {
        m_statusItem->show();
        if (m_trayPoll)
            m_trayPoll->stop();
        if (!m_inTray) {
            m_inTray = true;
            Q_EMIT trayChanged(true);
        }
        return;
    }
    if (++m_trayPolls > trayPollLimit) {
        // No tray after all this time: the window stays the way in, and nothing wakes up for it.
        if (m_trayPoll)
            m_trayPoll->stop();
        return;
    }
    if (!m_trayPoll) {
        m_trayPoll = new QTimer(this);
        m_trayPoll->setInterval(trayPollInterval);
        connect(m_trayPoll, &QTimer::timeout, this, &AppDelegate::checkTray);
    }
    if (!m_trayPoll->isActive())
        m_trayPoll->start();
}

bool AppDelegate::isInTray() const
{
    return m_inTray;
}

bool AppDelegate::isWaitingForTray() const
{
    return m_trayPoll && m_trayPoll->isActive();
}

} // namespace lanternfold
