// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ControllerSimulator.h"

#include "SimCommands.h"
#include "SimConnection.h"

namespace lanternfold::sim {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QJsonValue textOrNull(const QByteArray &bytes, bool present)
{
    return present ? QJsonValue(QString::fromUtf8(bytes)) : QJsonValue(QJsonValue::Null);
}

} // namespace

ControllerSimulator::ControllerSimulator(QObject *parent)
    : QObject(parent),
      m_log(new SimLog(this)),
      m_tls(new SimTlsServer(
          *m_log, [this](QSslSocket *socket, int id, const QString &fingerprint) { accept(socket, id, fingerprint); },
          this)),
      m_connections(new QObject(this))
{
    m_state.username = QString::fromLatin1(defaultUsername);
    m_state.password = QString::fromLatin1(defaultPassword);
    m_state.site = SimulatedSite::demo();
}

ControllerSimulator::~ControllerSimulator()
{
    // Close while the log and the handshake table still exist: closing sockets report to both.
    stop();
}

void ControllerSimulator::setCredentials(const QString &username, const QString &password)
{
    m_state.username = username;
    m_state.password = password;
}

bool ControllerSimulator::addSite(const QString &name, const QString &desc, const QByteArray &devicesJson,
                                  QString *error)
{
    if (name.isEmpty() || m_state.siteNamed(name)) {
        if (error)
            *error = u"site '%1' is served already"_s.arg(name);
        return false;
    }
    SimulatedSite site;
    if (!site.setDevicesJson(devicesJson, error) || !site.setCamerasJson(QByteArrayLiteral("[]"), error))
        return false;
    m_state.otherSites.append(SimExtraSite{name, desc, std::move(site)});
    return true;
}

void ControllerSimulator::addDemoWarehouse()
{
    if (!m_state.siteNamed(QString::fromLatin1(demoWarehouseSite)))
        m_state.otherSites.append(
            SimExtraSite{QString::fromLatin1(demoWarehouseSite), u"Warehouse"_s, SimulatedSite::demoWarehouse()});
}

bool ControllerSimulator::setRebootTiming(const QString &id, RebootTiming timing)
{
    bool found = false;
    m_state.forEachSite([&](SimulatedSite &site) { found = site.setRebootTiming(id, timing) || found; });
    return found;
}

bool ControllerSimulator::setNeverComesBack(const QString &id, bool never)
{
    bool found = false;
    m_state.forEachSite([&](SimulatedSite &site) { found = site.setNeverComesBack(id, never) || found; });
    return found;
}

QStringList ControllerSimulator::siteNames() const
{
    QStringList names{m_state.siteName};
    for (const SimExtraSite &other : m_state.otherSites)
        names.append(other.name);
    return names;
}

bool ControllerSimulator::setDevicesJson(const QByteArray &json, QString *error)
{
    return m_state.site.setDevicesJson(json, error);
}

bool ControllerSimulator::setCamerasJson(const QByteArray &json, QString *error)
{
    return m_state.site.setCamerasJson(json, error);
}

void ControllerSimulator::setExtraHeader(const QByteArray &name, const QByteArray &value)
{
    m_state.extraHeaders.removeIf(
        [&](const auto &header) { return header.first.compare(name, Qt::CaseInsensitive) == 0; });
    if (!value.isEmpty())
        m_state.extraHeaders.append({name, value});
}

void ControllerSimulator::setLoginRateLimit(int maxLogins, std::chrono::milliseconds window)
{
    m_state.sessions.setRateLimit(maxLogins, window);
}

bool ControllerSimulator::start(QString *error)
{
    if (isListening())
        return true;
    if (!m_tls->start(error))
        return false;
    Q_EMIT started();
    return true;
}

void ControllerSimulator::stop()
{
    m_tls->stop();
    qDeleteAll(m_connections->children());
}

void ControllerSimulator::accept(QSslSocket *socket, int connectionId, const QString &fingerprint)
{
    new SimConnection(
        socket, m_connections, connectionId, fingerprint,
        [this](const HttpRequest &request, int id, const QString &key) { return handle(request, id, key); }, *m_log);
}

int ControllerSimulator::closeConnections()
{
    int closed = 0;
    // Every child is a SimConnection; one that already ended is only waiting to be deleted.
    for (QObject *child : m_connections->children()) {
        auto *connection = static_cast<SimConnection *>(child);
        if (connection->isOpen()) {
            connection->closeNow();
            ++closed;
        }
    }
    return closed;
}

int ControllerSimulator::openConnectionCount() const
{
    int open = 0;
    for (const QObject *child : m_connections->children())
        open += static_cast<const SimConnection *>(child)->isOpen() ? 1 : 0;
    return open;
}

ControllerSimulator::Outcome ControllerSimulator::handle(const HttpRequest &request, int connectionId,
                                                         const QString &keyFingerprint)
{
    const QString path = QString::fromUtf8(request.path);
    QJsonObject entry{{u"event"_s, u"request"_s},
                      {u"conn"_s, connectionId},
                      {u"fingerprint"_s, keyFingerprint},
                      {u"method"_s, QString::fromLatin1(request.method)},
                      {u"path"_s, path},
                      {u"cookie"_s, request.hasHeader(QByteArrayLiteral("Cookie"))},
                      {u"csrf"_s, textOrNull(request.header(QByteArrayLiteral("X-CSRF-Token")),
                                             request.hasHeader(QByteArrayLiteral("X-CSRF-Token")))},
                      {u"body"_s, QString::fromUtf8(request.body)}};
    if (request.target != request.path)
        entry.insert(u"query"_s, QString::fromUtf8(request.target.mid(request.path.size() + 1)));
    // Which session the cookie named when the request arrived, before anything (a logout, say)
    // could end it: a client test can tell which login its requests ride on.
    const SimSession *presented = m_state.sessions.find(request, SimRouter::cookieName(m_state.kind), now());
    entry.insert(u"session"_s, presented ? QJsonValue(presented->number) : QJsonValue(QJsonValue::Null));

    Outcome outcome = m_state.faults.decide(
        path, SimRouter::loginPath(m_state.kind), SimRouter::isInventoryPath(path),
        [&] { return m_router.route(request, path, entry); }, entry);
    outcome.response.setHeader(QByteArrayLiteral("Server"), QByteArrayLiteral("lanternfold-sim"));
    for (const auto &[name, value] : std::as_const(m_state.extraHeaders))
        outcome.response.setHeader(name, value);

    // Stalled and reset answers still started: their status is the one the client saw.
    entry.insert(u"status"_s, outcome.startsAnswer() ? QJsonValue(outcome.response.status) : QJsonValue::Null);
    if (outcome.delay > 0ms)
        entry.insert(u"delayMs"_s, static_cast<qint64>(outcome.delay.count()));
    m_log->append(entry);
    return outcome;
}

QString ControllerSimulator::applyCommand(const QString &line)
{
    return SimCommands::apply(*this, line);
}

QString ControllerSimulator::commandHelp()
{
    return SimCommands::help();
}

QString ControllerSimulator::kindName(Kind kind)
{
    return kind == Kind::UnifiOS ? u"unifiOS"_s : u"classic"_s;
}

std::optional<ControllerSimulator::Kind> ControllerSimulator::kindFromName(const QString &name)
{
    if (name.compare(u"unifiOS"_s, Qt::CaseInsensitive) == 0)
        return Kind::UnifiOS;
    if (name.compare(u"classic"_s, Qt::CaseInsensitive) == 0)
        return Kind::Classic;
    return std::nullopt;
}

} // namespace lanternfold::sim
