// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/DeviceList.h"

namespace lanternfold {

DeviceList::DeviceList(QWidget *parent) : QListView(parent)
{
    // Every row as tall as the last: a site of thousands of devices is laid out without asking
    // each row for its size.
    setUniformItemSizes(true);
}

QModelIndex DeviceList::moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers)
{
    const QModelIndex target = QListView::moveCursor(cursorAction, modifiers);
    if (!target.isValid() || target.flags().testFlag(Qt::ItemIsEnabled))
        return target;
    // A header: on in the direction of travel, or back the other way at the list's end.
    const bool forward = cursorAction == MoveDown || cursorAction == MoveRight || cursorAction == MoveNext ||
                         cursorAction == MovePageDown || cursorAction == MoveHome;
    const int step = forward ? 1 : -1;
    int row = enabledRowFrom(target.row(), step);
    if (row < 0)
        row = enabledRowFrom(target.row(), -step);
    return row < 0 ? currentIndex() : model()->index(row, 0, rootIndex());
}

int DeviceList::enabledRowFrom(int row, int step) const
{
    const int rows = model() ? model()->rowCount(rootIndex()) : 0;
    for (; row >= 0 && row < rows; row += step) {
        if (model()->index(row, 0, rootIndex()).flags().testFlag(Qt::ItemIsEnabled))
            return row;
    }
    return -1;
}

} // namespace lanternfold
