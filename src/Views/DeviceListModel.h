// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ProtectCamera.h"
#include "Models/RestartTarget.h"
#include "Models/UnifiDevice.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>

#include <optional>

namespace lanternfold {

class AppState;
struct DeviceRow;

/// The rows of the device list, straight from the state's lists: a section header, the access
/// points, a header, the cameras, both sections always present. It keeps no row of its own: each
/// row is derived when a view asks for it, so a site of thousands of devices costs the state's
/// records and little more. One model serves the Devices tab and the schedule editor's devices.
class DeviceListModel final : public QAbstractListModel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DeviceListModel)

public:
    /// What a row holds beyond its name (the display text).
    enum Role {
        subtitleRole = Qt::UserRole + 1,
        onlineRole,
        /// The row identifier: "accessPoint:<mac>" or "camera:<id>"; empty on a header.
        idRole,
        /// True on the two rows that head a section rather than show a device.
        sectionRole,
    };

    explicit DeviceListModel(AppState &state, QObject *parent = nullptr);
    ~DeviceListModel() override = default;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;

    /// Every access point, then every camera, in the state's order.
    [[nodiscard]] QList<RestartTarget> allTargets() const;
    /// The row of the device with this identifier; none when no such device is listed.
    [[nodiscard]] std::optional<int> rowOf(const QString &id) const;
    [[nodiscard]] int accessPointsHeaderRow() const { return 0; }
    [[nodiscard]] int camerasHeaderRow() const { return 1 + static_cast<int>(m_accessPoints.size()); }
    [[nodiscard]] static QString accessPointsTitle(qsizetype count);
    [[nodiscard]] static QString camerasTitle(qsizetype count);

private:
    /// The state's lists changed: the rows are built anew (a reset, as the list is shown afresh).
    void takeDevices();
    [[nodiscard]] std::optional<DeviceRow> deviceRow(int row) const;

    AppState &m_state;
    QList<UnifiDevice> m_accessPoints;
    QList<ProtectCamera> m_cameras;
    /// Row of each identifier, made on the first look-up after a change.
    mutable QHash<QString, int> m_rows;
    mutable bool m_rowsKnown = false;
};

} // namespace lanternfold
