// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QString>

namespace lanternfold {

/// The site every controller is installed with, and the one a first connect asks for.
inline constexpr QStringView defaultSiteName = u"default";

/// One site of a Network application that the signed-in account may use.
struct ControllerSite
{
    /// The short id in the paths ("/api/s/<name>/…"), often a random string; case-sensitive.
    QString name;
    /// The name people know the site by; the short id when the controller gives none.
    QString desc;
    /// The account's role on the site ("admin", "readonly", …); empty when not given.
    QString role;

    /// What the person reads for the site.
    [[nodiscard]] const QString &displayName() const { return desc.isEmpty() ? name : desc; }

    bool operator==(const ControllerSite &) const = default;
};

/// The site of that short id in sites, if any.
const ControllerSite *findSite(const QList<ControllerSite> &sites, const QString &name);
/// The name people know the site of that short id by; the short id itself when sites lacks it.
QString siteDisplayName(const QList<ControllerSite> &sites, const QString &name);

} // namespace lanternfold
