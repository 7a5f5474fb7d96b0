// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// What the application-state tests share: a state over a temporary jobs folder and preferences
// file, a fixed clock and calendar, pauses that are recorded instead of waited (unless a test asks
// for real ones), a certificate question the test answers, an in-memory keyring and notifications,
// and the scheduler and its notifications as the program builds them.

#include "Async/Latch.h"
#include "Async/Sleep.h"
#include "ClientFixture.h"
#include "FakePlatform.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"
#include "State/RunNotifier.h"
#include "State/SchedulerEngine.h"

#include <QFile>
#include <QJsonDocument>
#include <QLocale>
#include <QSettings>
#include <QTimeZone>

namespace lanternfold::test {

class StateFixture : public ClientFixture
{
public:
    void init()
    {
        ClientFixture::init();
        store = std::make_unique<ScheduleStore>(dir->path());
        now = QDateTime(QDate(2025, 3, 14), QTime(8, 30), QTimeZone::utc());
        wallClockSet = std::chrono::milliseconds(0);
        pauses.clear();
        realPauses = false;
        holdPauses = false;
        pauseRelease = std::make_shared<Latch>();
        onPause = nullptr;
        keychain = std::make_unique<FakeKeychain>();
        keychainInUse = keychain.get();
        notifications = std::make_unique<FakeNotifications>();
        notificationsInUse = notifications.get();
    }

    void cleanup()
    {
        // The state first: it holds the store, the trust and the platform by reference.
        state.reset();
        engine = nullptr;
        store.reset();
        notifications.reset();
        keychain.reset();
        ClientFixture::cleanup();
    }

    [[nodiscard]] QString settingsPath() const { return dir->filePath(QStringLiteral("Lanternfold.conf")); }
    [[nodiscard]] QString jobsFilePath() const { return dir->filePath(QStringLiteral("Lanternfold/schedules.json")); }

    static Calendar calendar() { return Calendar{QTimeZone::utc(), QLocale(QLocale::English, QLocale::UnitedStates)}; }

    AppState::Clock clock()
    {
        AppState::Clock clock;
        clock.now = [this] { return now; };
        // Time since boot follows now, as when the machine runs or sleeps, except for what a test
        // sets the wall clock by (wallClockSet).
        clock.sinceBoot = [this] { return std::chrono::milliseconds(now.toMSecsSinceEpoch()) - wallClockSet; };
        clock.calendar = [] { return calendar(); };
        clock.pause = [this](std::chrono::seconds duration, std::shared_ptr<Latch> cancel) {
            return pause(duration, std::move(cancel));
        };
        return clock;
    }

    /// The state, its scheduler (started) and the notifications of its runs, as the program
    /// builds them, over clock.
    AppState &makeState(std::optional<AppState::Clock> withClock = std::nullopt)
    {
        state.reset();
        state = std::make_unique<AppState>(*store, *firstUse, *keychainInUse, settingsPath(),
                                           withClock ? *withClock : clock());
        engine = new SchedulerEngine(*state);
        new RunNotifier(*state, *engine, *notificationsInUse);
        engine->start();
        return *state;
    }

    [[nodiscard]] SchedulerEngine &scheduler() const { return *engine; }

    QCoro::Task<bool> pause(std::chrono::seconds duration, std::shared_ptr<Latch> cancel)
    {
        pauses.append(duration);
        if (onPause)
            onPause(duration);
        if (realPauses)
            co_return co_await sleepFor(duration, std::move(cancel));
        if (holdPauses) {
            const std::shared_ptr<Latch> release = pauseRelease;
            Wakeup wakeup;
            wakeup.watch(*release);
            wakeup.watch(*cancel);
            co_await wakeup.wait();
        }
        co_return !cancel->isSet();
    }

    /// Connects the state to sim as a person would, and waits for the outcome.
    void connectTo(const Sim &simulator, bool rememberPassword = true, const QString &password = {}) const
    {
        await(state->connect(configFor(simulator), password.isEmpty() ? simulator.password() : password,
                             rememberPassword));
    }

    /// The password the keyring in use holds for config's account; empty when none.
    [[nodiscard]] QString keyringPassword(const ControllerConfig &config) const
    {
        return await(keychainInUse->readPassword(KeychainService::account(config.host, config.username)))
            .value_or(QString());
    }

    /// What the scheduler's runs announced, oldest first.
    [[nodiscard]] const QList<FakeNotifications::Notification> &notified() const
    {
        return notifications->notifications();
    }

    static ScheduledJob job(const QString &name, QList<RestartTarget> targets, RecurrenceRule rule,
                            qint64 staggerSeconds = 0)
    {
        ScheduledJob job;
        job.id = QUuid::createUuid();
        job.name = name;
        job.targets = std::move(targets);
        job.rule = std::move(rule);
        job.staggerSeconds = staggerSeconds;
        return job;
    }

    /// The first count access points of the connected state, by their names.
    [[nodiscard]] QList<RestartTarget> firstAccessPoints(int count) const
    {
        QList<RestartTarget> targets;
        for (const UnifiDevice &ap : state->accessPoints().first(count))
            targets.append({RestartTargetKind::accessPoint, ap.mac, ap.name});
        return targets;
    }

    /// The jobs as the file holds them now.
    [[nodiscard]] QList<ScheduledJob> savedJobs() const
    {
        QFile file(jobsFilePath());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const auto decoded = ScheduleStore::decode(file.readAll());
        return decoded.ok() ? decoded.value() : QList<ScheduledJob>{};
    }

    /// The MACs of the access-point restarts the simulator carried out, in order; commands it
    /// refused (for example with an expired session) do not count.
    [[nodiscard]] static QStringList restartedMacs(const Sim &simulator)
    {
        QStringList macs;
        for (const QJsonObject &request : requests(simulator)) {
            // A dripping or flooding answer starts with 200, but the command never reached the site.
            const QString fault = request.value(QStringLiteral("fault")).toString();
            if (!request.value(QStringLiteral("path")).toString().endsWith(QStringLiteral("/cmd/devmgr")) ||
                request.value(QStringLiteral("status")).toInt() != 200 || fault == QStringLiteral("drip") ||
                fault == QStringLiteral("flood"))
                continue;
            const QJsonObject body =
                QJsonDocument::fromJson(request.value(QStringLiteral("body")).toString().toUtf8()).object();
            macs.append(body.value(QStringLiteral("mac")).toString());
        }
        return macs;
    }

    /// The configuration as the preferences file holds it now.
    [[nodiscard]] std::optional<ControllerConfig> savedConfig() const
    {
        const QSettings settings(settingsPath(), QSettings::NativeFormat);
        const auto json = json::parse(settings.value(AppState::configDefaultsKey).toByteArray());
        if (!json.ok())
            return std::nullopt;
        auto config = ControllerConfig::fromJson(json.value());
        return config.ok() ? std::optional<ControllerConfig>(std::move(config).value()) : std::nullopt;
    }

    /// The activity log's messages without their time stamps, newest first.
    [[nodiscard]] QStringList logMessages() const
    {
        QStringList messages;
        for (const QString &line : state->activityLog())
            messages.append(line.mid(line.indexOf(QStringLiteral("] ")) + 2));
        return messages;
    }

    [[nodiscard]] bool logHasLineEndingWith(const QString &suffix) const
    {
        return std::any_of(state->activityLog().cbegin(), state->activityLog().cend(),
                           [&suffix](const QString &line) { return line.endsWith(suffix); });
    }

    std::unique_ptr<ScheduleStore> store;
    std::unique_ptr<FakeKeychain> keychain;
    std::unique_ptr<FakeNotifications> notifications;
    /// The keyring and the notifications the next state is built over: the fakes, unless a test
    /// puts the real adapters in their place.
    KeychainService *keychainInUse = nullptr;
    NotificationService *notificationsInUse = nullptr;
    std::unique_ptr<AppState> state;
    /// The state's scheduler; it dies with the state.
    SchedulerEngine *engine = nullptr;
    QDateTime now;
    /// How far the wall clock has been set, in all, without time passing.
    std::chrono::milliseconds wallClockSet{0};
    QList<std::chrono::seconds> pauses;
    /// Real timers instead of recorded pauses.
    bool realPauses = false;
    /// Recorded pauses that last until pauseRelease is set (or the batch is called off).
    bool holdPauses = false;
    std::shared_ptr<Latch> pauseRelease = std::make_shared<Latch>();
    /// Called with each recorded pause before it returns: a test lets time pass there.
    std::function<void(std::chrono::seconds)> onPause;
};

} // namespace lanternfold::test
