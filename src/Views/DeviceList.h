// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QListView>

namespace lanternfold {

/// The device list's view: rows of one height, and section headers (rows that are not enabled)
/// passed over by the keyboard, so that Home, End and the page keys reach a device even when a
/// header stands first, last or where a page ends.
class DeviceList final : public QListView
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DeviceList)

public:
    explicit DeviceList(QWidget *parent = nullptr);
    ~DeviceList() override = default;

protected:
    QModelIndex moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers) override;

private:
    /// The nearest enabled row from row on, stepping by step; -1 when there is none.
    [[nodiscard]] int enabledRowFrom(int row, int step) const;
};

} // namespace lanternfold
