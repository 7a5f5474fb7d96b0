// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/DeviceRow.h"

#include "Models/RestartTarget.h"

#include <QCoreApplication>

namespace lanternfold {

DeviceRow DeviceRow::from(const UnifiDevice &accessPoint)
{
    return DeviceRow{
        .name = accessPoint.name,
        //: Line under an access point's name: %1 is its model, %2 its MAC address
        .subtitle = QCoreApplication::translate("lanternfold::DeviceRow", "%1 \u00b7 %2")
                        .arg(accessPoint.model, accessPoint.mac),
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
