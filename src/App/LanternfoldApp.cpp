// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "App/LanternfoldApp.h"

#include "App/AppDelegate.h"
#include "Controller/Trust/FirstUseTrust.h"
#include "Platform/FileLock.h"
#include "Platform/NotificationService.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"
#include "State/JobList.h"
#include "State/RunNotifier.h"
#include "State/SchedulerEngine.h"
#include "Views/AppIcons.h"
#include "Views/CertificateQuestion.h"
#include "Views/ContentView.h"
#include "Views/LoginView.h"

#include <QApplication>
#include <QEvent>
#include <QTimer>

namespace lanternfold {

using namespace Qt::StringLiterals;

LanternfoldApp::LanternfoldApp(ScheduleStore &store, CertTrustService &pins, const QString &settingsPath,
                               PlatformServices platform, QObject *parent)
    : QObject(parent),
      m_firstUse(std::make_unique<FirstUseTrust>(pins)),
      m_appState(std::make_unique<AppState>(store, *m_firstUse, platform.keychain, settingsPath)),
      m_scheduler(new SchedulerEngine(*m_appState)),
      m_window(std::make_unique<ContentView>(*m_appState, pins, platform.loginItem)),
      m_question(std::make_unique<CertificateQuestion>(m_window.get())),
      m_notifications(platform.notifications)
{
    // The one question about a controller's key, for every connection the program makes.
    m_firstUse->setApprover(m_question.get());
    new RunNotifier(*m_appState, *m_scheduler, platform.notifications);
    // The window and the background service share the jobs file: each sees what the other writes.
    m_appState->jobList().followFile();
    m_schedulerLock = std::make_unique<FileLock>(store.schedulerLockPath());
    if (!takeOverSchedules()) {
        qWarning("Another Lanternfold process of this user runs the schedules; this one leaves them to it.");
        // Taken over as soon as that process stops: tried again at every look the scheduler would take.
        m_lockRetry = new QTimer(this);
        m_lockRetry->setInterval(SchedulerEngine::interval);
        connect(m_lockRetry, &QTimer::timeout, this, [this] {
            if (takeOverSchedules())
                m_lockRetry->stop();
        });
        m_lockRetry->start();
    }
    AppDelegate::Actions actions;
    actions.openMainWindow = [this] { openMainWindow(); };
    actions.quit = [] { QCoreApplication::quit(); };
    m_delegate = std::make_unique<AppDelegate>(std::move(actions));
    // The tray menu's Quit is the window's too (Ctrl+Q), and where no tray holds the menu the
    // window shows it as a button: the program can always be ended from its window.
    m_window->addAction(m_delegate->quitAction());
    m_window->setQuitAction(m_delegate->quitAction());
    connect(m_delegate.get(), &AppDelegate::trayChanged, m_window.get(), &ContentView::setInTray);
}

LanternfoldApp::~LanternfoldApp()
{
    m_delegate.reset();
    m_firstUse->setApprover(nullptr);
    m_question.reset();
    m_window.reset();
    m_appState.reset();
    m_firstUse.reset();
}

bool LanternfoldApp::takeOverSchedules()
{
    const bool taken = m_schedulerLock->tryLock();
    m_appState->setSchedulesRunElsewhere(!taken);
    if (!taken)
        return false;
    m_schedulerLock->setHolderNote("lanternfold (pid " + QByteArray::number(QCoreApplication::applicationPid()) + ")");
    m_scheduler->start();
    return true;
}

void LanternfoldApp::start()
{
    // The tray icon and the window's own icon cost a few milliseconds (painting the emblem at
    // every size, the tray's window and embedding, the menu's first look): the main window reaches
    // the screen first, and the icons follow its first paint. The window manager shows the window
    // icon as soon as it is set. A window that is never painted (minimised at once) still gets its
    // icons a moment later.
    m_window->installEventFilter(this);
    m_window->show();
    QTimer::singleShot(iconDelayLimit, this, &LanternfoldApp::setUpIcons);
}

bool LanternfoldApp::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_window.get()) {
        if (event->type() == QEvent::Paint && !m_iconsSet)
            QTimer::singleShot(0, this, &LanternfoldApp::setUpIcons);
        else if (event->type() == QEvent::Close)
            windowClosed();
    }
    return QObject::eventFilter(watched, event);
}

void LanternfoldApp::windowClosed()
{
    if (m_delegate->isInTray() || m_backgroundNoticeGiven)
        return;
    m_backgroundNoticeGiven = true;
    m_notifications.post(u"Lanternfold"_s,
                         tr("Lanternfold keeps running in the background. Launch it again to open the window."));
}

void LanternfoldApp::setUpIcons()
{
    if (m_iconsSet)
        return;
    m_iconsSet = true;
    m_window->setWindowIcon(lanternfoldIcon());
    m_delegate->setUpStatusItem();
}

QCoro::Task<void> LanternfoldApp::fillRememberedPassword(QPointer<LanternfoldApp> self)
{
    if (!self)
        co_return;
    const std::optional<QString> password = co_await self->m_appState->rememberedPassword();
    if (self && password && self->m_window->loginView())
        self->m_window->loginView()->fillPassword(*password);
}

void LanternfoldApp::openMainWindow(const QString &activationToken)
{
    // Qt's Wayland shell reads the token from the environment when the window asks to be
    // activated, and then removes it, as it does with the token this process was started with.
    if (!activationToken.isEmpty() && QGuiApplication::platformName() == u"wayland"_s)
        qputenv("XDG_ACTIVATION_TOKEN", activationToken.toLatin1());
    if (m_window->isMinimized())
        m_window->showNormal();
    else
        m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

} // namespace lanternfold
