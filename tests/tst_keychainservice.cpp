// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The Secret Service keyring (SecretServiceKeychain) against a real, unlocked gnome-keyring on a private session bus.
// Items are inspected and pre-seeded with secret-tool, which talks to the keyring without QtKeychain, so a wrong
// attribute cannot hide behind the same mistake on both sides.

#include "Platform/SecretServiceKeychain.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

/// The keyring adapter under test, with the program's time limit.
SecretServiceKeychain &keyring()
{
    static SecretServiceKeychain adapter;
    return adapter;
}

} // namespace

using lanternfold::test::await;
using lanternfold::test::runShell;

namespace {

const QString host = u"10.0.0.1"_s;

/// Runs secret-tool with arguments and returns its standard output untouched (runShell trims,
/// which would hide spaces at either end of a password).
QByteArray secretTool(const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.start(u"secret-tool"_s, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60'000))
        qFatal("secret-tool did not finish");
    return process.readAllStandardOutput();
}

/// The stored secret of account, as secret-tool prints it.
QByteArray lookup(const QString &account)
{
    return secretTool({u"lookup"_s, u"server"_s, SecretServiceKeychain::service, u"user"_s, account});
}

/// How many items the keyring holds for account ("" for every account of the service).
int itemCount(const QString &account = {})
{
    QString script = u"secret-tool search --all server "_s + SecretServiceKeychain::service;
    if (!account.isEmpty())
        script += u" user "_s + account;
    return runShell(script + u" 2>/dev/null | grep -c '^\\[' || true"_s, QDir::tempPath()).toInt();
}

/// Stores an item the way another program using QtKeychain would have, without QtKeychain.
void seed(const QString &account, const QString &type, const QByteArray &secret)
{
    secretTool({u"store"_s, u"--label="_s + SecretServiceKeychain::service, u"xdg:schema"_s, u"org.qt.keychain"_s,
                u"server"_s, SecretServiceKeychain::service, u"user"_s, account, u"type"_s, type},
               secret);
}

std::optional<QString> read(const QString &account)
{
    return await(keyring().readPassword(account));
}

void save(const QString &password, const QString &account)
{
    (void)await(keyring().savePassword(password, account));
}

} // namespace

class TestKeychainService final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void accountJoinsHostAndUser();
    void savedPasswordReadsBack();
    void secondSaveReplacesFirst();
    void usersOfOneHostHaveSeparateItems();
    void unsavedAccountReadsNothing();
    void passwordsRoundTripAsUtf8_data();
    void passwordsRoundTripAsUtf8();
    void seededItemIsReadAndReplaced();
    void itemThatIsNotUtf8ReadsNothing_data();
    void itemThatIsNotUtf8ReadsNothing();
};

void TestKeychainService::initTestCase()
{
    QVERIFY2(QDBusConnection::sessionBus().interface()->isServiceRegistered(u"org.freedesktop.secrets"_s),
             "this test needs the unlocked gnome-keyring that run-session-bus.sh --keyring starts");
}

void TestKeychainService::init()
{
    runShell(u"secret-tool clear server "_s + SecretServiceKeychain::service + u" || true"_s, QDir::tempPath());
    QCOMPARE(itemCount(), 0);
}

void TestKeychainService::cleanup()
{
    // Every job is gone once it has finished: none is kept, none deleted early.
    QTRY_COMPARE(SecretServiceKeychain::liveJobCount(), 0);
}

void TestKeychainService::accountJoinsHostAndUser()
{
    QCOMPARE(KeychainService::account(u"10.0.0.1"_s, u"admin"_s), u"10.0.0.1:admin"_s);
    QCOMPARE(KeychainService::account(u"unifi.example.lan"_s, u"ops team"_s), u"unifi.example.lan:ops team"_s);
    QCOMPARE(SecretServiceKeychain::service, u"com.lanternfold.controller"_s);
    QCOMPARE(SecretServiceKeychain::defaultTimeout, std::chrono::seconds(10));
    QCOMPARE(keyring().timeout(), std::chrono::milliseconds(SecretServiceKeychain::defaultTimeout));
}

void TestKeychainService::savedPasswordReadsBack()
{
    const QString account = KeychainService::account(host, u"admin"_s);
    QElapsedTimer clock;
    clock.start();
    save(u"correct horse"_s, account);
    const qint64 saveMs = clock.restart();
    const auto password = read(account);
    qInfo("save took %lld ms, read %lld ms", saveMs, clock.elapsed());
    QCOMPARE(password, std::optional(u"correct horse"_s));
    QCOMPARE(lookup(u"10.0.0.1:admin"_s), "correct horse"_ba);
    QCOMPARE(itemCount(), 1);
}

void TestKeychainService::secondSaveReplacesFirst()
{
    const QString account = KeychainService::account(host, u"admin"_s);
    save(u"first"_s, account);
    save(u"second"_s, account);
    QCOMPARE(itemCount(account), 1);
    QCOMPARE(itemCount(), 1);
    QCOMPARE(lookup(account), "second"_ba);
    QCOMPARE(read(account), std::optional(u"second"_s));
}

void TestKeychainService::usersOfOneHostHaveSeparateItems()
{
    const QString admin = KeychainService::account(host, u"admin"_s);
    const QString viewer = KeychainService::account(host, u"viewer"_s);
    save(u"admin-pw"_s, admin);
    save(u"viewer-pw"_s, viewer);
    QCOMPARE(itemCount(admin), 1);
    QCOMPARE(itemCount(viewer), 1);
    QCOMPARE(itemCount(), 2);
    QCOMPARE(read(admin), std::optional(u"admin-pw"_s));
    QCOMPARE(read(viewer), std::optional(u"viewer-pw"_s));
    // Replacing one leaves the other alone.
    save(u"admin-pw-2"_s, admin);
    QCOMPARE(read(admin), std::optional(u"admin-pw-2"_s));
    QCOMPARE(read(viewer), std::optional(u"viewer-pw"_s));
    QCOMPARE(itemCount(), 2);
}

void TestKeychainService::unsavedAccountReadsNothing()
{
    save(u"admin-pw"_s, KeychainService::account(host, u"admin"_s));
    QCOMPARE(read(KeychainService::account(host, u"nobody"_s)), std::nullopt);
    QCOMPARE(read(KeychainService::account(u"10.0.0.2"_s, u"admin"_s)), std::nullopt);
}

void TestKeychainService::passwordsRoundTripAsUtf8_data()
{
    QTest::addColumn<QString>("password");
    QTest::newRow("latin") << u"pässwörd-ÆØÅ"_s;
    QTest::newRow("cjk") << u"密码パスワード"_s;
    QTest::newRow("emoji outside the BMP") << u"🔑 key 🗝"_s;
    QTest::newRow("spaces at both ends") << u"  spaced out  "_s;
    QTest::newRow("quotes and backslashes") << u"a'b\"c\\d$e`f"_s;
    QTest::newRow("leading byte-order mark") << u"\uFEFFbom"_s;
}

void TestKeychainService::passwordsRoundTripAsUtf8()
{
    QFETCH(QString, password);
    const QString account = KeychainService::account(host, u"admin"_s);
    save(password, account);
    QCOMPARE(lookup(account), password.toUtf8());
    QCOMPARE(read(account), std::optional(password));
}

void TestKeychainService::seededItemIsReadAndReplaced()
{
    const QString account = KeychainService::account(host, u"admin"_s);
    seed(account, u"plaintext"_s, "seeded-pw");
    QCOMPARE(itemCount(account), 1);
    QCOMPARE(read(account), std::optional(u"seeded-pw"_s));
    save(u"replacement"_s, account);
    QCOMPARE(itemCount(account), 1);
    QCOMPARE(lookup(account), "replacement"_ba);
}

void TestKeychainService::itemThatIsNotUtf8ReadsNothing_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("secret");
    // libsecret hands over no text for these; QtKeychain then finds nothing.
    QTest::newRow("plaintext, invalid bytes") << u"plaintext"_s << "\xff\xfe-pw"_ba;
    // QtKeychain's binary items come back as raw bytes, which are no text here.
    QTest::newRow("base64, invalid bytes") << u"base64"_s << QByteArray("\xff\xfe-pw").toBase64();
    QTest::newRow("base64, cut multi-byte sequence") << u"base64"_s << QByteArray("pw\xe2\x82").toBase64();
    QTest::newRow("base64, encoded surrogate") << u"base64"_s << QByteArray("pw\xed\xa0\x80").toBase64();
}

void TestKeychainService::itemThatIsNotUtf8ReadsNothing()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, secret);
    const QString account = KeychainService::account(host, u"admin"_s);
    seed(account, type, secret);
    QCOMPARE(itemCount(account), 1);
    QCOMPARE(read(account), std::nullopt);
    // The same kind of item holding valid UTF-8 is read, so "nothing" above is the check at work.
    save(u"ok"_s, account);
    seed(KeychainService::account(host, u"binary"_s), u"base64"_s, QByteArray("bïnary").toBase64());
    QCOMPARE(read(KeychainService::account(host, u"binary"_s)), std::optional(u"bïnary"_s));
}

QTEST_GUILESS_MAIN(TestKeychainService)
#include "tst_keychainservice.moc"
