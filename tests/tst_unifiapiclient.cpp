// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ClientFixture.h"
#include "Controller/Inventory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The controller protocol: login, inventory, commands, tokens and how failures read.
class TestUnifiAPIClient final : public QObject, public ClientFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { ClientFixture::init(); }
    void cleanup() { ClientFixture::cleanup(); }

    void placeholderUrlFailsAsNetworkError();
    void roundTrips_data();
    void roundTrips();
    void rotatedTokenUsedOnNextRequest();
    void loginWithoutCsrfHeaderKeepsEarlierToken_data();
    void loginWithoutCsrfHeaderKeepsEarlierToken();
    void csrfTokenFromJwtSessionCookie();
    void csrfTokenFromJwtParsing();
    void csrfTokenFromClassicCookie();
    void csrfTokenFromClassicCookieRotates();
    void csrfCookieFollowsItsLatestValue();
    void csrfCookieDoesNotReplaceEarlierHeaderToken();
    void updatedTokenOn401StillReplaces();
    void invalidCredentials_data();
    void invalidCredentials();
    void loginRefusals_data();
    void loginRefusals();
    void loginAnswerToken_data();
    void loginAnswerToken();
    void twoFactorAccountIsRefused_data();
    void twoFactorAccountIsRefused();
    void siteNotServedIsNotAnExpiredSession();
    void sitesAreListedAndUsedByName();
    void readOnlyAccountMayNotRestart();
    void serverErrorWithNonUtf8Body();
    void loginRateLimitIsServerError();
    void malformedInventoryIsDecodingError();
    void wrongTypeInventoryIsDecodingError();
    void largeAnswersArriveWhole();
    void restartSucceedsWhateverBody();
    void rebootCameraRefusesUnsafeIds_data();
    void rebootCameraRefusesUnsafeIds();
    void rebootCameraSendsSafeIdUnchanged();
    void classicHasNoCamerasAndSendsNothing();
    void idleConnectionsCloseSoonAfterTheLastAnswer();
    void requestThatNeverAnswersTimesOut();
    void bodyCutShortBySilenceTimesOut();
    void bodyCutShortByResetIsNetworkError();
    void speaksHttp1Only();
    void logoutAgainstStoppedControllerClearsSession();
    void errorTexts();
};

void TestUnifiAPIClient::placeholderUrlFailsAsNetworkError()
{
    const ControllerConfig config{u"my host"_s, 443, ControllerKind::unifiOS, u"u"_s, u"default"_s};
    QCOMPARE(config.baseURL(), placeholderBaseURL());
    UnifiAPIClient client(config, *firstUse);
    const auto login = await(client.login(u"pw"_s));
    QVERIFY(!login.ok());
    QCOMPARE(login.error().kind(), UnifiAPIError::Case::network);
    QVERIFY(!login.error().description().isEmpty());
    const auto devices = await(client.fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error().kind(), UnifiAPIError::Case::network);
}

void TestUnifiAPIClient::roundTrips_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("unifiOS") << int(Sim::Kind::UnifiOS);
    QTest::newRow("classic") << int(Sim::Kind::Classic);
}

void TestUnifiAPIClient::roundTrips()
{
    QFETCH(int, kind);
    Sim &sim = startSim(Sim::Kind(kind));
    const bool unifiOS = Sim::Kind(kind) == Sim::Kind::UnifiOS;
    auto client = makeClient(sim);
    QVERIFY(!client->holdsSessionSecrets());
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(client->holdsSessionSecrets());

    const auto login = requests(sim).last();
    QCOMPARE(login.value(u"path"_s).toString(), unifiOS ? u"/api/auth/login"_s : u"/api/login"_s);
    QCOMPARE(login.value(u"csrf"_s), QJsonValue(QJsonValue::Null)); // login never sends a token
    const QJsonObject body = QJsonDocument::fromJson(login.value(u"body"_s).toString().toUtf8()).object();
    QCOMPARE(body,
             (QJsonObject{{u"username"_s, sim.username()}, {u"password"_s, sim.password()}, {u"rememberMe"_s, false}}));
    const int session = login.value(u"created"_s).toInt();
    QVERIFY(session > 0);
    const QString token = login.value(u"issuedToken"_s).toString();
    QVERIFY(!token.isEmpty());

    const auto devices = await(client->fetchAccessPoints());
    QVERIFY2(devices.ok(), devices.ok() ? "" : qPrintable(devices.error().description()));
    QVERIFY(devices.value().size() >= 8);
    for (const UnifiDevice &device : devices.value())
        QCOMPARE(device.type, u"uap"_s);
    const QJsonObject fetch = requests(sim).last();
    QCOMPARE(fetch.value(u"method"_s).toString(), u"GET"_s);
    QCOMPARE(fetch.value(u"path"_s).toString(),
             unifiOS ? u"/proxy/network/api/s/default/stat/device"_s : u"/api/s/default/stat/device"_s);
    QCOMPARE(fetch.value(u"session"_s).toInt(), session); // the session cookie came back
    QCOMPARE(fetch.value(u"csrf"_s).toString(), token);

    const UnifiDevice target = devices.value().first();
    QVERIFY(await(client->restartAccessPoint(target.mac)).ok());
    const QJsonObject restart = requests(sim).last();
    QCOMPARE(restart.value(u"method"_s).toString(), u"POST"_s);
    QCOMPARE(restart.value(u"session"_s).toInt(), session);
    QCOMPARE(restart.value(u"csrf"_s).toString(), token);
    QCOMPARE(QJsonDocument::fromJson(restart.value(u"body"_s).toString().toUtf8()).object(),
             (QJsonObject{{u"cmd"_s, u"restart"_s}, {u"mac"_s, target.mac}}));
    const auto after = await(client->fetchAccessPoints());
    QVERIFY(after.ok());
    QCOMPARE(after.value().first().mac, target.mac);
    QCOMPARE(after.value().first().state, std::optional<qint64>(0)); // offline while it restarts

    const auto cameras = await(client->fetchCameras());
    QVERIFY(cameras.ok());
    if (unifiOS) {
        QVERIFY(cameras.value().size() >= 2);
        QVERIFY(await(client->rebootCamera(cameras.value().first().id)).ok());
        const auto again = await(client->fetchCameras());
        QCOMPARE(again.value().first().state, std::optional<QString>(u"DISCONNECTED"_s));
    } else {
        QVERIFY(cameras.value().isEmpty());
    }

    await(client->logout());
    QVERIFY(!client->holdsSessionSecrets());
    QVERIFY(client->isClosed());
    QCOMPARE(requests(sim).last().value(u"path"_s).toString(), unifiOS ? u"/api/auth/logout"_s : u"/api/logout"_s);
    QCOMPARE(requests(sim).last().value(u"session"_s).toInt(), session);
    QCOMPARE(sim.liveSessionCount(), 0);
    const auto sent = requests(sim).size();
    const auto afterLogout = await(client->fetchAccessPoints());
    QVERIFY(!afterLogout.ok());
    QCOMPARE(requests(sim).size(), sent); // a client that logged out sends nothing more
}

void TestUnifiAPIClient::rotatedTokenUsedOnNextRequest()
{
    Sim &sim = startSim();
    sim.setCsrfRotation(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const QString first = requests(sim).last().value(u"issuedToken"_s).toString();
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    QVERIFY(await(client->restartAccessPoint(devices.value().at(0).mac)).ok());
    const QJsonObject firstPost = requests(sim).last();
    QCOMPARE(firstPost.value(u"csrf"_s).toString(), first);
    const QString second = firstPost.value(u"issuedToken"_s).toString();
    QVERIFY(!second.isEmpty() && second != first);
    QVERIFY(await(client->restartAccessPoint(devices.value().at(1).mac)).ok()); // the old token would get 403
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), second);
}

void TestUnifiAPIClient::loginWithoutCsrfHeaderKeepsEarlierToken_data()
{
    roundTrips_data();
}

void TestUnifiAPIClient::loginWithoutCsrfHeaderKeepsEarlierToken()
{
    QFETCH(int, kind);
    Sim &sim = startSim(Sim::Kind(kind));
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const QString earlier = requests(sim).last().value(u"issuedToken"_s).toString();
    QVERIFY(!earlier.isEmpty());
    sim.setCsrfHeaderAtLogin(false);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(await(client->fetchAccessPoints()).ok());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), earlier);
}

void TestUnifiAPIClient::csrfTokenFromJwtSessionCookie()
{
    Sim &sim = startSim();
    sim.setJwtCookie(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const QString claim = requests(sim).last().value(u"issuedToken"_s).toString();
    QVERIFY(!claim.isEmpty());
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), claim);
    // The POST passes only with the token from the cookie's claim.
    const auto restart = await(client->restartAccessPoint(devices.value().first().mac));
    QVERIFY2(restart.ok(), restart.ok() ? "" : qPrintable(restart.error().description()));
}

void TestUnifiAPIClient::csrfTokenFromJwtParsing()
{
    const auto jwt = [](const QByteArray &payload, QByteArray::Base64Options options) {
        return "eyJhbGciOiJIUzI1NiJ9." + payload.toBase64(options) + ".c2ln";
    };
    const QByteArray claims = R"({"userId":"u","csrfToken":"abc-123"})";
    QCOMPARE(UnifiAPIClient::csrfTokenFromJwt(jwt(claims, QByteArray::Base64UrlEncoding)),
             std::optional<QString>(u"abc-123"_s));
    QCOMPARE(
        UnifiAPIClient::csrfTokenFromJwt(jwt(claims, QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals)),
        std::optional<QString>(u"abc-123"_s));
    QVERIFY(!UnifiAPIClient::csrfTokenFromJwt(jwt(R"({"csrfToken":5})", QByteArray::Base64UrlEncoding)));
    QVERIFY(!UnifiAPIClient::csrfTokenFromJwt(jwt(R"(["csrfToken"])", QByteArray::Base64UrlEncoding)));
    QVERIFY(!UnifiAPIClient::csrfTokenFromJwt(jwt("not json", QByteArray::Base64UrlEncoding)));
    QVERIFY(!UnifiAPIClient::csrfTokenFromJwt("0123456789abcdef"));
    QVERIFY(!UnifiAPIClient::csrfTokenFromJwt("a.%%%.c"));
}

void TestUnifiAPIClient::csrfTokenFromClassicCookie()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    sim.setCsrfCookie(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const QJsonObject login = requests(sim).last();
    const QString issued = login.value(u"issuedToken"_s).toString();
    QVERIFY(!issued.isEmpty());
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), issued);
    // The POST passes only with the token from the cookie.
    const auto restart = await(client->restartAccessPoint(devices.value().first().mac));
    QVERIFY2(restart.ok(), restart.ok() ? "" : qPrintable(restart.error().description()));
    const QJsonObject post = requests(sim).last();
    QCOMPARE(post.value(u"csrf"_s).toString(), issued);
    QCOMPARE(post.value(u"session"_s), login.value(u"created"_s));
    QCOMPARE(post.value(u"status"_s).toInt(), 200);
    await(client->logout());
    QCOMPARE(requests(sim).last().value(u"status"_s).toInt(), 200); // the logout is a POST as well
    QVERIFY(!client->holdsSessionSecrets());
}

void TestUnifiAPIClient::csrfTokenFromClassicCookieRotates()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    sim.setCsrfCookie(true);
    sim.setCsrfRotation(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QString token = requests(sim).last().value(u"issuedToken"_s).toString();
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    for (int round = 0; round < 3; ++round) {
        QVERIFY(await(client->restartAccessPoint(devices.value().at(round).mac)).ok()); // a stale token gets 403
        const QJsonObject post = requests(sim).last();
        QCOMPARE(post.value(u"csrf"_s).toString(), token);
        const QString next = post.value(u"issuedToken"_s).toString();
        QVERIFY(!next.isEmpty() && next != token);
        token = next;
    }
    // A new session after the old one ended: its cookie, not a token rotated in the old one.
    sim.expireSessions();
    QCOMPARE(await(client->fetchAccessPoints()).error(), UnifiAPIError::notLoggedIn());
    QVERIFY(await(client->login(sim.password())).ok());
    const QString fresh = requests(sim).last().value(u"issuedToken"_s).toString();
    QVERIFY(await(client->restartAccessPoint(devices.value().first().mac)).ok());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), fresh);
}

void TestUnifiAPIClient::csrfCookieFollowsItsLatestValue()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    sim.setCsrfCookie(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    // Any answer may set the cookie anew; the next request carries what it says now.
    sim.setExtraHeader("Set-Cookie", "csrf_token=replaced-token; Path=/; Secure");
    QVERIFY(await(client->fetchAccessPoints()).ok());
    sim.setExtraHeader("Set-Cookie", {});
    QVERIFY(await(client->fetchAccessPoints()).ok());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), u"replaced-token"_s);
}

void TestUnifiAPIClient::csrfCookieDoesNotReplaceEarlierHeaderToken()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const QString earlier = requests(sim).last().value(u"issuedToken"_s).toString();
    sim.setCsrfCookie(true);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(requests(sim).last().value(u"issuedToken"_s).toString() != earlier);
    QVERIFY(await(client->fetchAccessPoints()).ok());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), earlier);
}

void TestUnifiAPIClient::updatedTokenOn401StillReplaces()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.expireSessions();
    sim.setExtraHeader("X-Updated-CSRF-Token", "fresh-token");
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error(), UnifiAPIError::notLoggedIn());
    QCOMPARE(devices.error().description(), u"Not logged in."_s);
    sim.setExtraHeader("X-Updated-CSRF-Token", {});
    (void)await(client->fetchAccessPoints());
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), u"fresh-token"_s);
}

void TestUnifiAPIClient::invalidCredentials_data()
{
    roundTrips_data();
}

void TestUnifiAPIClient::invalidCredentials()
{
    QFETCH(int, kind);
    Sim &sim = startSim(Sim::Kind(kind));
    auto client = makeClient(sim);
    const auto login = await(client->login(u"wrong"_s));
    QVERIFY(!login.ok());
    QCOMPARE(login.error().description(), u"Invalid username or password."_s);
    QCOMPARE(requests(sim).last().value(u"status"_s).toInt(), Sim::Kind(kind) == Sim::Kind::UnifiOS ? 401 : 400);
}

namespace {

// Login answers as controllers send them: the Network Application's error envelope (with status 200
// as well as 400) and a console's second-factor challenge.
constexpr auto twoFactorEnvelope = R"({"meta":{"rc":"error","msg":"api.err.Ubic2faTokenRequired"},"data":[]})";
constexpr auto invalidEnvelope = R"({"meta":{"rc":"error","msg":"api.err.Invalid"},"data":[]})";
constexpr auto noPermissionEnvelope = R"({"meta":{"rc":"error","msg":"api.err.NoPermission"},"data":[]})";
constexpr auto consoleChallenge =
    R"({"code":"MFA_AUTH_REQUIRED","message":"MFA token required to authenticate to SSO","data":{"required":"2fa",)"
    R"("mfaCookie":"UBIC_2FA=0f3c9a","authenticators":[{"id":"8d1e4c2a-5b7f-4e0a-9c3d-2f6b1a8e7d40","type":"email",)"
    R"("status":"active","email":"d***@example.invalid"}],"user":{"id":"3b9e2f10-7c4d-4a8b-b1e6-5d0f9c2a7e18",)"
    R"("default_mfa":"8d1e4c2a-5b7f-4e0a-9c3d-2f6b1a8e7d40"}}})";

} // namespace

void TestUnifiAPIClient::loginRefusals_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    // UnifiAPIError has no default value to stand in a test table: the case and the text instead.
    QTest::addColumn<int>("expectedCase");
    QTest::addColumn<QString>("expectedText");
    const int classic = int(Sim::Kind::Classic);
    const int unifiOS = int(Sim::Kind::UnifiOS);
    const auto row = [](const char *name, int kind, int status, const QByteArray &body, const UnifiAPIError &error) {
        QTest::newRow(name) << kind << status << body << int(error.kind()) << error.description();
    };
    row("second factor, envelope with 200", classic, 200, twoFactorEnvelope, UnifiAPIError::twoFactorRequired());
    row("second factor, envelope with 400", classic, 400, twoFactorEnvelope, UnifiAPIError::twoFactorRequired());
    row("wrong password, envelope with 200", classic, 200, invalidEnvelope, UnifiAPIError::invalidCredentials());
    row("other error, envelope with 200", classic, 200, noPermissionEnvelope,
        UnifiAPIError::server(200, QString::fromUtf8(noPermissionEnvelope)));
    row("other error, envelope with 403", classic, 403, noPermissionEnvelope,
        UnifiAPIError::server(403, QString::fromUtf8(noPermissionEnvelope)));
    row("other error, envelope not UTF-8", classic, 200,
        QByteArray(noPermissionEnvelope).replace("NoPermission", "\xff"), UnifiAPIError::server(200, QString()));
    row("error status, body not UTF-8", classic, 502, "\xff\xfe", UnifiAPIError::server(502, QString()));
    row("console challenge with 499", unifiOS, 499, consoleChallenge, UnifiAPIError::twoFactorRequired());
    row("499 whatever its body", unifiOS, 499, "{}", UnifiAPIError::twoFactorRequired());
    row("challenge code with 401", unifiOS, 401, consoleChallenge, UnifiAPIError::twoFactorRequired());
}

void TestUnifiAPIClient::loginRefusals()
{
    QFETCH(int, kind);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(int, expectedCase);
    QFETCH(QString, expectedText);
    Sim &sim = startSim(Sim::Kind(kind));
    sim.setLoginAnswer(status, body);
    auto client = makeClient(sim);
    const auto login = await(client->login(sim.password()));
    QCOMPARE(requests(sim).last().value(u"status"_s).toInt(), status);
    QVERIFY(!login.ok());
    QCOMPARE(int(login.error().kind()), expectedCase);
    QCOMPARE(login.error().description(), expectedText);
    QVERIFY(!client->holdsSessionSecrets());
}

void TestUnifiAPIClient::twoFactorAccountIsRefused_data()
{
    roundTrips_data();
}

void TestUnifiAPIClient::twoFactorAccountIsRefused()
{
    QFETCH(int, kind);
    Sim &sim = startSim(Sim::Kind(kind));
    sim.setTwoFactorRequired(true);
    auto client = makeClient(sim);
    const auto login = await(client->login(sim.password()));
    QVERIFY(!login.ok());
    QCOMPARE(login.error(), UnifiAPIError::twoFactorRequired());
    QCOMPARE(login.error().description(),
             u"This account uses two-factor authentication. Use a local controller account without it."_s);
    QCOMPARE(requests(sim).last().value(u"status"_s).toInt(), Sim::Kind(kind) == Sim::Kind::UnifiOS ? 499 : 400);
    QVERIFY(!client->holdsSessionSecrets());
    // A wrong password still reads as one.
    QCOMPARE(await(client->login(u"wrong"_s)).error(), UnifiAPIError::invalidCredentials());
    sim.setTwoFactorRequired(false);
    QVERIFY(await(client->login(sim.password())).ok());
}

void TestUnifiAPIClient::siteNotServedIsNotAnExpiredSession()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setSite(u"elsewhere"_s); // the client's site no longer exists
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error(), UnifiAPIError::noSiteContext(u"default"_s));
    QCOMPARE(devices.error().description(),
             u"The controller has no site 'default' for this account. Choose a site in Settings."_s);
    // The same for a reading and a restart.
    QCOMPARE(await(client->readAccessPoint(u"78:45:58:a1:10:20"_s)).error(),
             UnifiAPIError::noSiteContext(u"default"_s));
    QCOMPARE(await(client->restartAccessPoint(u"78:45:58:a1:10:20"_s)).error(),
             UnifiAPIError::noSiteContext(u"default"_s));
    // The site asked for explicitly is served.
    QVERIFY(await(client->fetchAccessPoints(u"elsewhere"_s)).ok());
    // Any other 401 still reads as the end of the session.
    sim.expireSessions();
    QCOMPARE(await(client->fetchAccessPoints(u"elsewhere"_s)).error(), UnifiAPIError::notLoggedIn());
}

void TestUnifiAPIClient::sitesAreListedAndUsedByName()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto sites = await(client->fetchSites());
    QVERIFY(sites.ok());
    QCOMPARE(sites.value(), (QList<ControllerSite>{{u"default"_s, u"Default"_s, u"admin"_s},
                                                   {u"k3w9d2xa"_s, u"Warehouse"_s, u"admin"_s}}));
    const auto devices = await(client->fetchAccessPoints(u"k3w9d2xa"_s));
    QVERIFY(devices.ok());
    QCOMPARE(devices.value().size(), 3);
    QCOMPARE(devices.value().first().name, u"Loading Dock"_s);
    QVERIFY(await(client->restartAccessPoint(u"78:45:58:a1:20:41"_s, u"k3w9d2xa"_s)).ok());
    QCOMPARE(requestsTo(sim, u"/proxy/network/api/s/k3w9d2xa/cmd/devmgr"_s).size(), 1);
    QVERIFY(requestsTo(sim, u"/proxy/network/api/s/default/cmd/devmgr"_s).isEmpty());
}

void TestUnifiAPIClient::readOnlyAccountMayNotRestart()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    sim.setReadOnly(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    // Before the sites are known, the short id names the site; afterwards the name people know.
    QCOMPARE(await(client->restartAccessPoint(u"78:45:58:a1:20:41"_s, u"k3w9d2xa"_s)).error(),
             UnifiAPIError::noPermission(u"k3w9d2xa"_s));
    QVERIFY(await(client->fetchSites()).ok());
    const auto refused = await(client->restartAccessPoint(u"78:45:58:a1:20:41"_s, u"k3w9d2xa"_s));
    QCOMPARE(refused.error().description(),
             u"This account may not restart devices on site 'Warehouse'. Use an administrator account."_s);
    QVERIFY(await(client->fetchAccessPoints()).ok()); // reading is allowed
}

void TestUnifiAPIClient::serverErrorWithNonUtf8Body()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setFault({Sim::FaultKind::ServerError, u"/proxy/network"_s, 0ms});
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error().description(), u"Controller returned HTTP 500: "_s);
}

void TestUnifiAPIClient::loginRateLimitIsServerError()
{
    Sim &sim = startSim();
    sim.setLoginRateLimit(1, 10min);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto second = await(client->login(sim.password()));
    QVERIFY(!second.ok());
    QCOMPARE(
        second.error().description(),
        u"Controller returned HTTP 429: {\"code\":\"AUTHENTICATION_FAILED_LIMIT_REACHED\",\"message\":\"You've reached the login attempt limit\"}"_s);
}

void TestUnifiAPIClient::malformedInventoryIsDecodingError()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setFault({Sim::FaultKind::MalformedJson, {}, 0ms});
    for (const bool cameras : {false, true}) {
        const QString text = cameras ? await(client->fetchCameras()).error().description()
                                     : await(client->fetchAccessPoints()).error().description();
        QVERIFY2(text.startsWith(u"Failed to parse controller response: The data is not valid JSON ("_s),
                 qPrintable(text));
        QVERIFY2(QRegularExpression(u" at offset \\d+\\)\\.$"_s).match(text).hasMatch(), qPrintable(text));
    }
}

void TestUnifiAPIClient::wrongTypeInventoryIsDecodingError()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setFault({Sim::FaultKind::WrongType, {}, 0ms});
    QCOMPARE(await(client->fetchAccessPoints()).error().description(),
             u"Failed to parse controller response: Expected integer for \"state\" at data[0], found string."_s);
    QCOMPARE(await(client->fetchCameras()).error().description(),
             u"Failed to parse controller response: Expected string for \"id\" at [0], found integer."_s);
}

void TestUnifiAPIClient::largeAnswersArriveWhole()
{
    // Megabytes of devices arrive in many pieces and are decoded away from the event loop: the
    // same devices as the answer holds.
    Sim &sim = startSim();
    QJsonArray devices;
    for (int i = 0; i < 12000; ++i) {
        QJsonObject device;
        device.insert(u"mac"_s, u"aa:bb:cc:%1:%2:%3"_s.arg(i >> 16 & 255, 2, 16, QChar(u'0'))
                                    .arg(i >> 8 & 255, 2, 16, QChar(u'0'))
                                    .arg(i & 255, 2, 16, QChar(u'0')));
        device.insert(u"name"_s, u"Access point %1"_s.arg(i));
        device.insert(u"type"_s, i % 7 == 0 ? u"usw"_s : u"uap"_s);
        device.insert(u"state"_s, i % 3);
        devices.append(device);
    }
    const QByteArray answer =
        QJsonDocument(QJsonObject{{u"meta"_s, QJsonObject{{u"rc"_s, u"ok"_s}}}, {u"data"_s, devices}}).toJson();
    QVERIFY(answer.size() > qsizetype(1024) * 1024); // large enough to be decoded aside
    QVERIFY(sim.setDevicesJson(answer));
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto fetched = await(client->fetchAccessPoints());
    QVERIFY2(fetched.ok(), fetched.ok() ? "" : qPrintable(fetched.error().description()));
    QCOMPARE(fetched.value(), decodeAccessPoints(answer).value());
    QCOMPARE(fetched.value().size(), 12000 - 12000 / 7 - 1);
    QCOMPARE(fetched.value().last().name, u"Access point 11999"_s);
}

void TestUnifiAPIClient::restartSucceedsWhateverBody()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto devices = await(client->fetchAccessPoints());
    sim.setFault({Sim::FaultKind::MalformedJson, u"/proxy/network/api/s/default/cmd/"_s, 0ms});
    QVERIFY(await(client->restartAccessPoint(devices.value().first().mac)).ok());
    QCOMPARE(requests(sim).last().value(u"fault"_s).toString(), Sim::faultName(Sim::FaultKind::MalformedJson));
}

void TestUnifiAPIClient::rebootCameraRefusesUnsafeIds_data()
{
    QTest::addColumn<QString>("id");
    QTest::newRow("empty") << QString();
    QTest::newRow("slash") << u"abc/def"_s;
    QTest::newRow("dot") << u"abc.def"_s;
    QTest::newRow("dot dot") << u".."_s;
    QTest::newRow("blank") << u"abc def"_s;
    QTest::newRow("query") << u"abc?x=1"_s;
    QTest::newRow("non-ascii letter") << u"caméra"_s;
}

void TestUnifiAPIClient::rebootCameraRefusesUnsafeIds()
{
    QFETCH(QString, id);
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto before = requests(sim).size();
    const auto reboot = await(client->rebootCamera(id));
    QVERIFY(!reboot.ok());
    QCOMPARE(reboot.error(), UnifiAPIError::decoding(u"Unexpected camera id from controller: "_s + id));
    QCOMPARE(reboot.error().description(),
             u"Failed to parse controller response: Unexpected camera id from controller: "_s + id);
    QCOMPARE(requests(sim).size(), before);
}

void TestUnifiAPIClient::rebootCameraSendsSafeIdUnchanged()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto reboot = await(client->rebootCamera(u"AZaz09-_"_s));
    QCOMPARE(requests(sim).last().value(u"path"_s).toString(), u"/proxy/protect/api/cameras/AZaz09-_/reboot"_s);
    QCOMPARE(reboot.error().description(), u"Controller returned HTTP 404: {\"error\":\"Camera not found\"}"_s);
}

void TestUnifiAPIClient::classicHasNoCamerasAndSendsNothing()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto before = requests(sim).size();
    const auto cameras = await(client->fetchCameras());
    QVERIFY(cameras.ok());
    QVERIFY(cameras.value().isEmpty());
    QCOMPARE(requests(sim).size(), before);
}

void TestUnifiAPIClient::idleConnectionsCloseSoonAfterTheLastAnswer()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(await(client->fetchAccessPoints()).ok());
    const auto connections = [&sim](const QString &event) {
        QSet<int> ids;
        for (const QJsonObject &entry : sim.logEntries()) {
            if (entry.value(u"event"_s).toString() == event)
                ids.insert(entry.value(u"conn"_s).toInt());
        }
        return ids;
    };
    // Kept for the next request of a burst, and then closed by the client rather than left for the
    // two minutes that would wake an idle program: every connection that carried a request ends.
    const QSet<int> used = connections(u"request"_s);
    QVERIFY(!used.isEmpty());
    QVERIFY(connections(u"disconnect"_s).isEmpty());
    const int limit = int(std::chrono::milliseconds(UnifiAPIClient::idleConnectionKeep).count()) + 10'000;
    QTRY_VERIFY_WITH_TIMEOUT(connections(u"disconnect"_s).contains(used), limit);
    // The next request opens a connection of its own and is answered as before.
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestUnifiAPIClient::requestThatNeverAnswersTimesOut()
{
    QCOMPARE(UnifiAPIClient::defaultTransferTimeout, std::chrono::milliseconds(60'000));
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QCOMPARE(client->transferTimeout(), std::chrono::milliseconds(60'000));
    client->setTransferTimeout(1500ms);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setFault({Sim::FaultKind::Hang, u"/proxy/network"_s, 0ms});
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error(), UnifiAPIError::network(u"The request timed out."_s));
}

void TestUnifiAPIClient::bodyCutShortBySilenceTimesOut()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    client->setTransferTimeout(1s);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setFault({Sim::FaultKind::Stall, u"/proxy/"_s, 0ms});
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error(), UnifiAPIError::network(u"The request timed out."_s));
    QCOMPARE(requests(sim).last().value(u"status"_s).toInt(), 200); // the status line did arrive
    QCOMPARE(requests(sim).last().value(u"fault"_s).toString(), u"stall"_s);
    // A command's answer cut short is no success either, although its body is never read.
    const auto restart = await(client->restartAccessPoint(u"aa:bb:cc:dd:ee:ff"_s));
    QCOMPARE(restart.error().kind(), UnifiAPIError::Case::network);
}

void TestUnifiAPIClient::bodyCutShortByResetIsNetworkError()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    sim.setFault({Sim::FaultKind::Reset, u"/proxy/"_s, 0ms});
    for (const bool cameras : {false, true}) {
        const UnifiAPIError error =
            cameras ? await(client->fetchCameras()).error() : await(client->fetchAccessPoints()).error();
        QCOMPARE(error.kind(), UnifiAPIError::Case::network);
        QVERIFY2(!error.description().isEmpty(), "the transport's own text");
        QCOMPARE(requests(sim).last().value(u"fault"_s).toString(), u"reset"_s);
    }
    const auto restart = await(client->restartAccessPoint(devices.value().first().mac));
    QCOMPARE(restart.error().kind(), UnifiAPIError::Case::network);
}

void TestUnifiAPIClient::speaksHttp1Only()
{
    Sim &sim = startSim(); // offers h2 before http/1.1
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(await(client->fetchAccessPoints()).ok());
    QVERIFY(await(client->fetchCameras()).ok());
    int carried = 0;
    for (const QJsonObject &handshake : handshakes(sim)) {
        if (handshake.value(u"result"_s).toString() != u"completed"_s)
            continue;
        const QJsonValue alpn = handshake.value(u"alpn"_s);
        QCOMPARE(alpn.toString(), u"http/1.1"_s);
        ++carried;
    }
    // The first-use handshake hangs up as soon as it has the certificate, before the controller
    // counts it complete; the connection that carried the requests completed.
    QVERIFY(carried >= 1);
}

void TestUnifiAPIClient::logoutAgainstStoppedControllerClearsSession()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(client->holdsSessionSecrets());
    sim.stop();
    await(client->logout());
    QVERIFY(!client->holdsSessionSecrets());
    QVERIFY(client->isClosed());
}

void TestUnifiAPIClient::errorTexts()
{
    QCOMPARE(UnifiAPIError::server(503, u"busy"_s).description(), u"Controller returned HTTP 503: busy"_s);
    QCOMPARE(UnifiAPIError::decoding(u"x"_s).description(), u"Failed to parse controller response: x"_s);
    QCOMPARE(UnifiAPIError::network(u"Connection refused"_s).description(), u"Connection refused"_s);
    QCOMPARE(UnifiAPIError::invalidCredentials().description(), u"Invalid username or password."_s);
    QCOMPARE(UnifiAPIError::certificateRejected().description(), u"The controller's certificate was not approved."_s);
    QCOMPARE(UnifiAPIError::notLoggedIn().description(), u"Not logged in."_s);
    QCOMPARE(UnifiAPIError::twoFactorRequired().description(),
             u"This account uses two-factor authentication. Use a local controller account without it."_s);
    QCOMPARE(UnifiAPIError::twoFactorRequired().kind(), UnifiAPIError::Case::twoFactorRequired);
    QCOMPARE(UnifiAPIError::certificateMismatch(u"a"_s, u"b"_s).description(),
             u"The controller's certificate changed unexpectedly.\nPinned: a\nPresented: b\n\nIf you recently reset "
             u"or re-adopted the controller, remove the pin in Settings and reconnect."_s);
    QCOMPARE(UnifiAPIClient::pathSafeIdentifier(u"abc_DEF-09"_s, u"camera id"_s).value(), u"abc_DEF-09"_s);
}

void TestUnifiAPIClient::loginAnswerToken_data()
{
    using Token = UnifiAPIClient::LoginToken;
    QTest::addColumn<ControllerKind>("kind");
    QTest::addColumn<QByteArrayList>("headers");
    QTest::addColumn<QByteArrayList>("cookies");
    QTest::addColumn<int>("source");
    QTest::addColumn<QString>("value");
    // {"csrfToken":"jwt-token"} as a JWT's payload.
    const QByteArray jwt = "eyJhbGciOiJIUzI1NiJ9." +
                           QByteArray(R"({"csrfToken":"jwt-token"})")
                               .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals) +
                           ".c2ln";
    const auto os = ControllerKind::unifiOS;
    const auto classic = ControllerKind::classic;
    auto row = [](const char *name, ControllerKind kind, const QByteArrayList &headers, const QByteArrayList &cookies,
                  Token::Source source,
                  const QString &value) { QTest::newRow(name) << kind << headers << cookies << int(source) << value; };
    row("header", os, {"x-csrf-token", "abc"}, {"TOKEN", jwt}, Token::Source::header, u"abc"_s);
    row("header before updated header", classic, {"x-csrf-token", "abc", "x-updated-csrf-token", "new"}, {},
        Token::Source::header, u"abc"_s);
    row("updated header", os, {"x-updated-csrf-token", "new"}, {"TOKEN", jwt}, Token::Source::updatedHeader, {});
    row("console JWT", os, {}, {"TOKEN", jwt}, Token::Source::sessionJwt, u"jwt-token"_s);
    row("console JWT, newer cookie name", os, {}, {"UOS_TOKEN", jwt}, Token::Source::sessionJwt, u"jwt-token"_s);
    row("console cookie not a JWT", os, {}, {"TOKEN", "opaque"}, Token::Source::none, {});
    row("classic token cookie", classic, {}, {"csrf_token", "cookie-token"}, Token::Source::tokenCookie, {});
    row("classic empty token cookie", classic, {}, {"csrf_token", ""}, Token::Source::none, {});
    row("classic ignores the JWT", classic, {}, {"TOKEN", jwt}, Token::Source::none, {});
    row("console ignores the token cookie", os, {}, {"csrf_token", "cookie-token"}, Token::Source::none, {});
}

void TestUnifiAPIClient::loginAnswerToken()
{
    QFETCH(ControllerKind, kind);
    QFETCH(QByteArrayList, headers);
    QFETCH(QByteArrayList, cookies);
    QFETCH(int, source);
    QFETCH(QString, value);
    QHash<QByteArray, QByteArray> headerMap;
    for (qsizetype i = 0; i + 1 < headers.size(); i += 2)
        headerMap.insert(headers.at(i), headers.at(i + 1));
    QList<QNetworkCookie> cookieList;
    for (qsizetype i = 0; i + 1 < cookies.size(); i += 2)
        cookieList.append(QNetworkCookie(cookies.at(i), cookies.at(i + 1)));
    const auto token = UnifiAPIClient::readLoginAnswer(kind, 200, headerMap, "{}", cookieList);
    QVERIFY(token.ok());
    QCOMPARE(int(token.value().source), source);
    QCOMPARE(token.value().value.value_or(QString()), value);
    // A refusal comes first, whatever the headers say.
    const auto refused = UnifiAPIClient::readLoginAnswer(kind, 401, headerMap, "{}", cookieList);
    QVERIFY(!refused.ok());
    QCOMPARE(refused.error(), UnifiAPIError::invalidCredentials());
}

QTEST_GUILESS_MAIN(TestUnifiAPIClient)
#include "tst_unifiapiclient.moc"
