// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/WeekdayCell.h"

#include <QPainter>
#include <QStyleOptionFocusRect>
#include <QTextBoundaryFinder>

namespace lanternfold {

WeekdayCell::WeekdayCell(int weekday, const QString &symbol, QWidget *parent)
    : QAbstractButton(parent), m_weekday(weekday)
{
    setCheckable(true);
    setText(firstCharacter(symbol));
    setAccessibleName(symbol);
    setToolTip(symbol);
    setFocusPolicy(Qt::StrongFocus);
    setFixedSize(side, side);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize WeekdayCell::sizeHint() const
{
    return {side, side};
}

QString WeekdayCell::firstCharacter(const QString &symbol)
{
    if (symbol.isEmpty())
        return {};
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, symbol);
    const qsizetype end = graphemes.toNextBoundary();
    return symbol.left(end > 0 ? end : 1);
}

void WeekdayCell::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF tile = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    constexpr qreal radius = 6;

    QColor fill;
    QColor textColor;
    if (isChecked()) {
        fill = palette().color(QPalette::Highlight);
        textColor = Qt::white;
    } else {
        fill = QColor(Qt::gray);
        fill.setAlphaF(0.2F);
        textColor = palette().color(QPalette::WindowText);
    }
    if (!isEnabled()) {
        fill.setAlphaF(fill.alphaF() * 0.5F);
        textColor.setAlphaF(0.5F);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(tile, radius, radius);
    if (isDown()) {
        painter.setBrush(QColor(0, 0, 0, 40));
        painter.drawRoundedRect(tile, radius, radius);
    }

    if (hasFocus()) {
        // A ring in the accent colour, set off from a selected tile by a white inner line.
        QPen ring(palette().color(QPalette::Highlight), 2);
        painter.setBrush(Qt::NoBrush);
        if (isChecked()) {
            painter.setPen(QPen(Qt::white, 1.5));
            painter.drawRoundedRect(tile.adjusted(2.5, 2.5, -2.5, -2.5), radius - 2, radius - 2);
            ring.setColor(palette().color(QPalette::Highlight).darker(150));
        }
        painter.setPen(ring);
        painter.drawRoundedRect(tile.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    }

    QFont font = this->font();
    font.setBold(isChecked());
    painter.setFont(font);
    painter.setPen(textColor);
    painter.drawText(rect(), Qt::AlignCenter, text());
}

} // namespace lanternfold
