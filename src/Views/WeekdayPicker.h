// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QStringList>
#include <QWidget>

#include <set>

namespace lanternfold {

class WeekdayCell;

/// Seven tiles, Sunday first, that choose the weekdays of a weekly schedule. Weekdays are the
/// schedules' numbers: 1 = Sunday ... 7 = Saturday.
class WeekdayPicker final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(WeekdayPicker)

public:
    /// symbols: the locale's short weekday names, Sunday first (weekday n at index n - 1).
    explicit WeekdayPicker(QStringList symbols, QWidget *parent = nullptr);

    [[nodiscard]] const std::set<qint64> &selection() const { return m_selection; }
    /// Shows selection without announcing it.
    void setSelection(std::set<qint64> selection);
    [[nodiscard]] const QStringList &symbols() const { return m_symbols; }
    /// The tile of weekday (1 to 7).
    [[nodiscard]] WeekdayCell *cell(int weekday) const;

Q_SIGNALS:
    /// A tile was switched by the person.
    void selectionChanged();

private:
    void toggle(int weekday);

    QStringList m_symbols;
    std::set<qint64> m_selection;
    QList<WeekdayCell *> m_cells;
};

} // namespace lanternfold
