// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ClientFixture.h"
#include "Controller/Trust/PinningSessionDelegate.h"

#include <QCoroTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QTimer>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Trust on first use and the pin: who is asked, what is stored, and what is refused.
class TestClientPinning final : public QObject, public ClientFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { ClientFixture::init(); }
    void cleanup() { ClientFixture::cleanup(); }

    void firstUseApprovalPinsExactly();
    void fingerprintEqualsOpenssl_data();
    void fingerprintEqualsOpenssl();
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
    void concurrentLoginsAskOnce();
    void questionAnsweredLongAfterTheTimeoutStillLogsIn();
    void forgottenPinHoldsOnTheNextConnection_data();
    void forgottenPinHoldsOnTheNextConnection();
    void pinChangedWhileARequestIsInFlight();

private:
    sim::TlsIdentity identityFromOpenssl(const QString &commands);
    QCoro::Task<bool> answerLater(QString host, QString fingerprint, std::chrono::milliseconds delay);
};

sim::TlsIdentity TestClientPinning::identityFromOpenssl(const QString &commands)
{
    runShell(commands, dir->path());
    QString error;
    const auto identity =
        sim::TlsIdentity::fromFiles(dir->filePath(u"cert.pem"_s), dir->filePath(u"key.pem"_s), &error);
    if (!identity)
        qFatal("identity: %s", qPrintable(error));
    return *identity;
}

QCoro::Task<bool> TestClientPinning::answerLater(QString /*host*/, QString /*fingerprint*/,
                                                 std::chrono::milliseconds delay)
{
    QTimer person;
    person.setTimerType(Qt::PreciseTimer);
    person.setSingleShot(true);
    person.start(delay);
    co_await person;
    co_return true;
}

void TestClientPinning::firstUseApprovalPinsExactly()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), login.ok() ? "" : qPrintable(login.error().description()));
    QCOMPARE(questions().size(), 1);
    QCOMPARE(questions().first().first, u"127.0.0.1"_s);
    const QString fingerprint = questions().first().second;
    QCOMPARE(fingerprint.size(), 64);
    QVERIFY(QRegularExpression(u"^[0-9a-f]{64}$"_s).match(fingerprint).hasMatch());
    QCOMPARE(fingerprint, sim.fingerprint());
    QCOMPARE(trust->pins(), (QHash<QString, QString>{{u"127.0.0.1"_s, fingerprint}}));
    // A second login asks nothing: the pin decides.
    const auto again = await(client->login(sim.password()));
    QVERIFY(again.ok());
    QCOMPARE(questions().size(), 1);
}

void TestClientPinning::fingerprintEqualsOpenssl_data()
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

void TestClientPinning::fingerprintEqualsOpenssl()
{
    QFETCH(int, keyType);
    QFETCH(QString, keyBytes);
    auto sim = std::make_unique<Sim>();
    sim->setKeyType(Sim::KeyType(keyType));
    QVERIFY(sim->start());
    QFile pem(dir->filePath(u"sim.pem"_s));
    QVERIFY(pem.open(QIODevice::WriteOnly));
    pem.write(sim->identity().certificatePem);
    pem.close();
    const QString expected = runShell(keyBytes + u" | sha256sum | cut -d' ' -f1"_s, dir->path());
    auto client = makeClient(*sim);
    QVERIFY(await(client->login(sim->password())).ok());
    QCOMPARE(questions().size(), 1);
    QCOMPARE(questions().first().second, expected);
}

void TestClientPinning::declinedKeySendsNothing()
{
    Sim &sim = startSim();
    auto client = makeClient(sim, /*approve=*/false);
    const auto login = await(client->login(sim.password()));
    QVERIFY(!login.ok());
    QCOMPARE(login.error(), UnifiAPIError::certificateRejected());
    QCOMPARE(login.error().description(), u"The controller's certificate was not approved."_s);
    QCOMPARE(questions().size(), 1);
    QVERIFY(trust->pins().isEmpty());
    QTRY_VERIFY(!handshakes(sim).isEmpty()); // logged once the controller saw the hang-up
    for (const QJsonObject &handshake : handshakes(sim))
        QCOMPARE(handshake.value(u"fingerprint"_s).toString(), sim.fingerprint());
    QVERIFY(requests(sim).isEmpty()); // no password left the machine
}

void TestClientPinning::nobodyToAskSendsNothing()
{
    Sim &sim = startSim();
    const ControllerConfig config{u"127.0.0.1"_s, sim.port(), ControllerKind::unifiOS, sim.username(), sim.site()};
    firstUse->setApprover(nullptr);
    UnifiAPIClient client(config, *firstUse);
    const auto login = await(client.login(sim.password()));
    QCOMPARE(login.error(), UnifiAPIError::certificateRejected());
    QVERIFY(requests(sim).isEmpty());
}

void TestClientPinning::changedKeySendsNothing()
{
    Sim &sim = startSim();
    const QString pinned = QString(64, u'a');
    trust->pin(u"127.0.0.1"_s, pinned);
    auto client = makeClient(sim);
    QList<QStringList> mismatches;
    QObject::connect(client.get(), &UnifiAPIClient::certificateMismatch, client.get(),
                     [&](const QString &host, const QString &expected, const QString &presented) {
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
    QVERIFY(questions().isEmpty());
    QCOMPARE(trust->pinnedFingerprint(u"127.0.0.1"_s), std::optional<QString>(pinned)); // left unchanged
    QTRY_VERIFY(!handshakes(sim).isEmpty());
    QCOMPARE(handshakes(sim).first().value(u"fingerprint"_s).toString(), sim.fingerprint());
    QCOMPARE(handshakes(sim).first().value(u"result"_s).toString(), u"failed"_s);
    QVERIFY(requests(sim).isEmpty());
}

void TestClientPinning::upperCasePinIsRefused()
{
    Sim &sim = startSim();
    trust->pin(u"127.0.0.1"_s, sim.fingerprint().toUpper());
    auto client = makeClient(sim);
    int mismatches = 0;
    QObject::connect(client.get(), &UnifiAPIClient::certificateMismatch, client.get(), [&] { ++mismatches; });
    const auto login = await(client->login(sim.password()));
    QCOMPARE(login.error().kind(), UnifiAPIError::Case::certificateMismatch);
    QCOMPARE(mismatches, 1);
    QVERIFY(requests(sim).isEmpty());
}

void TestClientPinning::unreadableKeyIsRefused()
{
    // A key whose fingerprint cannot be computed never matches anything, pinned or not.
    PinningSessionDelegate delegate(u"h"_s, *trust);
    QCOMPARE(int(delegate.check(std::nullopt)->reason), int(PinRefusal::Reason::unreadable));
    trust->pin(u"h"_s, u"x"_s);
    QCOMPARE(int(delegate.check(std::nullopt)->reason), int(PinRefusal::Reason::unreadable));
    QVERIFY(!delegate.check(u"x"_s).has_value());
    QCOMPARE(int(delegate.check(u"y"_s)->reason), int(PinRefusal::Reason::mismatch));
}

void TestClientPinning::samePinOnOtherPort()
{
    Sim &first = startSim();
    Sim &second = startSim(Sim::Kind::UnifiOS, first.identity());
    QVERIFY(first.port() != second.port());
    auto a = makeClient(first);
    QVERIFY(await(a->login(first.password())).ok());
    auto b = makeClient(second);
    QVERIFY(await(b->login(second.password())).ok());
    QCOMPARE(questions().size(), 1);

    Sim &other = startSim(); // another key on a third port of the same host
    auto c = makeClient(other);
    QCOMPARE(await(c->login(other.password())).error().kind(), UnifiAPIError::Case::certificateMismatch);
    QVERIFY(requests(other).isEmpty());
}

void TestClientPinning::wrongShapePinsAreReplaced()
{
    {
        QSettings settings(dir->filePath(u"Lanternfold.conf"_s), QSettings::NativeFormat);
        settings.setValue(CertTrustService::defaultsKey, u"garbage"_s);
    }
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QCOMPARE(questions().size(), 1);
    const QSettings settings(dir->filePath(u"Lanternfold.conf"_s), QSettings::NativeFormat);
    QCOMPARE(settings.value(CertTrustService::defaultsKey).toMap(), (QVariantMap{{u"127.0.0.1"_s, sim.fingerprint()}}));
}

void TestClientPinning::parallelRefreshNeverUsesOtherKey()
{
    Sim &sim = startSim();
    trust->pin(u"127.0.0.1"_s, sim.fingerprint());
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

void TestClientPinning::renewedCertificateNeedsNoQuestion()
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
        QCOMPARE(questions().size(), 1);
    }
    Sim &sim = startSim(Sim::Kind::UnifiOS, renewed);
    auto client = makeClient(sim);
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), login.ok() ? "" : qPrintable(login.error().description()));
    QCOMPARE(questions().size(), 1);
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestClientPinning::expiredOrMisnamedCertificateConnectsWhenPinned()
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

void TestClientPinning::concurrentLoginsAskOnce()
{
    Sim &sim = startSim();
    auto a = makeClient(sim);
    auto b = makeClient(sim);
    approver->ask = [this](QString host, QString fingerprint) {
        return answerLater(std::move(host), std::move(fingerprint), 500ms);
    };
    auto first = a->login(sim.password());
    auto second = b->login(sim.password());
    QVERIFY(await(std::move(first)).ok());
    QVERIFY(await(std::move(second)).ok());
    QCOMPARE(questions().size(), 1);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), 2);
}

void TestClientPinning::questionAnsweredLongAfterTheTimeoutStillLogsIn()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    client->setTransferTimeout(1s);
    // Someone compares the fingerprint with the controller's, slowly: three times the timeout.
    approver->ask = [this](QString host, QString fingerprint) {
        return answerLater(std::move(host), std::move(fingerprint), 3s);
    };
    QElapsedTimer elapsed;
    elapsed.start();
    const auto login = await(client->login(sim.password()));
    QVERIFY2(login.ok(), login.ok() ? "" : qPrintable(login.error().description()));
    // Past the transfer timeout, which therefore never ran while the question was open.
    QVERIFY(elapsed.elapsed() >= 3000);
    QCOMPARE(questions().size(), 1);
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestClientPinning::forgottenPinHoldsOnTheNextConnection_data()
{
    QTest::addColumn<bool>("controllerDropsConnections");
    QTest::newRow("connection kept alive") << false;
    QTest::newRow("controller closed its connections") << true;
}

void TestClientPinning::forgottenPinHoldsOnTheNextConnection()
{
    QFETCH(bool, controllerDropsConnections);
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    QVERIFY(await(client->fetchAccessPoints()).ok());
    QCOMPARE(questions().size(), 1);

    trust->removePin(u"127.0.0.1"_s);
    if (controllerDropsConnections)
        sim.closeConnections(); // the client must open a new connection for what comes next
    const auto sent = requests(sim).size();
    for (int i = 0; i < 2; ++i) {
        const auto devices = await(client->fetchAccessPoints());
        QVERIFY(!devices.ok());
        QCOMPARE(devices.error(), UnifiAPIError::certificateRejected());
    }
    QCOMPARE(requests(sim).size(), sent); // refused before a byte of a request was sent
    QCOMPARE(questions().size(), 1);      // only a login asks

    QVERIFY(await(client->login(sim.password())).ok());
    QCOMPARE(questions().size(), 2);
    QCOMPARE(trust->pinnedFingerprint(u"127.0.0.1"_s), std::optional<QString>(sim.fingerprint()));
    QVERIFY(await(client->fetchAccessPoints()).ok());
}

void TestClientPinning::pinChangedWhileARequestIsInFlight()
{
    Sim &sim = startSim();
    auto client = makeClient(sim);
    QVERIFY(await(client->login(sim.password())).ok());
    sim.setFault({Sim::FaultKind::Latency, u"/proxy/network"_s, 500ms});
    auto inFlight = start(client->fetchAccessPoints());
    QTRY_COMPARE(requestsTo(sim, u"/proxy/network/api/s/default/stat/device"_s).size(), 1);

    trust->pin(u"127.0.0.1"_s, QString(64, u'0')); // now the controller's key no longer matches
    auto later = start(client->fetchCameras());
    QTRY_VERIFY(inFlight->has_value() && later->has_value());
    QVERIFY((*inFlight)->ok()); // already on its way over the approved connection
    QCOMPARE((*later)->error(), UnifiAPIError::certificateMismatch(QString(64, u'0'), sim.fingerprint()));
    QVERIFY(requestsTo(sim, u"/proxy/protect/api/cameras"_s).isEmpty());
}

QTEST_GUILESS_MAIN(TestClientPinning)
#include "tst_clientpinning.moc"
