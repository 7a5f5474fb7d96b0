// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/DeviceRow.h"

#include "Models/RestartTarget.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

DeviceRow DeviceRow::from(const UnifiDevice &accessPoint)
{
    return DeviceRow{
        .name = accessPoint.name,
        .subtitle = accessPoint.model + u" \u00b7 "_s + accessPoint.mac,
        .online = accessPoint.isOnline(),
        .id = deviceKey(RestartTargetKind::accessPoint, accessPoint.mac),
    };
}

DeviceRow DeviceRow::from(const ProtectCamera &camera)
{
    return DeviceRow{
        .name = camera.name,
        .subtitle = camera.type,
        .online = camera.isOnline(),
        .id = deviceKey(RestartTargetKind::camera, camera.id),
    };
}

} // namespace lanternfold
