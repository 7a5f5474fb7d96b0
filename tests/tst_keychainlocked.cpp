// KeychainService against a gnome-keyring whose login keyring is locked, as after a screen lock
// with "lock keyring" or before the user unlocks it at login. Locking takes a D-Bus call and no
// prompt; unlocking would need one, which nobody can answer here (none is shown without a display).

#include "Services/KeychainService.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

using lanternfold::test::await;

namespace {

const QString secretsName = u"org.freedesktop.secrets"_s;
const QString account = u"10.0.0.1:admin"_s;

/// Calls the keyring directly and waits for its answer. Plain messages rather than QDBusInterface,
/// which would introspect the keyring and cache what it learnt for the life of the connection.
QDBusMessage callKeyring(const QString &path, const QString &interface, const QString &method,
                         const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(secretsName, path, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call);
}

QDBusMessage callService(const QString &method, const QVariantList &arguments)
{
    return callKeyring(u"/org/freedesktop/secrets"_s, u"org.freedesktop.Secret.Service"_s, method, arguments);
}

/// The items of the program's account, unlocked and locked, as the keyring itself lists them.
std::pair<int, int> itemCounts()
{
    using Attributes = QMap<QString, QString>;
    const Attributes attributes{{u"server"_s, KeychainService::service}, {u"user"_s, account}};
    const QDBusMessage reply = callService(u"SearchItems"_s, {QVariant::fromValue(attributes)});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 2)
        qFatal("SearchItems failed: %s", qPrintable(reply.errorMessage()));
    const auto unlocked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().at(0));
    const auto locked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().at(1));
    return {int(unlocked.size()), int(locked.size())};
}

} // namespace

class TestKeychainLocked final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void readFindsNothing();
    void saveReturnsAndChangesNothing();

private:
    QDBusObjectPath m_collection;
};

void TestKeychainLocked::initTestCase()
{
    qDBusRegisterMetaType<QMap<QString, QString>>();
    QVERIFY2(QDBusConnection::sessionBus().interface()->isServiceRegistered(secretsName),
             "this test needs the unlocked gnome-keyring that run-session-bus.sh --keyring starts");

    // A password saved while the keyring was open.
    (void)await(KeychainService::savePassword(u"saved before locking"_s, account));
    QCOMPARE(await(KeychainService::readPassword(account)), std::optional(u"saved before locking"_s));
    QCOMPARE(itemCounts(), std::pair(1, 0));

    const QDBusReply<QDBusObjectPath> alias = callService(u"ReadAlias"_s, {u"default"_s});
    QVERIFY(alias.isValid());
    m_collection = alias.value();
    QCOMPARE(m_collection.path(), u"/org/freedesktop/secrets/collection/login"_s);
    const QDBusMessage lock = callService(u"Lock"_s, {QVariant::fromValue(QList<QDBusObjectPath>{m_collection})});
    QCOMPARE(lock.type(), QDBusMessage::ReplyMessage);
    const QDBusReply<QVariant> locked = callKeyring(m_collection.path(), u"org.freedesktop.DBus.Properties"_s, u"Get"_s,
                                                    {u"org.freedesktop.Secret.Collection"_s, u"Locked"_s});
    QVERIFY(locked.isValid());
    QCOMPARE(locked.value().toBool(), true);
    QCOMPARE(itemCounts(), std::pair(0, 1));
}

void TestKeychainLocked::readFindsNothing()
{
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(await(KeychainService::readPassword(account)), std::nullopt);
    qInfo("read from the locked keyring returned after %lld ms", clock.elapsed());
    // The job ended on its own: the keyring answered, nothing was abandoned.
    QTRY_COMPARE_WITH_TIMEOUT(KeychainService::liveJobCount(), 0, 60'000);
}

void TestKeychainLocked::saveReturnsAndChangesNothing()
{
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(await(KeychainService::savePassword(u"saved while locked"_s, account)), Done{});
    qInfo("save to the locked keyring returned after %lld ms", clock.elapsed());
    QTRY_COMPARE_WITH_TIMEOUT(KeychainService::liveJobCount(), 0, 60'000);
    // Neither deleted nor added: the one locked item is still there, and still locked.
    QCOMPARE(itemCounts(), std::pair(0, 1));
}

QTEST_GUILESS_MAIN(TestKeychainLocked)
#include "tst_keychainlocked.moc"
