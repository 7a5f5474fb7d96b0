// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/UnifiAPIError.h"

#include <QCoreApplication>

namespace lanternfold {

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
    return network(QCoreApplication::translate("UnifiAPIError", "The connection to the controller was closed."));
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
        //: %1 is the key's fingerprint (SHA-256) that was pinned, %2 the one the controller shows now.
        return QCoreApplication::translate("UnifiAPIError",
                                           "The controller's certificate changed unexpectedly.\nPinned: %1\nPresented: "
                                           "%2\n\nIf you recently reset or re-adopted the controller, remove the pin "
                                           "in Settings and reconnect.")
            .arg(m_first, m_second);
    case Case::server:
        //: %1 is the HTTP status code, %2 the start of the controller's answer.
        return QCoreApplication::translate("UnifiAPIError", "Controller returned HTTP %1: %2")
            .arg(QString::number(m_status), m_first);
    case Case::decoding:
        //: %1 says what was wrong with the answer (often in English).
        return QCoreApplication::translate("UnifiAPIError", "Failed to parse controller response: %1").arg(m_first);
    case Case::network:
        return m_first;
    case Case::invalidCredentials:
        return QCoreApplication::translate("UnifiAPIError", "Invalid username or password.");
    case Case::certificateRejected:
        return QCoreApplication::translate("UnifiAPIError", "The controller's certificate was not approved.");
    case Case::notLoggedIn:
        return QCoreApplication::translate("UnifiAPIError", "Not logged in.");
    case Case::twoFactorRequired:
        return QCoreApplication::translate(
            "UnifiAPIError", "This account uses two-factor authentication. Use a local controller account without it.");
    case Case::noSiteContext:
        //: %1 is the site's short id.
        return QCoreApplication::translate(
                   "UnifiAPIError", "The controller has no site '%1' for this account. Choose a site in Settings.")
            .arg(m_first);
    case Case::noPermission:
        //: %1 is the site's name.
        return QCoreApplication::translate(
                   "UnifiAPIError", "This account may not restart devices on site '%1'. Use an administrator account.")
            .arg(m_first);
    }
    return {};
}

} // namespace lanternfold
