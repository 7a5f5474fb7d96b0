// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// Keyrings that fail the way real ones do, for tests on a private session bus: the gnome-keyring
// that run-session-bus.sh --keyring starts, locked as after a screen lock, and a stand-in that
// takes every call and answers none, as a keyring behind an unanswered unlock prompt does.

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVirtualObject>
#include <QMap>
#include <QMutex>
#include <QString>

#include <utility>

namespace lanternfold::test {

/// The Secret Service's name on the bus.
inline QString secretsName()
{
    return QStringLiteral("org.freedesktop.secrets");
}

/// Calls the keyring directly and waits for its answer. Plain messages rather than QDBusInterface,
/// which would introspect the keyring and cache what it learnt for the life of the connection.
inline QDBusMessage callKeyring(const QString &path, const QString &interface, const QString &method,
                                const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(secretsName(), path, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call);
}

inline QDBusMessage callSecretService(const QString &method, const QVariantList &arguments)
{
    return callKeyring(QStringLiteral("/org/freedesktop/secrets"), QStringLiteral("org.freedesktop.Secret.Service"),
                       method, arguments);
}

/// The items of account under service, unlocked and locked, as the keyring itself lists them.
inline std::pair<int, int> keyringItemCounts(const QString &service, const QString &account)
{
    using Attributes = QMap<QString, QString>;
    qDBusRegisterMetaType<Attributes>();
    const Attributes attributes{{QStringLiteral("server"), service}, {QStringLiteral("user"), account}};
    const QDBusMessage reply = callSecretService(QStringLiteral("SearchItems"), {QVariant::fromValue(attributes)});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 2)
        qFatal("SearchItems failed: %s", qPrintable(reply.errorMessage()));
    const auto unlocked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().at(0));
    const auto locked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().at(1));
    return {int(unlocked.size()), int(locked.size())};
}

/// Locks the default collection (the login keyring), which takes no prompt; unlocking it again
/// would take one. Returns the collection's path, empty when that failed.
inline QString lockDefaultKeyring()
{
    const QDBusReply<QDBusObjectPath> alias =
        callSecretService(QStringLiteral("ReadAlias"), {QStringLiteral("default")});
    if (!alias.isValid())
        return {};
    const QDBusObjectPath collection = alias.value();
    const QDBusMessage lock =
        callSecretService(QStringLiteral("Lock"), {QVariant::fromValue(QList<QDBusObjectPath>{collection})});
    if (lock.type() != QDBusMessage::ReplyMessage)
        return {};
    const QDBusReply<QVariant> locked =
        callKeyring(collection.path(), QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                    {QStringLiteral("org.freedesktop.Secret.Collection"), QStringLiteral("Locked")});
    return locked.isValid() && locked.value().toBool() ? collection.path() : QString();
}

/// Takes every call to any of its objects and answers none, until told to answer all of them, then
/// and from then on, with an error. Owns the Secret Service's name on a connection of its own
/// while started, so that calls really travel through the bus daemon.
class SilentKeyring final : public QDBusVirtualObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SilentKeyring)

public:
    SilentKeyring() = default;
    ~SilentKeyring() override { stop(); }

    /// Owns the Secret Service's name; false when that failed.
    bool start()
    {
        m_connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName());
        return m_connection.isConnected() &&
               m_connection.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath) &&
               m_connection.registerService(secretsName());
    }

    /// Gives the name up again.
    void stop()
    {
        if (!m_connection.isConnected())
            return;
        m_connection.unregisterService(secretsName());
        m_connection.unregisterObject(QStringLiteral("/"), QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(connectionName());
        m_connection = QDBusConnection(QString());
    }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        Q_UNUSED(connection)
        const QMutexLocker lock(&m_mutex);
        ++m_callCount;
        if (m_answering)
            m_connection.send(failure(message));
        else
            m_unanswered.append(message);
        return true; // taken: Qt sends no reply of its own
    }

    QString introspect(const QString &path) const override
    {
        Q_UNUSED(path)
        return {};
    }

    [[nodiscard]] int callCount()
    {
        const QMutexLocker lock(&m_mutex);
        return m_callCount;
    }

    [[nodiscard]] int unansweredCount()
    {
        const QMutexLocker lock(&m_mutex);
        return int(m_unanswered.size());
    }

    void answerEverything()
    {
        const QMutexLocker lock(&m_mutex);
        m_answering = true;
        for (const QDBusMessage &message : std::as_const(m_unanswered))
            m_connection.send(failure(message));
        m_unanswered.clear();
    }

private:
    static QDBusMessage failure(const QDBusMessage &message)
    {
        return message.createErrorReply(QDBusError::Failed, QStringLiteral("the keyring is unavailable"));
    }

    static QString connectionName() { return QStringLiteral("silent-keyring"); }

    QDBusConnection m_connection{QString()};
    QMutex m_mutex;
    QList<QDBusMessage> m_unanswered;
    int m_callCount = 0;
    bool m_answering = false;
};

} // namespace lanternfold::test
