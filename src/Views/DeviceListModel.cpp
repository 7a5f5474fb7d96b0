// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/DeviceListModel.h"

#include "State/AppState.h"
#include "Views/DeviceRow.h"

namespace lanternfold {

DeviceListModel::DeviceListModel(AppState &state, QObject *parent)
    : QAbstractListModel(parent), m_state(state), m_accessPoints(state.accessPoints()), m_cameras(state.cameras())
{
    connect(&state, &AppState::accessPointsChanged, this, &DeviceListModel::takeDevices);
    connect(&state, &AppState::camerasChanged, this, &DeviceListModel::takeDevices);
}

void DeviceListModel::takeDevices()
{
    beginResetModel();
    // Shared copies of the state's lists: nothing is copied unless the state changes them again.
    m_accessPoints = m_state.accessPoints();
    m_cameras = m_state.cameras();
    m_rows.clear();
    m_rowsKnown = false;
    endResetModel();
}

int DeviceListModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return static_cast<int>(2 + m_accessPoints.size() + m_cameras.size());
}

QString DeviceListModel::accessPointsTitle(qsizetype count)
{
    //: Section heading of the device list; %1 is how many access points it holds
    return tr("Access Points (%1)").arg(count);
}

QString DeviceListModel::camerasTitle(qsizetype count)
{
    //: Section heading of the device list; %1 is how many cameras it holds
    return tr("Cameras (%1)").arg(count);
}

std::optional<DeviceRow> DeviceListModel::deviceRow(int row) const
{
    if (row > accessPointsHeaderRow() && row < camerasHeaderRow())
        return DeviceRow::from(m_accessPoints.at(row - 1));
    const int camera = row - camerasHeaderRow() - 1;
    if (camera >= 0 && camera < m_cameras.size())
        return DeviceRow::from(m_cameras.at(camera));
    return std::nullopt;
}

QVariant DeviceListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return {};
    const int row = index.row();
    if (row == accessPointsHeaderRow() || row == camerasHeaderRow()) {
        switch (role) {
        case Qt::DisplayRole:
        case Qt::AccessibleTextRole:
            return row == accessPointsHeaderRow() ? accessPointsTitle(m_accessPoints.size())
                                                  : camerasTitle(m_cameras.size());
        case sectionRole:
            return true;
        case idRole:
            return QString();
        default:
            return {};
        }
    }
    const std::optional<DeviceRow> device = deviceRow(row);
    if (!device)
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return device->name;
    case subtitleRole:
    case Qt::AccessibleDescriptionRole:
        return device->subtitle;
    case onlineRole:
        return device->online;
    case idRole:
        return device->id;
    case sectionRole:
        return false;
    default:
        return {};
    }
}

Qt::ItemFlags DeviceListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return Qt::NoItemFlags;
    // A header can be neither selected nor focused, so that the selection holds devices only.
    if (index.row() == accessPointsHeaderRow() || index.row() == camerasHeaderRow())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

QList<RestartTarget> DeviceListModel::allTargets() const
{
    QList<RestartTarget> targets;
    targets.reserve(m_accessPoints.size() + m_cameras.size());
    for (const UnifiDevice &accessPoint : m_accessPoints)
        targets.append(RestartTarget{RestartTargetKind::accessPoint, accessPoint.mac, accessPoint.name});
    for (const ProtectCamera &camera : m_cameras)
        targets.append(RestartTarget{RestartTargetKind::camera, camera.id, camera.name});
    return targets;
}

std::optional<int> DeviceListModel::rowOf(const QString &id) const
{
    if (!m_rowsKnown) {
        m_rows.reserve(m_accessPoints.size() + m_cameras.size());
        for (qsizetype index = 0; index < m_accessPoints.size(); ++index)
            m_rows.insert(deviceKey(RestartTargetKind::accessPoint, m_accessPoints.at(index).mac),
                          static_cast<int>(1 + index));
        for (qsizetype index = 0; index < m_cameras.size(); ++index)
            m_rows.insert(deviceKey(RestartTargetKind::camera, m_cameras.at(index).id),
                          camerasHeaderRow() + 1 + static_cast<int>(index));
        m_rowsKnown = true;
    }
    const auto it = m_rows.constFind(id);
    if (it == m_rows.constEnd())
        return std::nullopt;
    return it.value();
}

} // namespace lanternfold
