// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

namespace lanternfold {

/// The one error of controller operations; every caller shows it by description(), unchanged.
class UnifiAPIError final
{
public:
    enum class Case {
        certificateMismatch,
        server,
        decoding,
        network,
        invalidCredentials,
        certificateRejected,
        notLoggedIn,
        twoFactorRequired,
        noSiteContext,
        noPermission,
    };

    static UnifiAPIError certificateMismatch(const QString &expected, const QString &presented);
    /// body is kept to its first bodyShownLimit characters, then "…": a controller may answer an
    /// error with megabytes, and the text goes into labels, the activity log and notifications.
    static UnifiAPIError server(int status, const QString &body);
    static constexpr qsizetype bodyShownLimit = 1000;
    static UnifiAPIError decoding(const QString &message);
    /// A transport failure, described by the transport's own text.
    static UnifiAPIError network(const QString &description);
    /// The network error of a request that its client's close() ended.
    static UnifiAPIError closed();
    static UnifiAPIError invalidCredentials();
    static UnifiAPIError certificateRejected();
    static UnifiAPIError notLoggedIn();
    /// The controller wants a second factor for this account; Lanternfold signs in unattended and
    /// cannot give one.
    static UnifiAPIError twoFactorRequired();
    /// The controller has no site of that short name for this account (or the account may not use
    /// it). Not an expired session: logging in again would not change the answer.
    static UnifiAPIError noSiteContext(const QString &siteName);
    /// The account may read the site but not restart its devices; site is the name people know.
    static UnifiAPIError noPermission(const QString &site);

    [[nodiscard]] Case kind() const { return m_case; }
    [[nodiscard]] const QString &expected() const { return m_first; }
    [[nodiscard]] const QString &presented() const { return m_second; }
    [[nodiscard]] int status() const { return m_status; }
    /// The server's body text, the decoding message, the network description or the site.
    [[nodiscard]] const QString &detail() const { return m_first; }

    /// The text users read.
    [[nodiscard]] QString description() const;

    bool operator==(const UnifiAPIError &) const = default;

private:
    explicit UnifiAPIError(Case kind, QString first = {}, QString second = {}, int status = 0);

    Case m_case;
    QString m_first;
    QString m_second;
    int m_status;
};

} // namespace lanternfold
