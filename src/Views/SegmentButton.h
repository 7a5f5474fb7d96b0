// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QAbstractButton>

namespace lanternfold {

/// One segment of a segmented choice: exclusive checkable buttons drawn side by side as one
/// rounded bar, the chosen segment filled with the accent colour. Put the segments in an exclusive
/// QButtonGroup: the bar is then one stop of the Tab key, like a group of radio buttons, and the
/// arrow keys move the choice.
class SegmentButton final : public QAbstractButton
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SegmentButton)

public:
    /// Where the segment sits in its bar: only the ends are rounded.
    enum class Position { first, middle, last, only };

    SegmentButton(const QString &text, Position position, QWidget *parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;

private:
    Position m_position;
};

} // namespace lanternfold
