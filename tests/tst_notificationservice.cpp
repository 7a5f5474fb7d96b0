// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Desktop notifications (DesktopNotifications) against a notification server that the test plays itself on the private
// session bus, over a second connection, so that every call travels through the bus daemon.
#include "Platform/DesktopNotifications.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

const QString serviceName = u"org.freedesktop.Notifications"_s;
const QString objectPath = u"/org/freedesktop/Notifications"_s;
const QString serverConnectionName = u"server"_s;

/// Far below the 25 seconds a call that waited for a silent server would take, and well above
/// the few milliseconds a message takes to leave.
constexpr qint64 returnsAtOnceMs = 500;

/// Records every call to the notification object exactly as it arrived, and answers it like a
/// notification server would, or not at all.
class FakeNotificationServer final : public QDBusVirtualObject
{
    Q_OBJECT

public:
    QList<QDBusMessage> calls;
    bool answers = true;

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        calls.append(message);
        if (!answers)
            return true;
        if (message.member() == u"Notify"_s)
            return connection.send(message.createReply(QVariant::fromValue(++m_lastId)));
        if (message.member() == u"GetCapabilities"_s)
            return connection.send(message.createReply(QStringList{u"body"_s, u"body-markup"_s, u"sound"_s}));
        return false;
    }

private:
    uint m_lastId = 0;
};

/// A hint's value and the D-Bus type it travelled as.
struct Hint
{
    QVariant value;
    QString signature;
    bool operator==(const Hint &) const = default;
};

QMap<QString, Hint> hintsOf(const QDBusMessage &notify)
{
    QMap<QString, Hint> hints;
    const auto argument = qvariant_cast<QDBusArgument>(notify.arguments().at(6));
    argument.beginMap();
    while (!argument.atEnd()) {
        QString key;
        QDBusVariant value;
        argument.beginMapEntry();
        argument >> key >> value;
        argument.endMapEntry();
        const QVariant inner = value.variant();
        const QString signature = inner.metaType() == QMetaType::fromType<QDBusArgument>()
                                      ? qvariant_cast<QDBusArgument>(inner).currentSignature()
                                      : QString::fromLatin1(QDBusMetaType::typeToSignature(inner.metaType()));
        hints.insert(key, Hint{inner, signature});
    }
    argument.endMap();
    return hints;
}

} // namespace

class TestNotificationService final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void postSendsNotifyWithExactArguments();
    void postEscapesMarkupInBodyOnly_data();
    void postEscapesMarkupInBodyOnly();
    void samePostTwiceGivesTwoNotifications();
    void requestAuthorizationAsksForCapabilities();
    void noServerIsSilentAndDoesNotBlock();
    void silentServerDoesNotBlock();

private:
    /// Runs the event loop until everything sent so far on the program's connection has been
    /// through the bus daemon and its answers, errors included, have been handled: the daemon
    /// answers a call of its own only after it has routed every earlier message.
    static void settleClientConnection();
    QList<QDBusMessage> notifyCalls() const;

    QDBusConnection m_server{QString()};
    FakeNotificationServer m_fake;
};

void TestNotificationService::initTestCase()
{
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "the test needs the private session bus it is run on");
    m_server = QDBusConnection::connectToBus(QDBusConnection::SessionBus, serverConnectionName);
    QVERIFY(m_server.isConnected());
    QVERIFY(m_server.baseService() != QDBusConnection::sessionBus().baseService());
    QVERIFY(m_server.registerVirtualObject(objectPath, &m_fake, QDBusConnection::SingleNode));
}

void TestNotificationService::init()
{
    // Silent means silent: any warning, from the service or from Qt on its behalf, fails the test.
    QTest::failOnWarning(QRegularExpression(u".*"_s));
    m_fake.calls.clear();
    m_fake.answers = true;
    QVERIFY(m_server.registerService(serviceName));
}

void TestNotificationService::cleanup()
{
    m_server.unregisterService(serviceName);
}

void TestNotificationService::cleanupTestCase()
{
    m_server.unregisterObject(objectPath);
    m_server = QDBusConnection(QString());
    QDBusConnection::disconnectFromBus(serverConnectionName);
}

void TestNotificationService::settleClientConnection()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusPendingCallWatcher watcher(bus.interface()->asyncCall(u"GetId"_s));
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    QVERIFY(finished.wait(10000));
    QVERIFY(!watcher.isError());
}

QList<QDBusMessage> TestNotificationService::notifyCalls() const
{
    QList<QDBusMessage> notify;
    for (const QDBusMessage &call : m_fake.calls) {
        if (call.member() == u"Notify"_s)
            notify.append(call);
    }
    return notify;
}

void TestNotificationService::postSendsNotifyWithExactArguments()
{
    DesktopNotifications().post(u"Nightly APs"_s, u"Restarted 2 of 2 devices."_s);
    QTRY_COMPARE(m_fake.calls.size(), 1);

    const QDBusMessage call = m_fake.calls.first();
    QCOMPARE(call.type(), QDBusMessage::MethodCallMessage);
    QCOMPARE(call.service(), QDBusConnection::sessionBus().baseService()); // the sender: the program's own connection
    QCOMPARE(call.path(), objectPath);
    QCOMPARE(call.interface(), serviceName);
    QCOMPARE(call.member(), u"Notify"_s);
    QCOMPARE(call.signature(), u"susssasa{sv}i"_s);
    const QList<QVariant> arguments = call.arguments();
    QCOMPARE(arguments.size(), 8);
    QCOMPARE(arguments.at(0).toString(), u"Lanternfold"_s);
    QCOMPARE(arguments.at(1).metaType(), QMetaType::fromType<uint>());
    QCOMPARE(arguments.at(1).toUInt(), 0U);
    QCOMPARE(arguments.at(2).toString(), u"lanternfold"_s);
    QCOMPARE(arguments.at(3).toString(), u"Nightly APs"_s);
    QCOMPARE(arguments.at(4).toString(), u"Restarted 2 of 2 devices."_s);
    QCOMPARE(arguments.at(5).toStringList(), QStringList());
    const QMap<QString, Hint> expectedHints{{u"desktop-entry"_s, Hint{u"lanternfold"_s, u"s"_s}},
                                            {u"sound-name"_s, Hint{u"complete"_s, u"s"_s}}};
    QCOMPARE(hintsOf(call), expectedHints);
    QCOMPARE(arguments.at(7).metaType(), QMetaType::fromType<int>());
    QCOMPARE(arguments.at(7).toInt(), -1);
}

void TestNotificationService::postEscapesMarkupInBodyOnly_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("sentBody");

    QTest::newRow("ampersand and brackets") << u"a & b <c>"_s << u"a & b <c>"_s << u"a &amp; b &lt;c&gt;"_s;
    QTest::newRow("an escape already written") << u"&amp;"_s << u"&amp; &lt;"_s << u"&amp;amp; &amp;lt;"_s;
    QTest::newRow("markup tags") << u"<b>bold</b>"_s << u"<b>bold</b>"_s << u"&lt;b&gt;bold&lt;/b&gt;"_s;
    QTest::newRow("quotes stay") << u"\"q\" 'a'"_s << u"\"q\" 'a' > 2"_s << u"\"q\" 'a' &gt; 2"_s;
    QTest::newRow("empty") << QString() << QString() << QString();
    QTest::newRow("non-ASCII") << u"Kameras «Tür»"_s << u"Tür & Tor — 3 < 4"_s << u"Tür &amp; Tor — 3 &lt; 4"_s;
}

void TestNotificationService::postEscapesMarkupInBodyOnly()
{
    QFETCH(QString, title);
    QFETCH(QString, body);
    QFETCH(QString, sentBody);

    DesktopNotifications().post(title, body);
    QTRY_COMPARE(m_fake.calls.size(), 1);
    const QList<QVariant> arguments = m_fake.calls.first().arguments();
    QCOMPARE(arguments.at(3).toString(), title); // the summary is plain text on every server
    QCOMPARE(arguments.at(4).toString(), sentBody);
}

void TestNotificationService::samePostTwiceGivesTwoNotifications()
{
    DesktopNotifications().post(u"Same"_s, u"Same body"_s);
    DesktopNotifications().post(u"Same"_s, u"Same body"_s);
    QTRY_COMPARE(m_fake.calls.size(), 2);
    for (const QDBusMessage &call : std::as_const(m_fake.calls)) {
        QCOMPARE(call.member(), u"Notify"_s);
        QCOMPARE(call.arguments().at(1).toUInt(), 0U);
        QCOMPARE(call.arguments().at(3).toString(), u"Same"_s);
        QCOMPARE(call.arguments().at(4).toString(), u"Same body"_s);
    }
    settleClientConnection();
    QCOMPARE(m_fake.calls.size(), 2);
}

void TestNotificationService::requestAuthorizationAsksForCapabilities()
{
    DesktopNotifications().requestAuthorization();
    QTRY_COMPARE(m_fake.calls.size(), 1);
    const QDBusMessage call = m_fake.calls.first();
    QCOMPARE(call.interface(), serviceName);
    QCOMPARE(call.path(), objectPath);
    QCOMPARE(call.member(), u"GetCapabilities"_s);
    QCOMPARE(call.signature(), QString());
    settleClientConnection(); // the answer comes back and is dropped without a word
    QCOMPARE(m_fake.calls.size(), 1);
}

void TestNotificationService::noServerIsSilentAndDoesNotBlock()
{
    m_server.unregisterService(serviceName);
    QVERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName).value());

    QElapsedTimer timer;
    timer.start();
    DesktopNotifications().requestAuthorization();
    DesktopNotifications().post(u"Nobody"_s, u"listens"_s);
    QVERIFY2(timer.elapsed() < returnsAtOnceMs, qPrintable(QString::number(timer.elapsed())));

    // The bus answers both calls with "no such service"; once those errors are handled, the loop
    // still turns and a server that appears later gets only what is posted after it appeared.
    settleClientConnection();
    bool turned = false;
    QTimer::singleShot(0, this, [&turned] { turned = true; });
    QTRY_VERIFY(turned);
    QVERIFY(m_server.registerService(serviceName));
    DesktopNotifications().post(u"Later"_s, u"heard"_s);
    QTRY_COMPARE(notifyCalls().size(), 1);
    QCOMPARE(notifyCalls().first().arguments().at(3).toString(), u"Later"_s);
    settleClientConnection();
    QCOMPARE(m_fake.calls.size(), 1);
}

void TestNotificationService::silentServerDoesNotBlock()
{
    m_fake.answers = false;

    QElapsedTimer timer;
    timer.start();
    DesktopNotifications().post(u"Into the void"_s, u"no answer comes"_s);
    DesktopNotifications().requestAuthorization();
    QVERIFY2(timer.elapsed() < returnsAtOnceMs, qPrintable(QString::number(timer.elapsed())));

    // The server lives on this thread: it can only see the calls because nothing is waiting for
    // their answers.
    QTRY_COMPARE(m_fake.calls.size(), 2);
    QCOMPARE(m_fake.calls.at(0).member(), u"Notify"_s);
    QCOMPARE(m_fake.calls.at(1).member(), u"GetCapabilities"_s);
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
}

QTEST_GUILESS_MAIN(TestNotificationService)
#include "tst_notificationservice.moc"
