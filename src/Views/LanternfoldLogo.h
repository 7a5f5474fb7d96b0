// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

namespace lanternfold {

/// The program's square emblem at a given side length, drawn from vector shapes at every paint.
class LanternfoldLogo final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LanternfoldLogo)

public:
    explicit LanternfoldLogo(qreal size, QWidget *parent = nullptr);

    [[nodiscard]] qreal size() const { return m_size; }
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    qreal m_size;
};

} // namespace lanternfold
