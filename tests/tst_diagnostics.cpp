// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The diagnostics of every layer, switched on whole, through a connect that asks about the key,
// a refresh, a restart, a session the controller ends and renews, and a disconnect: the lines say
// what happened, and none of them carries the password, a session cookie or a CSRF token.
#include "StateFixture.h"

#include "Controller/ControllerLog.h"
#include "Controller/Trust/TrustLog.h"
#include "Platform/PlatformLog.h"
#include "State/StateLog.h"

#include <QJsonObject>
#include <QLoggingCategory>
#include <QMutex>
#include <QSet>
#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

/// The lines logged while a test captures them, from whichever thread logged them.
struct Captured
{
    QMutex lock;
    QStringList lines;
};

Captured &captured()
{
    static Captured instance;
    return instance;
}

void capture(QtMsgType /*type*/, const QMessageLogContext &context, const QString &message)
{
    const QMutexLocker locker(&captured().lock);
    captured().lines.append(QString::fromLatin1(context.category ? context.category : "") + u": "_s + message);
}

} // namespace

class TestDiagnostics final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup() { StateFixture::cleanup(); }

    void quietBelowWarningsByDefault();
    void everyCategoryOnLeaksNoSecret();
};

void TestDiagnostics::quietBelowWarningsByDefault()
{
    for (const QLoggingCategory *category : {&lcController(), &lcTrust(), &lcState(), &lcScheduler(), &lcPlatform()}) {
        QVERIFY2(QByteArrayView(category->categoryName()).startsWith("lanternfold."), category->categoryName());
        QVERIFY2(!category->isDebugEnabled(), category->categoryName());
        QVERIFY2(!category->isInfoEnabled(), category->categoryName());
        QVERIFY2(category->isWarningEnabled(), category->categoryName());
    }
}

void TestDiagnostics::everyCategoryOnLeaksNoSecret()
{
    Sim &sim = startSim();
    sim.setCsrfRotation(true);
    QLoggingCategory::setFilterRules(u"lanternfold.*=true"_s);
    {
        const QMutexLocker locker(&captured().lock);
        captured().lines.clear();
    }
    const QtMessageHandler previous = qInstallMessageHandler(capture);

    AppState &state = makeState();
    connectTo(sim); // asks about the key, logs in, remembers the password, fetches the devices
    const UnifiDevice ap = state.accessPoints().first();
    const ProtectCamera camera = state.cameras().first();
    QVERIFY(await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name})).ok());
    sim.expireSessions(); // the next request is turned away and the session renewed
    QVERIFY(await(state.restart({RestartTargetKind::camera, camera.id, camera.name})).ok());
    await(state.refreshDevices());
    state.addJob(job(u"Nightly"_s, firstAccessPoints(2), RecurrenceRule::dailyAt(9, 0), 1));
    now = QDateTime(QDate(2025, 3, 14), QTime(9, 0), QTimeZone::utc());
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QVERIFY(finished.wait(30000));
    await(state.disconnect());

    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QString());
    const QString output = [] {
        const QMutexLocker locker(&captured().lock);
        return captured().lines.join(u'\n');
    }();

    // Something of each layer that took part was said.
    for (const QString &expected : {u"lanternfold.controller: POST /api/auth/login"_s,
                                    u"lanternfold.controller: POST /proxy/network/api/s/default/cmd/devmgr"_s,
                                    u"lanternfold.trust: "_s, u"lanternfold.state: "_s, u"lanternfold.scheduler: "_s})
        QVERIFY2(output.contains(expected), qPrintable(expected + u" not in:\n"_s + output));

    // And no secret: the password, nor any session cookie or CSRF token the controller issued.
    QSet<QString> secrets{sim.password()};
    for (const QJsonObject &request : requests(sim)) {
        for (const char *field : {"issuedToken", "issuedCookie"}) {
            const QString secret = request.value(QLatin1String(field)).toString();
            if (!secret.isEmpty())
                secrets.insert(secret);
        }
    }
    QVERIFY(secrets.size() >= 4); // the password, two logins' cookies and tokens, rotated tokens
    for (const QString &secret : std::as_const(secrets))
        QVERIFY2(!output.contains(secret), qPrintable(u"a secret in the diagnostics: "_s + secret));
}

QTEST_GUILESS_MAIN(TestDiagnostics)
#include "tst_diagnostics.moc"
