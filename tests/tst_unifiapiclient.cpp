#include "ControllerSimulator.h"
#include "Services/CertTrustService.h"
#include "Services/PinningSessionDelegate.h"
#include "Services/UnifiAPIClient.h"
#include "TestSupport.h"

#include <QCoroTask>
#include <QCoroTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Sim = sim::ControllerSimulator;

using lanternfold::test::await;
using lanternfold::test::runShell;

class TestUnifiAPIClient final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void placeholderUrlFailsAsNetworkError();
    void firstUseApprovalPinsExactly();
    void fingerprintEqualsOpenssl_data();
    void fingerprintEqualsOpenssl();
    void roundTrips_data();
    void roundTrips();
    void rotatedTokenUsedOnNextRequest();
    void loginWithoutCsrfHeaderKeepsEarlierToken_data();
    void loginWithoutCsrfHeaderKeepsEarlierToken();
    void csrfTokenFromJwtSessionCookie();
    void csrfTokenFromJwtParsing();
    void updatedTokenOn401StillReplaces();
    void invalidCredentials_data();
    void invalidCredentials();
    void fetchAnswered400IsServerError();
    void serverErrorWithNonUtf8Body();
    void loginRateLimitIsServerError();
    void malformedInventoryIsDecodingError();
    void wrongTypeInventoryIsDecodingError();
    void restartSucceedsWhateverBody();
    void rebootCameraRefusesUnsafeIds_data();
    void rebootCameraRefusesUnsafeIds();
    void rebootCameraSendsSafeIdUnchanged();
    void classicHasNoCamerasAndSendsNothing();
    void declinedKeySendsNothing();
    void nobodyToAskSendsNothing();
    void changedKeySendsNothing();
    void upperCasePinIsRefused();
    void unreadableKeyIsRefused();
    void samePinOnOtherPort();
    void wrongShapePinsAreReplaced();
    void parallelRefreshNeverUsesOtherKey();
    void renewedCertificateNeedsNoQuestion();
    void expiredOrMisnamedCertificateConnectsWhenPinned();
    void requestThatNeverAnswersTimesOut();
    void logoutAgainstStoppedControllerClearsSession();
    void concurrentLoginsAskOnce();
    void errorTexts();
    void questionAnsweredAfterNinetySecondsStillLogsIn();

private:
    Sim &startSim(Sim::Kind kind = Sim::Kind::UnifiOS, std::optional<sim::TlsIdentity> identity = std::nullopt);
    std::unique_ptr<UnifiAPIClient> makeClient(const Sim &sim, bool approve = true, QString host = u"127.0.0.1"_s);
    QList<QJsonObject> requests(const Sim &sim) const;
    QList<QJsonObject> handshakes(const Sim &sim) const;
    sim::TlsIdentity identityFromOpenssl(const QString &commands);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<CertTrustService> m_trust;
    std::vector<std::unique_ptr<Sim>> m_sims;
    QList<QPair<QString, QString>> m_questions;
};

void TestUnifiAPIClient::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_trust = std::make_unique<CertTrustService>(m_dir->filePath(u"Lanternfold.conf"_s));
    m_questions.clear();
}

void TestUnifiAPIClient::cleanup()
{
    m_sims.clear();
    m_trust.reset();
    m_dir.reset();
}

Sim &TestUnifiAPIClient::startSim(Sim::Kind kind, std::optional<sim::TlsIdentity> identity)
{
    auto sim = std::make_unique<Sim>();
    sim->setKind(kind);
    sim->setKeyType(Sim::KeyType::Ec);
    if (identity)
        sim->setIdentity(*identity);
    sim->setOfflineDuration(60s);
    QString error;
    if (!sim->start(&error))
        qFatal("simulator did not start: %s", qPrintable(error));
    m_sims.push_back(std::move(sim));
    return *m_sims.back();
}

std::unique_ptr<UnifiAPIClient> TestUnifiAPIClient::makeClient(const Sim &sim, bool approve, QString host)
{
    const ControllerConfig config{host, sim.port(),
                                  sim.kind() == Sim::Kind::UnifiOS ? ControllerKind::unifiOS : ControllerKind::classic,
                                  sim.username(), sim.site()};
    auto client = std::make_unique<UnifiAPIClient>(config, *m_trust);
    client->setCertificateApprovalHandler([this, approve](QString asked, QString fingerprint) -> QCoro::Task<bool> {
        m_questions.append({asked, fingerprint});
        co_return approve;
    });
    return client;
}

QList<QJsonObject> TestUnifiAPIClient::requests(const Sim &sim) const
{
    return const_cast<Sim &>(sim).log().entries(u"request"_s);
}

QList<QJsonObject> TestUnifiAPIClient::handshakes(const Sim &sim) const
{
    return const_cast<Sim &>(sim).log().entries(u"handshake"_s);
}

sim::TlsIdentity TestUnifiAPIClient::identityFromOpenssl(const QString &commands)
{
    runShell(commands, m_dir->path());
    QString error;
    const auto identity =
        sim::TlsIdentity::fromFiles(m_dir->filePath(u"cert.pem"_s), m_dir->filePath(u"key.pem"_s), &error);
    if (!identity)
        qFatal("identity: %s", qPrintable(error));
    return *identity;
}

void TestUnifiAPIClient::placeholderUrlFailsAsNetworkError()
{
    const ControllerConfig config{u"my host"_s, 443, ControllerKind::unifiOS, u"u"_s, u"default"_s};
    QCOMPARE(config.baseURL(), placeholderBaseURL());
    UnifiAPIClient client(config, *m_trust);
    const auto login = await(client.login(u"pw"_s));
    QVERIFY(!login.ok());
    QCOMPARE(login.error().kind(), UnifiAPIError::Case::network);
    QVERIFY(!login.error().description().isEmpty());
    const auto devices = await(client.fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(devices.error().kind(), UnifiAPIError::Case::network);
}

void TestUnifiAPIClient::firstUseApprovalPinsExactly()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), login.ok() ? "" : qPrintable(login.error().description()));
    QCOMPARE(m_questions.size(), 1);
    QCOMPARE(m_questions.first().first, u"127.0.0.1"_s);
    const QString fingerprint = m_questions.first().second;
    QCOMPARE(fingerprint.size(), 64);
    QVERIFY(QRegularExpression(u"^[0-9a-f]{64}$"_s).match(fingerprint).hasMatch());
    QCOMPARE(fingerprint, sim.fingerprint());
    QCOMPARE(m_trust->pins(), (QHash<QString, QString>{{u"127.0.0.1"_s, fingerprint}}));
    // A second login asks nothing: the pin decides.
    const auto again = await(client->login(sim.password()));
    QVERIFY(again.ok());
    QCOMPARE(m_questions.size(), 1);
}

void TestUnifiAPIClient::fingerprintEqualsOpenssl_data()
{
    QTest::addColumn<int>("keyType");
    QTest::addColumn<QString>("keyBytes");
    QTest::newRow("rsa")
        << int(Sim::KeyType::Rsa)
        << u"openssl x509 -pubkey -noout -in sim.pem | openssl rsa -pubin -RSAPublicKey_out -outform DER"_s;
    QTest::newRow("ec")
        << int(Sim::KeyType::Ec)
        << u"openssl x509 -pubkey -noout -in sim.pem | openssl pkey -pubin -outform DER | tail -c +27"_s;
}

void TestUnifiAPIClient::fingerprintEqualsOpenssl()
{
    QFETCH(int, keyType);
    QFETCH(QString, keyBytes);
    auto sim = std::make_unique<Sim>();
    sim->setKeyType(Sim::KeyType(keyType));
    QVERIFY(sim->start());
    QFile pem(m_dir->filePath(u"sim.pem"_s));
    QVERIFY(pem.open(QIODevice::WriteOnly));
    pem.write(sim->identity().certificatePem);
    pem.close();
    const QString expected = runShell(keyBytes + u" | sha256sum | cut -d' ' -f1"_s, m_dir->path());
    auto client = makeClient(*sim);
    QVERIFY(await(client->login(sim->password())).ok());
    QCOMPARE(m_questions.size(), 1);
    QCOMPARE(m_questions.first().second, expected);
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
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(client->csrfToken().has_value());
    QCOMPARE(client->cookies().size(), 1);
    QCOMPARE(client->cookies().first().name(), unifiOS ? QByteArray("TOKEN") : QByteArray("unifises"));

    const auto login = requests(sim).last();
    QCOMPARE(login.value(u"path"_s).toString(), unifiOS ? u"/api/auth/login"_s : u"/api/login"_s);
    QCOMPARE(login.value(u"csrf"_s), QJsonValue(QJsonValue::Null)); // login never sends a token
    const QJsonObject body = QJsonDocument::fromJson(login.value(u"body"_s).toString().toUtf8()).object();
    QCOMPARE(body,
             (QJsonObject{{u"username"_s, sim.username()}, {u"password"_s, sim.password()}, {u"rememberMe"_s, false}}));

    const auto devices = await(client->fetchAccessPoints());
    QVERIFY2(devices.ok(), devices.ok() ? "" : qPrintable(devices.error().description()));
    QVERIFY(devices.value().size() >= 8);
    for (const UnifiDevice &device : devices.value())
        QCOMPARE(device.type, u"uap"_s);
    const QJsonObject fetch = requests(sim).last();
    QCOMPARE(fetch.value(u"method"_s).toString(), u"GET"_s);
    QCOMPARE(fetch.value(u"path"_s).toString(),
             unifiOS ? u"/proxy/network/api/s/default/stat/device"_s : u"/api/s/default/stat/device"_s);
    QVERIFY(fetch.value(u"cookie"_s).toBool());
    QCOMPARE(fetch.value(u"csrf"_s).toString(), *client->csrfToken());

    const UnifiDevice target = devices.value().first();
    QVERIFY(await(client->restartAccessPoint(target.mac)).ok());
    const QJsonObject restart = requests(sim).last();
    QCOMPARE(restart.value(u"method"_s).toString(), u"POST"_s);
    QCOMPARE(restart.value(u"csrf"_s).toString(), *client->csrfToken());
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
    QVERIFY(client->cookies().isEmpty());
    QVERIFY(!client->csrfToken().has_value());
    QCOMPARE(requests(sim).last().value(u"path"_s).toString(), unifiOS ? u"/api/auth/logout"_s : u"/api/logout"_s);
    QCOMPARE(sim.liveSessionCount(), 0);
    const auto afterLogout = await(client->fetchAccessPoints());
    QVERIFY(!afterLogout.ok());
}

void TestUnifiAPIClient::rotatedTokenUsedOnNextRequest()
{
    Sim &sim = startSim();
    sim.setCsrfRotation(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    const QString first = *client->csrfToken();
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
    QVERIFY(await(client->restartAccessPoint(devices.value().at(0).mac)).ok());
    const QString second = *client->csrfToken();
    QVERIFY(second != first);
    QVERIFY(await(client->restartAccessPoint(devices.value().at(1).mac)).ok()); // the old token would get 403
    QCOMPARE(requests(sim).last().value(u"csrf"_s).toString(), second);
    QVERIFY(*client->csrfToken() != second);
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
    const auto earlier = client->csrfToken();
    QVERIFY(earlier.has_value());
    sim.setCsrfHeaderAtLogin(false);
    QVERIFY(await(client->login(sim.password())).ok());
    QCOMPARE(client->csrfToken(), earlier);
}

void TestUnifiAPIClient::csrfTokenFromJwtSessionCookie()
{
    Sim &sim = startSim();
    sim.setJwtCookie(true);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(client->csrfToken().has_value());
    const QByteArray cookie = client->cookies().value(0).value();
    QCOMPARE(cookie.count('.'), 2);
    QCOMPARE(UnifiAPIClient::csrfTokenFromJwt(cookie), client->csrfToken());
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(devices.ok());
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
    QCOMPARE(client->csrfToken(), std::optional<QString>(u"fresh-token"_s));
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

void TestUnifiAPIClient::fetchAnswered400IsServerError()
{
    Sim &sim = startSim(Sim::Kind::Classic);
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setSite(u"elsewhere"_s); // the client's site no longer exists
    const auto devices = await(client->fetchAccessPoints());
    QVERIFY(!devices.ok());
    QCOMPARE(
        devices.error().description(),
        u"Controller returned HTTP 400: {\"meta\":{\"rc\":\"error\",\"msg\":\"api.err.NoSiteContext\"},\"data\":[]}"_s);
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

void TestUnifiAPIClient::declinedKeySendsNothing()
{
    Sim &sim = startSim();
    auto client = makeClient(sim, /*approve=*/false);
    const auto login = await(client->login(sim.password()));
    QVERIFY(!login.ok());
    QCOMPARE(login.error(), UnifiAPIError::certificateRejected());
    QCOMPARE(login.error().description(), u"The controller's certificate was not approved."_s);
    QCOMPARE(m_questions.size(), 1);
    QVERIFY(m_trust->pins().isEmpty());
    QVERIFY(!handshakes(sim).isEmpty());
    for (const QJsonObject &handshake : handshakes(sim))
        QCOMPARE(handshake.value(u"fingerprint"_s).toString(), sim.fingerprint());
    QVERIFY(requests(sim).isEmpty()); // no password left the machine
}

void TestUnifiAPIClient::nobodyToAskSendsNothing()
{
    Sim &sim = startSim();
    const ControllerConfig config{u"127.0.0.1"_s, sim.port(), ControllerKind::unifiOS, sim.username(), sim.site()};
    UnifiAPIClient client(config, *m_trust);
    const auto login = await(client.login(sim.password()));
    QCOMPARE(login.error(), UnifiAPIError::certificateRejected());
    QVERIFY(requests(sim).isEmpty());
}

void TestUnifiAPIClient::changedKeySendsNothing()
{
    Sim &sim = startSim();
    const QString pinned = QString(64, u'a');
    m_trust->pin(u"127.0.0.1"_s, pinned);
    auto client = makeClient(sim);
    QList<QStringList> mismatches;
    client->setCertificateMismatchHandler([&](const QString &host, const QString &expected, const QString &presented) {
        mismatches.append({host, expected, presented});
    });
    const auto login = await(client->login(sim.password()));
    QVERIFY(!login.ok());
    QCOMPARE(login.error(), UnifiAPIError::certificateMismatch(pinned, sim.fingerprint()));
    QCOMPARE(
        login.error().description(),
        u"The controller's certificate changed unexpectedly.\nPinned: "_s + pinned + u"\nPresented: "_s +
            sim.fingerprint() +
            u"\n\nIf you recently reset or re-adopted the controller, remove the pin in Settings and reconnect."_s);
    QCOMPARE(mismatches, (QList<QStringList>{{u"127.0.0.1"_s, pinned, sim.fingerprint()}}));
    QVERIFY(m_questions.isEmpty());
    QCOMPARE(m_trust->pinnedFingerprint(u"127.0.0.1"_s), std::optional<QString>(pinned)); // left unchanged
    QVERIFY(!handshakes(sim).isEmpty());
    QCOMPARE(handshakes(sim).first().value(u"fingerprint"_s).toString(), sim.fingerprint());
    QCOMPARE(handshakes(sim).first().value(u"result"_s).toString(), u"failed"_s);
    QVERIFY(requests(sim).isEmpty());
}

void TestUnifiAPIClient::upperCasePinIsRefused()
{
    Sim &sim = startSim();
    m_trust->pin(u"127.0.0.1"_s, sim.fingerprint().toUpper());
    auto client = makeClient(sim);
    int mismatches = 0;
    client->setCertificateMismatchHandler([&](const QString &, const QString &, const QString &) { ++mismatches; });
    const auto login = await(client->login(sim.password()));
    QCOMPARE(login.error().kind(), UnifiAPIError::Case::certificateMismatch);
    QCOMPARE(mismatches, 1);
    QVERIFY(requests(sim).isEmpty());
}

void TestUnifiAPIClient::unreadableKeyIsRefused()
{
    // A key whose fingerprint cannot be computed never matches anything, pinned or not.
    QNetworkAccessManager manager;
    PinningSessionDelegate delegate(u"h"_s, *m_trust, &manager);
    QCOMPARE(int(delegate.check(std::nullopt)->reason), int(PinRefusal::Reason::unreadable));
    m_trust->pin(u"h"_s, u"x"_s);
    QCOMPARE(int(delegate.check(std::nullopt)->reason), int(PinRefusal::Reason::unreadable));
    QVERIFY(!delegate.check(u"x"_s).has_value());
    QCOMPARE(int(delegate.check(u"y"_s)->reason), int(PinRefusal::Reason::mismatch));
}

void TestUnifiAPIClient::samePinOnOtherPort()
{
    Sim &first = startSim();
    Sim &second = startSim(Sim::Kind::UnifiOS, first.identity());
    QVERIFY(first.port() != second.port());
    auto a = makeClient(first);
    QVERIFY(await(a->login(first.password())).ok());
    auto b = makeClient(second);
    QVERIFY(await(b->login(second.password())).ok());
    QCOMPARE(m_questions.size(), 1);

    Sim &other = startSim(); // another key on a third port of the same host
    auto c = makeClient(other);
    QCOMPARE(await(c->login(other.password())).error().kind(), UnifiAPIError::Case::certificateMismatch);
    QVERIFY(requests(other).isEmpty());
}

void TestUnifiAPIClient::wrongShapePinsAreReplaced()
{
    {
        QSettings settings(m_dir->filePath(u"Lanternfold.conf"_s), QSettings::NativeFormat);
        settings.setValue(CertTrustService::defaultsKey, u"garbage"_s);
    }
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QCOMPARE(m_questions.size(), 1);
    const QSettings settings(m_dir->filePath(u"Lanternfold.conf"_s), QSettings::NativeFormat);
    QCOMPARE(settings.value(CertTrustService::defaultsKey).toMap(), (QVariantMap{{u"127.0.0.1"_s, sim.fingerprint()}}));
}

void TestUnifiAPIClient::parallelRefreshNeverUsesOtherKey()
{
    Sim &sim = startSim();
    m_trust->pin(u"127.0.0.1"_s, sim.fingerprint());
    sim.setKeyFlip(true); // the first connection shows the pinned key, every later one another
    QVERIFY(!sim.flipFingerprint().isEmpty());
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    // A refresh runs its two fetches at once; run several so that new connections must open.
    std::vector<QCoro::Task<APIResult<QList<UnifiDevice>>>> devices;
    std::vector<QCoro::Task<APIResult<QList<ProtectCamera>>>> cameras;
    for (int i = 0; i < 3; ++i) {
        devices.push_back(client->fetchAccessPoints());
        cameras.push_back(client->fetchCameras());
    }
    int mismatches = 0;
    const UnifiAPIError expected = UnifiAPIError::certificateMismatch(sim.fingerprint(), sim.flipFingerprint());
    for (auto &task : devices) {
        const auto result = await(std::move(task));
        if (!result.ok()) {
            QCOMPARE(result.error(), expected); // refused for what it is, not as a bare TLS failure
            ++mismatches;
        }
    }
    for (auto &task : cameras) {
        const auto result = await(std::move(task));
        if (!result.ok()) {
            QCOMPARE(result.error(), expected);
            ++mismatches;
        }
    }
    QVERIFY(mismatches > 0);
    bool otherKeyShown = false;
    for (const QJsonObject &handshake : handshakes(sim))
        otherKeyShown |= handshake.value(u"fingerprint"_s).toString() == sim.flipFingerprint();
    QVERIFY(otherKeyShown);
    const auto sent = requests(sim);
    QVERIFY(!sent.isEmpty());
    for (const QJsonObject &request : sent)
        QCOMPARE(request.value(u"fingerprint"_s).toString(), sim.fingerprint());
}

void TestUnifiAPIClient::renewedCertificateNeedsNoQuestion()
{
    const auto original = identityFromOpenssl(
        u"openssl req -x509 -nodes -days 30 -subj /CN=localhost -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
        u"-keyout key.pem -out cert.pem 2>/dev/null"_s);
    const auto renewed = identityFromOpenssl(
        u"openssl req -x509 -days 800 -subj /CN=unifi.renewed -key key.pem -set_serial 4242 -out cert.pem 2>/dev/null"_s);
    QVERIFY(original.certificatePem != renewed.certificatePem);
    {
        Sim &sim = startSim(Sim::Kind::UnifiOS, original);
        auto client = makeClient(sim);
        QVERIFY(await(client->login(sim.password())).ok());
        QCOMPARE(m_questions.size(), 1);
    }
    Sim &sim = startSim(Sim::Kind::UnifiOS, renewed);
    auto client = makeClient(sim);
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), login.ok() ? "" : qPrintable(login.error().description()));
    QCOMPARE(m_questions.size(), 1);
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestUnifiAPIClient::expiredOrMisnamedCertificateConnectsWhenPinned()
{
    const auto expired = identityFromOpenssl(
        u"openssl req -new -nodes -subj /CN=other.example -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
        u"-keyout key.pem -out req.csr 2>/dev/null && "
        u"openssl x509 -req -in req.csr -signkey key.pem -days -1 -out cert.pem 2>/dev/null"_s);
    QVERIFY(sim::TlsIdentity(expired).certificate().expiryDate() < QDateTime::currentDateTimeUtc());
    Sim &sim = startSim(Sim::Kind::UnifiOS, expired);
    auto client = makeClient(sim);
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), login.ok() ? "" : qPrintable(login.error().description()));
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

void TestUnifiAPIClient::logoutAgainstStoppedControllerClearsSession()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(!client->cookies().isEmpty());
    sim.stop();
    await(client->logout());
    QVERIFY(client->cookies().isEmpty());
    QVERIFY(!client->csrfToken().has_value());
}

void TestUnifiAPIClient::concurrentLoginsAskOnce()
{
    Sim &sim = startSim();
    int asked = 0;
    const auto slowYes = [&asked](QString, QString) -> QCoro::Task<bool> {
        ++asked;
        QTimer timer;
        timer.setSingleShot(true);
        timer.start(500);
        co_await timer;
        co_return true;
    };
    auto a = makeClient(sim);
    auto b = makeClient(sim);
    a->setCertificateApprovalHandler(slowYes);
    b->setCertificateApprovalHandler(slowYes);
    auto first = a->login(sim.password());
    auto second = b->login(sim.password());
    QVERIFY(await(std::move(first)).ok());
    QVERIFY(await(std::move(second)).ok());
    QCOMPARE(asked, 1);
    int logins = 0;
    for (const QJsonObject &request : requests(sim))
        logins += request.value(u"path"_s).toString() == u"/api/auth/login"_s ? 1 : 0;
    QCOMPARE(logins, 2);
}

void TestUnifiAPIClient::errorTexts()
{
    QCOMPARE(UnifiAPIError::server(503, u"busy"_s).description(), u"Controller returned HTTP 503: busy"_s);
    QCOMPARE(UnifiAPIError::decoding(u"x"_s).description(), u"Failed to parse controller response: x"_s);
    QCOMPARE(UnifiAPIError::network(u"Connection refused"_s).description(), u"Connection refused"_s);
    QCOMPARE(UnifiAPIError::invalidCredentials().description(), u"Invalid username or password."_s);
    QCOMPARE(UnifiAPIError::certificateRejected().description(), u"The controller's certificate was not approved."_s);
    QCOMPARE(UnifiAPIError::notLoggedIn().description(), u"Not logged in."_s);
    QCOMPARE(UnifiAPIError::certificateMismatch(u"a"_s, u"b"_s).description(),
             u"The controller's certificate changed unexpectedly.\nPinned: a\nPresented: b\n\nIf you recently reset "
             u"or re-adopted the controller, remove the pin in Settings and reconnect."_s);
    QCOMPARE(UnifiAPIClient::pathSafeIdentifier(u"abc_DEF-09"_s, u"camera id"_s).value(), u"abc_DEF-09"_s);
}

void TestUnifiAPIClient::questionAnsweredAfterNinetySecondsStillLogsIn()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QCOMPARE(client->transferTimeout(), std::chrono::milliseconds(60'000)); // the production value
    client->setCertificateApprovalHandler([](QString, QString) -> QCoro::Task<bool> {
        QTimer person; // someone compares the fingerprint with the controller's, slowly
        person.setTimerType(Qt::PreciseTimer);
        person.setSingleShot(true);
        person.start(90s);
        co_await person;
        co_return true;
    });
    QElapsedTimer elapsed;
    elapsed.start();
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), login.ok() ? "" : qPrintable(login.error().description()));
    // Well past the 60-second transfer timeout, which therefore never ran during the question.
    QVERIFY(elapsed.elapsed() >= 85'000);
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

QTEST_GUILESS_MAIN(TestUnifiAPIClient)
#include "tst_unifiapiclient.moc"
