// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLabel>

namespace lanternfold {

/// One line of a job row: plain text that ends in "…" when the row is too narrow for it, so that a
/// long name never widens the list. Screen readers still read the whole text.
class JobRowLabel final : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(JobRowLabel)

public:
    explicit JobRowLabel(QWidget *parent = nullptr);

    [[nodiscard]] QSize minimumSizeHint() const override;
    /// The text as it is drawn at the current width.
    [[nodiscard]] QString shownText() const;

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace lanternfold
