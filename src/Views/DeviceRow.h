// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ProtectCamera.h"
#include "Models/UnifiDevice.h"

#include <QString>

namespace lanternfold {

/// What one line of the device list shows of an access point or a camera, and its key: built
/// fresh from the device every time the list is drawn.
struct DeviceRow
{
    QString name;
    QString subtitle;
    bool online = false;
    /// "accessPoint:<mac>" or "camera:<id>": the key of the selection and of the restart target.
    QString id;

    /// Model and MAC beneath the name; the address is deliberately left out.
    static DeviceRow from(const UnifiDevice &accessPoint);
    static DeviceRow from(const ProtectCamera &camera);

    bool operator==(const DeviceRow &) const = default;
};

} // namespace lanternfold
