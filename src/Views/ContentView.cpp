// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/ContentView.h"

#include "State/AppState.h"
#include "Views/DeviceListModel.h"
#include "Views/DeviceListView.h"
#include "Views/LoginView.h"
#include "Views/ScheduleListView.h"
#include "Views/SettingsView.h"
#include "Views/Symbols.h"

#include <QScrollArea>
#include <QStackedLayout>
#include <QTabWidget>
#include <QTimer>

namespace lanternfold {

ContentView::ContentView(AppState &appState, CertTrustService &trust, LoginItemService &loginItem, QWidget *parent)
    : QWidget(parent), m_appState(appState), m_trust(trust), m_loginItem(loginItem)
{
    setMinimumSize(minimumContentSize);
    m_stack = new QStackedLayout(this);
    m_login = new LoginView(appState, this);
    m_stack->addWidget(m_login);
    connect(&appState, &AppState::isLoggedInChanged, this, &ContentView::showLoginState);
    showLoginState();
}

ContentView::~ContentView() = default;

void ContentView::showLoginState()
{
    if (!m_appState.isLoggedIn()) {
        m_stack->setCurrentWidget(m_login);
        // The tabs go with the session: each login starts them afresh, and whatever they were
        // still doing (a restart run in its pause) ends with them.
        if (m_tabs)
            m_tabs->deleteLater();
        m_tabs = nullptr;
        return;
    }
    if (m_tabs) {
        m_stack->setCurrentWidget(m_tabs);
        return;
    }
    m_tabs = new QTabWidget(this);
    m_tabs->setDocumentMode(true);
    m_devices = new DeviceListModel(m_appState, m_tabs);
    //: Tab title: the access points and cameras of the controller
    m_tabs->addTab(new DeviceListView(m_appState, *m_devices, m_tabs), symbolIcon(Symbol::wifiRouter), tr("Devices"));
    m_stack->addWidget(m_tabs);
    // Showing the Devices tab asks for the device lists; the requests leave on the next turn of
    // the event loop. The other two tabs are built after that turn, so that their construction
    // runs while the controller answers instead of before the requests are sent.
    m_stack->setCurrentWidget(m_tabs);
    QTimer::singleShot(0, m_tabs, [this] { addRemainingTabs(); });
}

void ContentView::addRemainingTabs()
{
    if (!m_tabs || !m_devices || m_tabs->count() != 1)
        return;
    //: Tab title: the scheduled restarts
    m_tabs->addTab(new ScheduleListView(m_appState, *m_devices, m_tabs), symbolIcon(Symbol::clock), tr("Schedules"));
    m_settings = new SettingsView(m_appState, m_trust, m_loginItem);
    m_settings->setQuitAction(m_quit, !m_inTray);
    // Settings is one long column: with a large font, a long translation or a high scale factor it
    // can be taller than the window, and scrolls then instead of squeezing its rows into each other.
    auto *settingsPage = new QScrollArea(m_tabs);
    settingsPage->setFrameShape(QFrame::NoFrame);
    settingsPage->setWidgetResizable(true);
    settingsPage->setWidget(m_settings);
    //: Tab title
    m_tabs->addTab(settingsPage, symbolIcon(Symbol::gearshape), tr("Settings"));
}

SettingsView *ContentView::settingsView() const
{
    return m_settings;
}

void ContentView::setQuitAction(QAction *quit)
{
    m_quit = quit;
    if (m_settings)
        m_settings->setQuitAction(m_quit, !m_inTray);
}

void ContentView::setInTray(bool inTray)
{
    m_inTray = inTray;
    if (m_settings)
        m_settings->setQuitAction(m_quit, !m_inTray);
}

} // namespace lanternfold
