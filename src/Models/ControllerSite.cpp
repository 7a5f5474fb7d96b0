// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/ControllerSite.h"

#include <algorithm>

namespace lanternfold {

const ControllerSite *findSite(const QList<ControllerSite> &sites, const QString &name)
{
    const auto found =
        std::find_if(sites.cbegin(), sites.cend(), [&name](const ControllerSite &site) { return site.name == name; });
    return found == sites.cend() ? nullptr : &*found;
}

QString siteDisplayName(const QList<ControllerSite> &sites, const QString &name)
{
    const ControllerSite *site = findSite(sites, name);
    return site ? site->displayName() : name;
}

} // namespace lanternfold
