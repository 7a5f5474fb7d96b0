#include "Views/LanternfoldLogo.h"

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
    // Drawn for now as a plain tile of the emblem's colour.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgbF(0.035F, 0.098F, 0.157F));
    painter.drawRoundedRect(QRectF(0, 0, m_size, m_size), 0.22 * m_size, 0.22 * m_size);
}

} // namespace lanternfold
