#include "SimulatedSite.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

namespace {

void fail(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

QByteArray readResource(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("controller-sim: missing built-in resource %s", qPrintable(path));
    return file.readAll();
}

std::optional<QJsonArray> objectsWithStringKey(const QJsonArray &array, const QString &key, QString *error)
{
    for (qsizetype i = 0; i < array.size(); ++i) {
        if (!array.at(i).isObject() || !array.at(i).toObject().value(key).isString()) {
            fail(error, u"element %1 is not an object with a string \"%2\""_s.arg(i).arg(key));
            return std::nullopt;
        }
    }
    return array;
}

} // namespace

SimulatedSite SimulatedSite::demo()
{
    SimulatedSite site;
    QString error;
    if (!site.setDevicesJson(readResource(u":/controller-sim/devices.json"_s), &error) ||
        !site.setCamerasJson(readResource(u":/controller-sim/cameras.json"_s), &error))
        qFatal("controller-sim: broken built-in demo site: %s", qPrintable(error));
    return site;
}

bool SimulatedSite::setDevicesJson(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        fail(error, u"devices: "_s + parseError.errorString());
        return false;
    }
    if (!document.isObject() || !document.object().value(u"data"_s).isArray()) {
        fail(error, u"devices: expected {\"meta\":{\"rc\":\"ok\"},\"data\":[…]}"_s);
        return false;
    }
    QString elementError;
    const auto array = objectsWithStringKey(document.object().value(u"data"_s).toArray(), u"mac"_s, &elementError);
    if (!array) {
        fail(error, u"devices: "_s + elementError);
        return false;
    }
    m_devices.clear();
    for (const auto &value : *array)
        m_devices.append(Entry{value.toObject(), {}});
    return true;
}

bool SimulatedSite::setCamerasJson(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        fail(error, u"cameras: "_s + parseError.errorString());
        return false;
    }
    if (!document.isArray()) {
        fail(error, u"cameras: expected a bare JSON array, as Protect sends it"_s);
        return false;
    }
    QString elementError;
    const auto array = objectsWithStringKey(document.array(), u"id"_s, &elementError);
    if (!array) {
        fail(error, u"cameras: "_s + elementError);
        return false;
    }
    m_cameras.clear();
    for (const auto &value : *array)
        m_cameras.append(Entry{value.toObject(), {}});
    return true;
}

QByteArray SimulatedSite::devicesBody(Clock::time_point now, Shape shape) const
{
    return renderDevices(now, shape, {});
}

QByteArray SimulatedSite::deviceBody(const QString &mac, Clock::time_point now, Shape shape) const
{
    return renderDevices(now, shape, mac);
}

QByteArray SimulatedSite::renderDevices(Clock::time_point now, Shape shape, const QString &mac) const
{
    QJsonArray data;
    for (const Entry &entry : m_devices) {
        if (!mac.isEmpty() && entry.object.value(u"mac"_s).toString().compare(mac, Qt::CaseInsensitive) != 0)
            continue;
        QJsonObject object = entry.object;
        if (isOffline(entry, now))
            object.insert(u"state"_s, 0);
        if (shape == Shape::WrongType)
            object.insert(u"state"_s, QString::number(object.value(u"state"_s).toInteger(1)));
        data.append(object);
    }
    // "meta" first, as the controller writes it (QJsonObject would sort the members).
    return QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":)") + QJsonDocument(data).toJson(QJsonDocument::Compact) +
           '}';
}

QByteArray SimulatedSite::camerasBody(Clock::time_point now, Shape shape) const
{
    QJsonArray cameras;
    int number = 7;
    for (const Entry &entry : m_cameras) {
        QJsonObject object = entry.object;
        if (isOffline(entry, now)) {
            object.insert(u"state"_s, u"DISCONNECTED"_s);
            object.insert(u"isConnected"_s, false);
            object.insert(u"isRebooting"_s, true);
        }
        if (shape == Shape::WrongType)
            object.insert(u"id"_s, number++);
        cameras.append(object);
    }
    return QJsonDocument(cameras).toJson(QJsonDocument::Compact);
}

bool SimulatedSite::restartDevice(const QString &mac, Clock::time_point now)
{
    bool found = false;
    for (Entry &entry : m_devices) {
        if (entry.object.value(u"mac"_s).toString().compare(mac, Qt::CaseInsensitive) == 0) {
            entry.offlineUntil = now + m_offlineDuration;
            found = true;
        }
    }
    return found;
}

bool SimulatedSite::rebootCamera(const QString &id, Clock::time_point now)
{
    bool found = false;
    for (Entry &entry : m_cameras) {
        if (entry.object.value(u"id"_s).toString() == id) {
            entry.offlineUntil = now + m_offlineDuration;
            found = true;
        }
    }
    return found;
}

QList<QString> SimulatedSite::deviceMacs() const
{
    QList<QString> macs;
    for (const Entry &entry : m_devices)
        macs.append(entry.object.value(u"mac"_s).toString());
    return macs;
}

QList<QString> SimulatedSite::cameraIds() const
{
    QList<QString> ids;
    for (const Entry &entry : m_cameras)
        ids.append(entry.object.value(u"id"_s).toString());
    return ids;
}

} // namespace lanternfold::sim
