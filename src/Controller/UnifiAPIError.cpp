// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/UnifiAPIError.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

UnifiAPIError::UnifiAPIError(Case kind, QString first, QString second, int status)
    : m_case(kind), m_first(std::move(first)), m_second(std::move(second)), m_status(status)
{
}

UnifiAPIError UnifiAPIError::certificateMismatch(const QString &expected, const QString &presented)
{
    return UnifiAPIError(Case::certificateMismatch, expected, presented);
}

UnifiAPIError UnifiAPIError::server(int status, const QString &body)
{
    if (body.size() <= bodyShownLimit)
        return UnifiAPIError(Case::server, body, {}, status);
    // Not between the two halves of a surrogate pair.
    qsizetype cut = bodyShownLimit;
    if (body.at(cut - 1).isHighSurrogate())
        --cut;
    return UnifiAPIError(Case::server, body.left(cut) + u'\u2026', {}, status);
}

UnifiAPIError UnifiAPIError::decoding(const QString &message)
{
    return UnifiAPIError(Case::decoding, message);
}

UnifiAPIError UnifiAPIError::network(const QString &description)
{
    return UnifiAPIError(Case::network, description);
}

UnifiAPIError UnifiAPIError::closed()
{
    return network(u"The connection to the controller was closed."_s);
}

UnifiAPIError UnifiAPIError::invalidCredentials()
{
    return UnifiAPIError(Case::invalidCredentials);
}

UnifiAPIError UnifiAPIError::certificateRejected()
{
    return UnifiAPIError(Case::certificateRejected);
}

UnifiAPIError UnifiAPIError::notLoggedIn()
{
    return UnifiAPIError(Case::notLoggedIn);
}

UnifiAPIError UnifiAPIError::twoFactorRequired()
{
    return UnifiAPIError(Case::twoFactorRequired);
}

UnifiAPIError UnifiAPIError::noSiteContext(const QString &siteName)
{
    return UnifiAPIError(Case::noSiteContext, siteName);
}

UnifiAPIError UnifiAPIError::noPermission(const QString &site)
{
    return UnifiAPIError(Case::noPermission, site);
}

QString UnifiAPIError::description() const
{
    switch (m_case) {
    case Case::certificateMismatch:
        return u"The controller's certificate changed unexpectedly.\nPinned: "_s + m_first + u"\nPresented: "_s +
               m_second +
               u"\n\nIf you recently reset or re-adopted the controller, remove the pin in Settings and reconnect."_s;
    case Case::server:
        return u"Controller returned HTTP "_s + QString::number(m_status) + u": "_s + m_first;
    case Case::decoding:
        return u"Failed to parse controller response: "_s + m_first;
    case Case::network:
        return m_first;
    case Case::invalidCredentials:
        return u"Invalid username or password."_s;
    case Case::certificateRejected:
        return u"The controller's certificate was not approved."_s;
    case Case::notLoggedIn:
        return u"Not logged in."_s;
    case Case::twoFactorRequired:
        return u"This account uses two-factor authentication. Use a local controller account without it."_s;
    case Case::noSiteContext:
        return u"The controller has no site '"_s + m_first + u"' for this account. Choose a site in Settings."_s;
    case Case::noPermission:
        return u"This account may not restart devices on site '"_s + m_first + u"'. Use an administrator account."_s;
    }
    return {};
}

} // namespace lanternfold
