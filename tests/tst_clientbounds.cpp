// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What a controller, or anything that holds its pinned key, can make the client spend: no request
// outlives its deadline however slowly the answer trickles in, no answer is read past its size
// limit, an error's body is shown only in part, header values that could break a request are
// refused, and no proxy from the environment ever sees a request.

#include "ClientFixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkInterface>
#include <QTcpServer>
#include <QTcpSocket>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString devicesPath = u"/proxy/network/api/s/default/stat/device"_s;
const QString restartPath = u"/proxy/network/api/s/default/cmd/devmgr"_s;

/// Accepts connections, counts them, and never answers: a proxy that would hold the request.
class CountingListener final
{
public:
    CountingListener()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection())
                m_accepted.append(socket);
        });
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("listener did not listen: %s", qPrintable(m_server.errorString()));
    }
    [[nodiscard]] quint16 port() const { return m_server.serverPort(); }
    [[nodiscard]] qsizetype accepted() const { return m_accepted.size(); }

private:
    QTcpServer m_server;
    QList<QTcpSocket *> m_accepted;
};

/// An address of this machine that Qt does not treat as local, so that a proxy would apply to it.
std::optional<QHostAddress> nonLoopbackAddress()
{
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
            return address;
    }
    return std::nullopt;
}

} // namespace

class TestClientBounds final : public QObject, public ClientFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { ClientFixture::init(); }
    void cleanup() { ClientFixture::cleanup(); }

    void drippingAnswerEndsAtTheDeadline_data();
    void drippingAnswerEndsAtTheDeadline();
    void endlessAnswerIsRefused_data();
    void endlessAnswerIsRefused();
    void largeInventoryIsStillRead();
    void endlessHeadersAreRefused();
    void droppedRestartIsNeverSentAgain();
    void droppedFetchIsRepeatedOnceOnAFreshConnection();
    void errorBodyIsShownInPart();
    void tokenWithControlCharactersIsRefused();
    void rotatedTokenWithNonAsciiIsRefused();
    void rotatedTokenWinsOverTheCookie();
    void proxyFromTheEnvironmentIsNotUsed();

private:
    std::unique_ptr<UnifiAPIClient> loggedIn(Sim &sim)
    {
        auto client = makeClient(sim);
        const auto login = await(client->login(sim.password()));
        if (!login.ok())
            qFatal("login failed: %s", qPrintable(login.error().description()));
        return client;
    }
    /// A restart of mac, or a fetch of the device list, as its outcome alone.
    static APIResult<Done> restartOrFetch(UnifiAPIClient &client, bool restart, const QString &mac)
    {
        if (restart)
            return await(client.restartAccessPoint(mac));
        const auto devices = await(client.fetchAccessPoints());
        return devices.ok() ? APIResult<Done>(Done{}) : APIResult<Done>(devices.error());
    }
};

void TestClientBounds::drippingAnswerEndsAtTheDeadline_data()
{
    QTest::addColumn<bool>("restart");
    QTest::newRow("device list") << false;
    QTest::newRow("restart command") << true;
}

void TestClientBounds::drippingAnswerEndsAtTheDeadline()
{
    QFETCH(bool, restart);
    Sim &sim = startSim();
    auto client = loggedIn(sim);
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    // A byte every 100 ms keeps any inactivity timeout content; only the deadline ends it.
    client->setRequestDeadline(1500ms);
    QCOMPARE(client->transferTimeout(), UnifiAPIClient::defaultTransferTimeout);
    sim.setFault({Sim::FaultKind::Drip, restart ? restartPath : devicesPath, 100ms});
    const APIResult<Done> result = restartOrFetch(*client, restart, devices.value().first().mac);
    QVERIFY(!result.ok());
    QCOMPARE(result.error().description(), u"The request timed out."_s);
    // The client is still usable afterwards.
    sim.clearFaults();
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestClientBounds::endlessAnswerIsRefused_data()
{
    QTest::addColumn<bool>("restart");
    QTest::newRow("device list, 64 MB") << false;
    QTest::newRow("restart command, 1 MB") << true;
}

void TestClientBounds::endlessAnswerIsRefused()
{
    QFETCH(bool, restart);
    Sim &sim = startSim();
    auto client = loggedIn(sim);
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    sim.setFault({Sim::FaultKind::Flood, restart ? restartPath : devicesPath, 0ms});
    const APIResult<Done> result = restartOrFetch(*client, restart, devices.value().first().mac);
    QVERIFY(!result.ok());
    QCOMPARE(result.error().kind(), UnifiAPIError::Case::network);
    QCOMPARE(result.error().description(), u"The controller's answer is too large."_s);
}

void TestClientBounds::endlessHeadersAreRefused()
{
    // Refused by size, long before the deadline: a head is read only up to its bound.
    Sim &sim = startSim();
    auto client = loggedIn(sim);
    QCOMPARE(client->requestDeadline(), UnifiAPIClient::defaultRequestDeadline);
    sim.setFault({Sim::FaultKind::HeaderFlood, devicesPath, 0ms});
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error().description(), u"The controller's answer is too large."_s);
    // The client is still usable afterwards.
    sim.clearFaults();
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestClientBounds::droppedRestartIsNeverSentAgain()
{
    // The controller may have acted on a command whose answer never came: it is not repeated.
    Sim &sim = startSim();
    auto client = loggedIn(sim);
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    sim.setFault({Sim::FaultKind::Drop, restartPath, 0ms});
    const auto restart = await(client->restartAccessPoint(devices.value().first().mac));
    QVERIFY(!restart.ok());
    QCOMPARE(restart.error().kind(), UnifiAPIError::Case::network);
    QCOMPARE(requestsTo(sim, restartPath).size(), 1);
}

void TestClientBounds::droppedFetchIsRepeatedOnceOnAFreshConnection()
{
    // A kept connection may have been closed by the controller just as the request went out; a
    // request without effect is repeated once, on a connection of its own, and then fails.
    Sim &sim = startSim();
    auto client = loggedIn(sim);
    sim.setFault({Sim::FaultKind::Drop, devicesPath, 0ms});
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error().kind(), UnifiAPIError::Case::network);
    QCOMPARE(requestsTo(sim, devicesPath).size(), 2);
    sim.clearFaults();
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestClientBounds::largeInventoryIsStillRead()
{
    // An answer above the 1 MB of other answers, far below the device list's limit.
    Sim &sim = startSim();
    QJsonArray devices;
    QJsonObject device{{u"type"_s, u"uap"_s}, {u"state"_s, 1}, {u"name"_s, QString(400, u'n')}};
    for (int i = 0; i < 4000; ++i) {
        device.insert(u"mac"_s,
                      u"aa:bb:cc:00:%1:%2"_s.arg(i / 256, 2, 16, QChar(u'0')).arg(i % 256, 2, 16, QChar(u'0')));
        devices.append(device);
    }
    const QByteArray json =
        QJsonDocument(QJsonObject{{u"meta"_s, QJsonObject{{u"rc"_s, u"ok"_s}}}, {u"data"_s, devices}}).toJson();
    QVERIFY(json.size() > UnifiAPIClient::answerLimit);
    QVERIFY(sim.setDevicesJson(json));
    auto client = loggedIn(sim);
    const auto fetched = await(client->fetchAccessPoints());
    QVERIFY2(fetched.ok(), qPrintable(fetched.ok() ? QString() : fetched.error().description()));
    QCOMPARE(fetched.value().size(), 4000);
}

void TestClientBounds::errorBodyIsShownInPart()
{
    Sim &sim = startSim();
    auto client = loggedIn(sim);
    sim.setFault({Sim::FaultKind::HugeError, devicesPath, 0ms});
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error().description(),
             u"Controller returned HTTP 500: "_s + QString(UnifiAPIError::bodyShownLimit, u'E') + u'\u2026');
    // A body of exactly the limit is shown whole.
    QCOMPARE(UnifiAPIError::server(500, QString(1000, u'x')).description(),
             u"Controller returned HTTP 500: "_s + QString(1000, u'x'));
}

void TestClientBounds::tokenWithControlCharactersIsRefused()
{
    // In the login answer's header, and inside a console's JWT session cookie.
    const auto header = UnifiAPIClient::readLoginAnswer(ControllerKind::unifiOS, 200,
                                                        {{"x-csrf-token", "abc\r\nX-Injected: 1"}}, "{}", {});
    QVERIFY(!header.ok());
    QCOMPARE(header.error().kind(), UnifiAPIError::Case::decoding);
    const QByteArray claims = QByteArray(R"({"csrfToken":"abc\ndef"})").toBase64(QByteArray::Base64UrlEncoding);
    const QNetworkCookie jwt("TOKEN", "e30." + claims + ".sig");
    const auto claim = UnifiAPIClient::readLoginAnswer(ControllerKind::unifiOS, 200, {}, "{}", {jwt});
    QVERIFY(!claim.ok());
    QCOMPARE(claim.error().kind(), UnifiAPIError::Case::decoding);
    // Printable ASCII passes as it is.
    QCOMPARE(UnifiAPIClient::headerSafeToken("a-Z_0.9~").value(), u"a-Z_0.9~"_s);
    QVERIFY(!UnifiAPIClient::headerSafeToken("caf\xc3\xa9").ok());
    QVERIFY(!UnifiAPIClient::headerSafeToken(QByteArray("a\0b", 3)).ok());
}

void TestClientBounds::rotatedTokenWithNonAsciiIsRefused()
{
    Sim &sim = startSim();
    auto client = loggedIn(sim);
    const QString token = requests(sim).last().value(u"issuedToken"_s).toString();
    sim.setExtraHeader("X-Updated-CSRF-Token", "caf\xc3\xa9");
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error().kind(), UnifiAPIError::Case::decoding);
    // The token held before is still the one sent.
    sim.setExtraHeader("X-Updated-CSRF-Token", {});
    QVERIFY(await(client->fetchAccessPoints()).ok());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), token);
}

void TestClientBounds::rotatedTokenWinsOverTheCookie()
{
    // A Network Application that handed the token as a cookie at login, then rotated it by header
    // without touching the cookie: the header's token is the one sent from then on.
    Sim &sim = startSim(Sim::Kind::Classic);
    sim.setCsrfCookie(true);
    auto client = loggedIn(sim);
    sim.setExtraHeader("X-Updated-CSRF-Token", "rotated-by-header");
    QVERIFY(await(client->fetchAccessPoints()).ok());
    sim.setExtraHeader("X-Updated-CSRF-Token", {});
    (void)await(client->fetchAccessPoints());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), u"rotated-by-header"_s);
}

void TestClientBounds::proxyFromTheEnvironmentIsNotUsed()
{
    const auto address = nonLoopbackAddress();
    if (!address)
        QSKIP("this machine has no address but loopback, to which Qt never applies a proxy");
    CountingListener proxy;
    const QByteArray proxyUrl = "http://127.0.0.1:" + QByteArray::number(proxy.port());
    const QList<QByteArray> variables{"https_proxy", "HTTPS_PROXY", "http_proxy", "HTTP_PROXY", "all_proxy"};
    for (const QByteArray &name : variables)
        qputenv(name.constData(), proxyUrl);
    const auto unset = qScopeGuard([&variables] {
        for (const QByteArray &name : variables)
            qunsetenv(name.constData());
    });

    auto simulator = std::make_unique<Sim>();
    simulator->setKeyType(Sim::KeyType::Ec);
    simulator->setListenAddress(*address);
    QString error;
    QVERIFY2(simulator->start(&error), qPrintable(error));
    sims.push_back(std::move(simulator));
    Sim &sim = *sims.back();
    auto client = makeClient(sim, /*approve=*/true, address->toString());
    client->setTransferTimeout(5s);
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), qPrintable(login.ok() ? QString() : login.error().description()));
    QVERIFY(await(client->fetchAccessPoints()).ok());
    // The question was about the controller's own key, and the proxy never saw a connection.
    QCOMPARE(questions().size(), 1);
    QCOMPARE(questions().first().second, sim.fingerprint());
    QCOMPARE(proxy.accepted(), 0);
}

QTEST_GUILESS_MAIN(TestClientBounds)
#include "tst_clientbounds.moc"
