// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/WeekdayPicker.h"

#include "Views/WeekdayCell.h"

#include <QHBoxLayout>
#include <QSignalBlocker>

namespace lanternfold {

WeekdayPicker::WeekdayPicker(QStringList symbols, QWidget *parent) : QWidget(parent), m_symbols(std::move(symbols))
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    for (int weekday = 1; weekday <= 7; ++weekday) {
        // A locale without names still gets seven tiles, shown by number.
        const QString symbol = weekday - 1 < m_symbols.size() ? m_symbols.at(weekday - 1) : QString::number(weekday);
        auto *cell = new WeekdayCell(weekday, symbol, this);
        // toggled, not clicked: assistive technologies switch a button without clicking it.
        connect(cell, &WeekdayCell::toggled, this, [this, weekday] { toggle(weekday); });
        row->addWidget(cell);
        m_cells.append(cell);
    }
    row->addStretch(1);
}

void WeekdayPicker::setSelection(std::set<qint64> selection)
{
    m_selection = std::move(selection);
    for (WeekdayCell *cell : std::as_const(m_cells)) {
        const QSignalBlocker blocker(cell);
        cell->setChecked(m_selection.contains(cell->weekday()));
        cell->update();
    }
}

WeekdayCell *WeekdayPicker::cell(int weekday) const
{
    return weekday >= 1 && weekday <= m_cells.size() ? m_cells.at(weekday - 1) : nullptr;
}

void WeekdayPicker::toggle(int weekday)
{
    if (m_selection.contains(weekday))
        m_selection.erase(weekday);
    else
        m_selection.insert(weekday);
    Q_EMIT selectionChanged();
}

} // namespace lanternfold
