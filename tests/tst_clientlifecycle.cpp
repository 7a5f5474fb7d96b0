// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Async/Latch.h"
#include "ClientFixture.h"
#include "Controller/Trust/FirstUseTrust.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Accepts TCP connections and never answers, so a TLS handshake stays open as long as the test
/// wants. Remembers what arrived and whether the peer went away.
class SilentListener final : public QObject
{
public:
    SilentListener()
    {
        QVERIFY(m_server.listen(QHostAddress::LocalHost));
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                m_sockets.append(socket);
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { m_received += socket->readAll(); });
                connect(socket, &QTcpSocket::disconnected, this, [this] { ++m_disconnected; });
            }
        });
    }
    [[nodiscard]] quint16 port() const { return m_server.serverPort(); }
    [[nodiscard]] qsizetype accepted() const { return m_sockets.size(); }
    [[nodiscard]] qsizetype received() const { return m_received.size(); }
    [[nodiscard]] int disconnected() const { return m_disconnected; }

private:
    QTcpServer m_server;
    QList<QTcpSocket *> m_sockets;
    QByteArray m_received;
    int m_disconnected = 0;
};

} // namespace

/// A client's life: closing or destroying it while its operations wait, one login at a time.
class TestClientLifecycle final : public QObject, public ClientFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { ClientFixture::cleanup(); }

    void endDuringAWaitingFetch_data();
    void endDuringAWaitingFetch();
    void endDuringTheFirstUseHandshake_data();
    void endDuringTheFirstUseHandshake();
    void endDuringTheOpenQuestion_data();
    void endDuringTheOpenQuestion();
    void questionStaysWhileAnotherClientWaits();
    void closedClientSendsNothing();
    void overlappingLoginsShareOneAttempt();
    void overlappingLoginsShareAFailure();

private:
    void endClient(std::unique_ptr<UnifiAPIClient> &client, bool destroy);
    /// Installs a question that stays open until the test answers it through m_person.
    void askThePerson();
    QCoro::Task<bool> waitForThePerson(QString host, QString fingerprint);

    std::shared_ptr<Latch> m_person;
    bool m_personApproves = true;
};

void TestClientLifecycle::init()
{
    ClientFixture::init();
    m_person = std::make_shared<Latch>();
    m_personApproves = true;
}

void TestClientLifecycle::endClient(std::unique_ptr<UnifiAPIClient> &client, bool destroy)
{
    if (destroy)
        client.reset();
    else
        client->close();
}

void TestClientLifecycle::askThePerson()
{
    approver->ask = [this](QString host, QString fingerprint) {
        return waitForThePerson(std::move(host), std::move(fingerprint));
    };
}

QCoro::Task<bool> TestClientLifecycle::waitForThePerson(QString /*host*/, QString /*fingerprint*/)
{
    const std::shared_ptr<Latch> person = m_person;
    Wakeup answered;
    answered.watch(*person);
    co_await answered.wait();
    co_return m_personApproves;
}

static void addEndRows()
{
    QTest::addColumn<bool>("destroy");
    QTest::newRow("close") << false;
    QTest::newRow("destroy") << true;
}

void TestClientLifecycle::endDuringAWaitingFetch_data()
{
    addEndRows();
}

void TestClientLifecycle::endDuringAWaitingFetch()
{
    QFETCH(bool, destroy);
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setFault({Sim::FaultKind::Hang, u"/proxy/"_s, 0ms}); // the answer never comes
    auto devices = start(client->fetchAccessPoints());
    auto cameras = start(client->fetchCameras());
    QTRY_COMPARE(requests(sim).size(), 3);

    endClient(client, destroy);
    // At once, not after the 60-second transfer timeout.
    QTRY_VERIFY(devices->has_value() && cameras->has_value());
    QVERIFY(isClosedError((*devices)->error()));
    QVERIFY(isClosedError((*cameras)->error()));
    QTest::qWait(200);
    QCOMPARE(requests(sim).size(), 3);
}

void TestClientLifecycle::endDuringTheFirstUseHandshake_data()
{
    addEndRows();
}

void TestClientLifecycle::endDuringTheFirstUseHandshake()
{
    QFETCH(bool, destroy);
    SilentListener listener;
    const ControllerConfig config{u"127.0.0.1"_s, listener.port(), ControllerKind::unifiOS, u"u"_s, u"default"_s};
    auto client = std::make_unique<UnifiAPIClient>(config, *firstUse);
    auto login = start(client->login(u"secret"_s));
    QTRY_VERIFY(listener.accepted() == 1 && listener.received() > 0); // the client's hello arrived

    endClient(client, destroy);
    QTRY_VERIFY(login->has_value());
    QVERIFY(isClosedError((*login)->error()));
    QTRY_COMPARE(listener.disconnected(), 1); // the handshake was abandoned, not left open
    QVERIFY(questions().isEmpty());
    QVERIFY(trust->pins().isEmpty());
}

void TestClientLifecycle::endDuringTheOpenQuestion_data()
{
    addEndRows();
}

void TestClientLifecycle::endDuringTheOpenQuestion()
{
    QFETCH(bool, destroy);
    Sim &sim = startSim();
    auto client = makeClient(sim);
    askThePerson();
    QSignalSpy withdrawn(firstUse.get(), &FirstUseTrust::questionWithdrawn);
    auto login = start(client->login(sim.password()));
    QTRY_COMPARE(questions().size(), 1);
    QVERIFY(firstUse->isAsking(u"127.0.0.1"_s));

    endClient(client, destroy);
    QTRY_VERIFY(login->has_value());
    QVERIFY(isClosedError((*login)->error()));
    QCOMPARE(withdrawn.size(), 1);
    QCOMPARE(withdrawn.first().first().toString(), u"127.0.0.1"_s);
    QVERIFY(!firstUse->isAsking(u"127.0.0.1"_s));
    QVERIFY(requests(sim).isEmpty()); // no password left the machine

    // The person approves the withdrawn question after all: nobody waits for it, nothing is pinned.
    m_person->set();
    QTest::qWait(50);
    QVERIFY(trust->pins().isEmpty());

    // A later login asks afresh instead of waiting for the old question forever.
    auto again = makeClient(sim);
    QVERIFY(await(again->login(sim.password())).ok());
    QCOMPARE(questions().size(), 2);
    QCOMPARE(trust->pinnedFingerprint(u"127.0.0.1"_s), std::optional<QString>(sim.fingerprint()));
}

void TestClientLifecycle::questionStaysWhileAnotherClientWaits()
{
    Sim &sim = startSim();
    auto first = makeClient(sim);
    auto second = makeClient(sim);
    askThePerson();
    QSignalSpy withdrawn(firstUse.get(), &FirstUseTrust::questionWithdrawn);
    auto firstLogin = start(first->login(sim.password()));
    auto secondLogin = start(second->login(sim.password()));
    QTRY_COMPARE(questions().size(), 1);

    first->close();
    QTRY_VERIFY(firstLogin->has_value());
    QVERIFY(isClosedError((*firstLogin)->error()));
    QVERIFY(firstUse->isAsking(u"127.0.0.1"_s)); // the second client still waits for it
    QCOMPARE(withdrawn.size(), 0);

    m_person->set();
    QTRY_VERIFY(secondLogin->has_value());
    QVERIFY((*secondLogin)->ok());
    QCOMPARE(questions().size(), 1);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), 1);
}

void TestClientLifecycle::closedClientSendsNothing()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    const auto cameras = await(client->fetchCameras());
    QVERIFY(cameras.ok());
    client->close();
    QVERIFY(client->isClosed());
    QVERIFY(!client->holdsSessionSecrets());
    const auto sent = requests(sim).size();
    QVERIFY(isClosedError(await(client->login(sim.password())).error()));
    QVERIFY(isClosedError(await(client->fetchAccessPoints()).error()));
    QVERIFY(isClosedError(await(client->fetchCameras()).error()));
    QVERIFY(isClosedError(await(client->restartAccessPoint(devices.value().first().mac)).error()));
    QVERIFY(isClosedError(await(client->rebootCamera(cameras.value().first().id)).error()));
    await(client->logout());
    client->close(); // twice is harmless
    QTest::qWait(100);
    QCOMPARE(requests(sim).size(), sent);
}

void TestClientLifecycle::overlappingLoginsShareOneAttempt()
{
    Sim &sim = startSim();
    sim.setFault({Sim::FaultKind::Latency, u"/api/auth/login"_s, 300ms}); // keeps the first login running
    auto client = makeClient(sim);
    auto first = start(client->login(sim.password()));
    auto second = start(client->login(u"another password"_s)); // shares the first one's outcome
    QTRY_VERIFY(first->has_value() && second->has_value());
    QVERIFY((*first)->ok());
    QVERIFY((*second)->ok());
    const auto logins = requestsTo(sim, u"/api/auth/login"_s);
    QCOMPARE(logins.size(), 1);
    QCOMPARE(questions().size(), 1);

    // The client holds that one session's cookie and token together: a POST passes.
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    const auto restart = await(client->restartAccessPoint(devices.value().first().mac));
    QVERIFY2(restart.ok(), restart.ok() ? "" : qPrintable(restart.error().description()));
    const QJsonObject post = requests(sim).last();
    QCOMPARE(post.value(u"session"_s).toInt(), logins.first().value(u"created"_s).toInt());
    QCOMPARE(post.value(u"csrf"_s).toString(), logins.first().value(u"issuedToken"_s).toString());

    // Once it has ended, a login is a new attempt.
    QVERIFY(await(client->login(sim.password())).ok());
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), 2);
}

void TestClientLifecycle::overlappingLoginsShareAFailure()
{
    Sim &sim = startSim();
    sim.setFault({Sim::FaultKind::Latency, u"/api/auth/login"_s, 300ms});
    auto client = makeClient(sim);
    auto first = start(client->login(u"wrong"_s));
    auto second = start(client->login(sim.password()));
    QTRY_VERIFY(first->has_value() && second->has_value());
    QCOMPARE((*first)->error(), UnifiAPIError::invalidCredentials());
    QCOMPARE((*second)->error(), UnifiAPIError::invalidCredentials());
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), 1);
}

QTEST_GUILESS_MAIN(TestClientLifecycle)
#include "tst_clientlifecycle.moc"
