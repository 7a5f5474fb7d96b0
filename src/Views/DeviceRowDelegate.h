// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QStyledItemDelegate>

namespace lanternfold {

/// Draws a device row of the device list (DeviceListModel's rows): a status dot, the name, and
/// beneath it the subtitle in small secondary text. Section headers are left to the labels placed
/// over them. Every row, header or device, is as tall as a device's two lines.
class DeviceRowDelegate final : public QStyledItemDelegate
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DeviceRowDelegate)

public:
    static constexpr int dotSize = 8;
    static constexpr int horizontalPadding = 12;
    static constexpr int verticalPadding = 7;
    /// Between the dot and the texts.
    static constexpr int dotGap = 10;
    /// Between the name and the subtitle.
    static constexpr int lineSpacing = 2;

    explicit DeviceRowDelegate(QObject *parent = nullptr);
    ~DeviceRowDelegate() override = default;

    [[nodiscard]] static QColor onlineColour();
    [[nodiscard]] static QColor offlineColour();

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};

} // namespace lanternfold
