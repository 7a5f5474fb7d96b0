// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/UnifiAPIClient.h"

#include "Async/Latch.h"
#include "Controller/Inventory.h"
#include "Models/FastJson.h"

#include <QJsonObject>
#include <QtConcurrentRun>

#include <QCoroFuture>

#include <algorithm>

// The client's requests about devices: the sites, the inventories, one device's reading and the
// restart commands. Kept apart from the session's life (login, tokens, sending) in
// UnifiAPIClient.cpp.

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

/// Answers at least this large are decoded on a thread of their own: a site of thousands of devices
/// answers with tens of megabytes, whose decoding would hold the window still for longer than a
/// person notices. Smaller ones take a few milliseconds, which the hop to another thread and back
/// would only lengthen.
constexpr qsizetype decodeAsideFrom = qsizetype(1) << 20;

/// body decoded by decode; on the decoding thread when it is large, so that the window never waits
/// for megabytes to be copied and read. Either thread parses the body where its own buffer holds it.
template <typename T>
QCoro::Task<Decoded<T>> decodeAside(QList<QByteArray> body, Decoded<T> (*decode)(const QByteArray &))
{
    qsizetype size = 0;
    for (const QByteArray &piece : std::as_const(body))
        size += piece.size();
    if (size < decodeAsideFrom)
        co_return decode(json::joinedForParsing(body));
    // A local, not a temporary in a statement with an await: GCC 12 miscompiles those.
    const auto decodeThere = [body, decode] { return std::optional<Decoded<T>>(decode(json::joinedForParsing(body))); };
    QFuture<std::optional<Decoded<T>>> decoding = QtConcurrent::run(&json::decodingThread(), decodeThere);
    std::optional<Decoded<T>> decoded = co_await decoding;
    // The task always returns one; an empty result would be a broken future, and reads as a failure.
    if (!decoded)
        co_return DecodeError{UnifiAPIClient::tr("The answer could not be decoded.")};
    co_return std::move(*decoded);
}

} // namespace

template <typename T>
QCoro::Task<APIResult<QList<T>>> UnifiAPIClient::fetchInventory(QString path, QString site,
                                                                Decoded<QList<T>> (*decode)(const QByteArray &))
{
    const auto response = co_await get(std::move(path), inventoryAnswerLimit);
    if (!response.ok())
        co_return response.error();
    if (const auto ok = assertOK(response.value(), site); !ok.ok())
        co_return ok.error();
    const std::shared_ptr<Latch> closed = m_closed;
    auto decoded = co_await decodeAside(response.value().body, decode);
    if (closed->isSet())
        co_return UnifiAPIError::closed();
    if (!decoded.ok())
        co_return UnifiAPIError::decoding(decoded.error().message);
    co_return std::move(decoded).value();
}

QCoro::Task<APIResult<QList<ControllerSite>>> UnifiAPIClient::fetchSites()
{
    const QString prefix = m_config.kind == ControllerKind::unifiOS ? u"/proxy/network"_s : QString();
    const std::shared_ptr<Latch> closed = m_closed;
    auto sites = co_await fetchInventory<ControllerSite>(prefix + u"/api/self/sites"_s, {}, &decodeSites);
    if (closed->isSet() || !sites.ok())
        co_return sites;
    m_sites = sites.value();
    co_return sites;
}

QCoro::Task<APIResult<QList<UnifiDevice>>> UnifiAPIClient::fetchAccessPoints(const QString &site)
{
    const QString chosen = siteOrConfigured(site);
    return fetchInventory<UnifiDevice>(networkPath(chosen, u"/stat/device"_s), chosen, &decodeAccessPoints);
}

QCoro::Task<APIResult<QList<ProtectCamera>>> UnifiAPIClient::fetchCameras()
{
    if (m_config.kind == ControllerKind::classic)
        co_return QList<ProtectCamera>{}; // classic controllers have no Protect
    co_return co_await fetchInventory<ProtectCamera>(u"/proxy/protect/api/cameras"_s, {}, &decodeCameras);
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::restartAccessPoint(QString mac, QString site)
{
    const QString chosen = siteOrConfigured(site);
    // Built before the await: GCC 12 miscompiles brace-initialised temporaries inside co_await.
    QJsonObject command;
    command.insert(u"cmd"_s, u"restart"_s);
    command.insert(u"mac"_s, mac);
    const std::shared_ptr<Latch> closed = m_closed;
    const auto response = co_await post(networkPath(chosen, u"/cmd/devmgr"_s), command);
    if (!response.ok())
        co_return response.error();
    // A read-only account sees the site's devices but may not restart them.
    const int status = response.value().status;
    if ((status == 403 || status == 401) && envelopeError(response.value().joined()) == u"api.err.NoPermission"_s)
        co_return UnifiAPIError::noPermission(closed->isSet() ? chosen : siteDisplayName(m_sites, chosen));
    co_return assertOK(response.value(), chosen);
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::rebootCamera(QString id)
{
    //: Inserted into "Unexpected %1 from controller: %2".
    const auto safe = pathSafeIdentifier(id, tr("camera id"));
    if (!safe.ok())
        co_return safe.error();
    const auto response = co_await post(u"/proxy/protect/api/cameras/"_s + safe.value() + u"/reboot"_s, std::nullopt);
    if (!response.ok())
        co_return response.error();
    co_return assertOK(response.value());
}

QCoro::Task<APIResult<DeviceReading>> UnifiAPIClient::readAccessPoint(QString mac, QString site)
{
    const QString chosen = siteOrConfigured(site);
    // The controller keeps MACs in lower case with colons; nothing else may reach the path.
    const QString lower = mac.toLower();
    const bool safe = !lower.isEmpty() && std::all_of(lower.cbegin(), lower.cend(), [](QChar c) {
        return c == u':' || (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f');
    });
    if (!safe)
        //: %1 is the MAC address as the controller gave it.
        co_return UnifiAPIError::decoding(tr("Unexpected MAC address from controller: %1").arg(mac));
    co_return co_await readOne(networkPath(chosen, u"/stat/device/"_s + lower), chosen, lower,
                               &decodeAccessPointReading);
}

QCoro::Task<APIResult<DeviceReading>> UnifiAPIClient::readCamera(QString id)
{
    if (m_config.kind == ControllerKind::classic)
        co_return UnifiAPIError::decoding(tr("A classic controller has no cameras."));
    //: Inserted into "Unexpected %1 from controller: %2".
    const auto safe = pathSafeIdentifier(id, tr("camera id"));
    if (!safe.ok())
        co_return safe.error();
    co_return co_await readOne(u"/proxy/protect/api/cameras/"_s + safe.value(), {}, id, &decodeCameraReading);
}

QCoro::Task<APIResult<DeviceReading>> UnifiAPIClient::readOne(QString path, QString site, QString identifier,
                                                              Decoded<DeviceReading> (*decode)(const QByteArray &,
                                                                                               const QString &))
{
    const auto response = co_await get(std::move(path));
    if (!response.ok())
        co_return response.error();
    if (const auto ok = assertOK(response.value(), site); !ok.ok())
        co_return ok.error();
    auto decoded = decode(response.value().joined(), identifier);
    if (!decoded.ok())
        co_return UnifiAPIError::decoding(decoded.error().message);
    co_return std::move(decoded).value();
}

APIResult<QString> UnifiAPIClient::pathSafeIdentifier(const QString &value, const QString &kind)
{
    static const QString allowed = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"_s;
    bool safe = !value.isEmpty();
    for (const QChar c : value) {
        if (!allowed.contains(c)) {
            safe = false;
            break;
        }
    }
    if (!safe)
        //: %1 names what was expected (such as "camera id"), %2 is the value the controller gave.
        return UnifiAPIError::decoding(tr("Unexpected %1 from controller: %2").arg(kind, value));
    return value;
}

} // namespace lanternfold
