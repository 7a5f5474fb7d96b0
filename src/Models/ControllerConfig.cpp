// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/ControllerConfig.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

QString toRawValue(ControllerKind kind)
{
    switch (kind) {
    case ControllerKind::unifiOS:
        return u"unifiOS"_s;
    case ControllerKind::classic:
        return u"classic"_s;
    }
    return {};
}

std::optional<ControllerKind> controllerKindFromRawValue(const QString &raw)
{
    if (raw == u"unifiOS")
        return ControllerKind::unifiOS;
    if (raw == u"classic")
        return ControllerKind::classic;
    return std::nullopt;
}

QUrl placeholderBaseURL()
{
    return QUrl(u"https://unreachable.lanternfold.invalid"_s);
}

QUrl ControllerConfig::baseURL() const
{
    // QUrl's setters each clear the error of the one before, an empty host counts as valid and
    // blanks around a host are trimmed silently, so every step is checked on its own and the
    // host must come back exactly as given (apart from lower-casing).
    if (host.isEmpty() || port < 0 || port > 65535)
        return placeholderBaseURL();
    QUrl url;
    url.setScheme(u"https"_s);
    if (!url.isValid())
        return placeholderBaseURL();
    url.setHost(host, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty())
        return placeholderBaseURL();
    url.setPort(static_cast<int>(port));
    if (!url.isValid())
        return placeholderBaseURL();
    if (url.host() != host.toLower())
        return placeholderBaseURL();
    return url;
}

QJsonObject ControllerConfig::toJson() const
{
    return QJsonObject{
        {u"host"_s, host},         {u"port"_s, port}, {u"kind"_s, toRawValue(kind)},
        {u"username"_s, username}, {u"site"_s, site},
    };
}

Decoded<ControllerConfig> ControllerConfig::fromJson(const QJsonValue &json, const QString &path)
{
    LF_TRY_DECODE(object, json::asObject(json, path));
    const json::ObjectReader reader(object, path);
    LF_TRY_DECODE(host, reader.string(u"host"_s));
    LF_TRY_DECODE(port, reader.integer(u"port"_s));
    LF_TRY_DECODE(kindRaw, reader.string(u"kind"_s));
    const auto kind = controllerKindFromRawValue(kindRaw);
    if (!kind)
        return json::unknownValue(kindRaw, u"kind"_s, path);
    LF_TRY_DECODE(username, reader.string(u"username"_s));
    LF_TRY_DECODE(site, reader.string(u"site"_s));
    return ControllerConfig{host, port, *kind, username, site};
}

} // namespace lanternfold
