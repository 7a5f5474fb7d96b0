// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Trust/CertTrustService.h"
#include "TestSupport.h"

#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

using lanternfold::test::runShell;

class TestCertTrustService final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void fingerprintMatchesOpenssl_data();
    void fingerprintMatchesOpenssl();
    void renewedCertificateKeepsFingerprint();
    void unreadableCertificateHasNoFingerprint();
    void pinStoresExactly();
    void pinsKeyedByHostAsTyped();
    void wrongShapeCountsAsEmpty_data();
    void wrongShapeCountsAsEmpty();
    void removingMissingPinStillWrites();
    void sharedUsesUserPreferences();
    void changesAreAnnounced();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString settingsPath() const { return m_dir->filePath(u"Lanternfold.conf"_s); }
};

void TestCertTrustService::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestCertTrustService::fingerprintMatchesOpenssl_data()
{
    QTest::addColumn<QString>("newKey");
    QTest::addColumn<QString>("keyBytes");
    // The expected value is computed by openssl itself, independently of the code under test.
    QTest::newRow("rsa")
        << u"-newkey rsa:2048"_s
        << u"openssl x509 -pubkey -noout -in c.pem | openssl rsa -pubin -RSAPublicKey_out -outform DER"_s;
    QTest::newRow("ec p-256")
        << u"-newkey ec -pkeyopt ec_paramgen_curve:P-256"_s
        << u"openssl x509 -pubkey -noout -in c.pem | openssl pkey -pubin -outform DER | tail -c +27"_s;
    QTest::newRow("ed25519")
        << u"-newkey ed25519"_s
        << u"openssl x509 -pubkey -noout -in c.pem | openssl pkey -pubin -outform DER | tail -c +13"_s;
}

void TestCertTrustService::fingerprintMatchesOpenssl()
{
    QFETCH(QString, newKey);
    QFETCH(QString, keyBytes);
    const QString folder = m_dir->path();
    runShell(u"openssl req -x509 -nodes -days 2 -subj /CN=controller.test -keyout k.pem -out c.pem "_s + newKey +
                 u" 2>/dev/null"_s,
             folder);
    const QString expected = runShell(keyBytes + u" | sha256sum | cut -d' ' -f1"_s, folder);
    QCOMPARE(expected.size(), 64);
    const auto certificates = QSslCertificate::fromPath(m_dir->filePath(u"c.pem"_s));
    QCOMPARE(certificates.size(), 1);
    const auto fingerprint = CertTrustService::fingerprint(certificates.first());
    QVERIFY(fingerprint.has_value());
    QCOMPARE(*fingerprint, expected);
    QVERIFY(fingerprint->toLower() == *fingerprint);
}

void TestCertTrustService::renewedCertificateKeepsFingerprint()
{
    const QString folder = m_dir->path();
    runShell(u"openssl req -x509 -nodes -days 2 -subj /CN=a -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
             u"-keyout k.pem -out c1.pem 2>/dev/null && "
             u"openssl req -x509 -days 400 -subj /CN=renewed -key k.pem -set_serial 77 -out c2.pem 2>/dev/null && "
             u"openssl req -x509 -nodes -days 2 -subj /CN=a -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
             u"-keyout other.pem -out c3.pem 2>/dev/null"_s,
             folder);
    const auto first = QSslCertificate::fromPath(m_dir->filePath(u"c1.pem"_s)).value(0);
    const auto renewed = QSslCertificate::fromPath(m_dir->filePath(u"c2.pem"_s)).value(0);
    const auto otherKey = QSslCertificate::fromPath(m_dir->filePath(u"c3.pem"_s)).value(0);
    QVERIFY(first != renewed);
    QCOMPARE(CertTrustService::fingerprint(renewed), CertTrustService::fingerprint(first));
    QVERIFY(CertTrustService::fingerprint(otherKey) != CertTrustService::fingerprint(first));
}

void TestCertTrustService::unreadableCertificateHasNoFingerprint()
{
    QVERIFY(!CertTrustService::fingerprint(QSslCertificate()).has_value());
    QVERIFY(!CertTrustService::fingerprintOfDer(QByteArray()).has_value());
    QVERIFY(!CertTrustService::fingerprintOfDer(QByteArray("\x30\x03\x02\x01\x01", 5)).has_value());
    QVERIFY(!CertTrustService::fingerprintOfDer(QByteArray(500, '\x30')).has_value());
}

void TestCertTrustService::pinStoresExactly()
{
    CertTrustService trust(settingsPath());
    const QString fingerprint = QString(64, u'a');
    QVERIFY(!trust.pinnedFingerprint(u"10.0.0.1"_s));
    trust.pin(u"10.0.0.1"_s, fingerprint);
    QCOMPARE(trust.pinnedFingerprint(u"10.0.0.1"_s), std::optional<QString>(fingerprint));
    const QSettings settings(settingsPath(), QSettings::NativeFormat);
    const QVariant stored = settings.value(u"com.lanternfold.pinnedCertFingerprints"_s);
    QCOMPARE(stored.typeId(), int(QMetaType::QVariantMap));
    QCOMPARE(stored.toMap(), (QVariantMap{{u"10.0.0.1"_s, fingerprint}}));
    trust.pin(u"10.0.0.1"_s, QString(64, u'b'));
    QCOMPARE(trust.pins().size(), 1);
    QCOMPARE(trust.pinnedFingerprint(u"10.0.0.1"_s), std::optional<QString>(QString(64, u'b')));
    trust.removePin(u"10.0.0.1"_s);
    QVERIFY(!trust.pinnedFingerprint(u"10.0.0.1"_s));
}

void TestCertTrustService::pinsKeyedByHostAsTyped()
{
    CertTrustService trust(settingsPath());
    trust.pin(u"UniFi.LAN"_s, QString(64, u'c'));
    QVERIFY(trust.pinnedFingerprint(u"UniFi.LAN"_s).has_value());
    QVERIFY(!trust.pinnedFingerprint(u"unifi.lan"_s).has_value());
    trust.removePin(u"UniFi.LAN"_s);
    QVERIFY(trust.pins().isEmpty());
}

void TestCertTrustService::wrongShapeCountsAsEmpty_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::newRow("string") << QVariant(u"not a map"_s);
    QTest::newRow("list") << QVariant(QStringList{u"a"_s});
    QTest::newRow("map with a number") << QVariant(QVariantMap{{u"h"_s, 5}, {u"g"_s, u"x"_s}});
    QTest::newRow("map with a list") << QVariant(QVariantMap{{u"h"_s, QStringList{u"x"_s}}});
}

void TestCertTrustService::wrongShapeCountsAsEmpty()
{
    QFETCH(QVariant, stored);
    {
        QSettings settings(settingsPath(), QSettings::NativeFormat);
        settings.setValue(u"com.lanternfold.pinnedCertFingerprints"_s, stored);
    }
    CertTrustService trust(settingsPath());
    QVERIFY(trust.pins().isEmpty());
    QVERIFY(!trust.pinnedFingerprint(u"h"_s));
    trust.pin(u"h"_s, QString(64, u'd'));
    const QSettings settings(settingsPath(), QSettings::NativeFormat);
    QCOMPARE(settings.value(u"com.lanternfold.pinnedCertFingerprints"_s).toMap(),
             (QVariantMap{{u"h"_s, QString(64, u'd')}}));
}

void TestCertTrustService::removingMissingPinStillWrites()
{
    CertTrustService trust(settingsPath());
    trust.removePin(u"nowhere"_s);
    const QSettings settings(settingsPath(), QSettings::NativeFormat);
    QVERIFY(settings.contains(u"com.lanternfold.pinnedCertFingerprints"_s));
    QCOMPARE(settings.value(u"com.lanternfold.pinnedCertFingerprints"_s).toMap(), QVariantMap());
    trust.pin(u"a"_s, u"x"_s);
    trust.removePin(u"b"_s);
    QCOMPARE(trust.pins().size(), 1);
}

void TestCertTrustService::sharedUsesUserPreferences()
{
    CertTrustService::shared().pin(u"shared.test"_s, u"f"_s);
    const QString expected = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/Lanternfold/Lanternfold.conf"_s;
    QVERIFY2(QFile::exists(expected), qPrintable(expected));
    CertTrustService::shared().removePin(u"shared.test"_s);
}

void TestCertTrustService::changesAreAnnounced()
{
    CertTrustService trust(settingsPath());
    QSignalSpy changed(&trust, &CertTrustService::pinChanged);
    trust.pin(u"h"_s, u"x"_s);
    trust.pin(u"h"_s, u"y"_s);
    trust.removePin(u"h"_s);
    trust.removePin(u"never pinned"_s);
    QCOMPARE(changed.size(), 4);
    QCOMPARE(changed.at(0).first().toString(), u"h"_s);
    QCOMPARE(changed.at(3).first().toString(), u"never pinned"_s);
}

QTEST_GUILESS_MAIN(TestCertTrustService)
#include "tst_certtrustservice.moc"
