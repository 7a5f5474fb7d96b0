// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QAbstractButton>

namespace lanternfold {

/// One day of the weekday picker: a 28 × 28 tile with the first letter of the day's name, filled
/// with the accent colour and white text when on, with a faint grey when off.
class WeekdayCell final : public QAbstractButton
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(WeekdayCell)

public:
    static constexpr int side = 28;

    /// symbol is the locale's short name of the day ("Sun"); the tile shows its first letter
    /// and screen readers and the tooltip read the whole of it.
    WeekdayCell(int weekday, const QString &symbol, QWidget *parent = nullptr);

    [[nodiscard]] int weekday() const { return m_weekday; }
    [[nodiscard]] QSize sizeHint() const override;

    /// The first letter as a reader sees it (a whole grapheme, not half of a surrogate pair).
    [[nodiscard]] static QString firstCharacter(const QString &symbol);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_weekday;
};

} // namespace lanternfold
