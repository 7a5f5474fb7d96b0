// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/LanternfoldLogo.h"

#include "Views/LogoDrawing.h"

#include <QPainter>

#include <cmath>

namespace lanternfold {

LanternfoldLogo::LanternfoldLogo(qreal size, QWidget *parent) : QWidget(parent), m_size(size)
{
    setFixedSize(sizeHint());
}

QSize LanternfoldLogo::sizeHint() const
{
    const int side = static_cast<int>(std::ceil(m_size));
    return {side, side};
}

void LanternfoldLogo::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    paintLanternfoldLogo(painter, m_size);
}

} // namespace lanternfold
