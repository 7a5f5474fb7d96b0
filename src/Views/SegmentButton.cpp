// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/SegmentButton.h"

#include <QButtonGroup>
#include <QFocusEvent>
#include <QPainter>
#include <QPainterPath>

namespace lanternfold {

namespace {

constexpr qreal radius = 6;
constexpr int horizontalPadding = 14;
constexpr int verticalPadding = 6;

} // namespace

SegmentButton::SegmentButton(const QString &text, Position position, QWidget *parent)
    : QAbstractButton(parent), m_position(position)
{
    setText(text);
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize SegmentButton::sizeHint() const
{
    const QFontMetrics metrics(font());
    return {metrics.horizontalAdvance(text()) + 2 * horizontalPadding,
            std::max(26, metrics.height() + 2 * verticalPadding)};
}

QSize SegmentButton::minimumSizeHint() const
{
    return sizeHint();
}

void SegmentButton::focusInEvent(QFocusEvent *event)
{
    // Qt lets Tab into an exclusive group at whichever button comes first and out of it past the
    // others; arriving at the chosen segment instead tells the person where the choice stands.
    const bool tabbed = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    QAbstractButton *chosen = group() ? group()->checkedButton() : nullptr;
    if (tabbed && chosen && chosen != this && chosen->isEnabled()) {
        chosen->setFocus(event->reason());
        return;
    }
    QAbstractButton::focusInEvent(event);
}

void SegmentButton::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);

    // The bar's rounded outline, cut to this segment: inner edges run on past the widget so that
    // only the ends of the bar are rounded.
    const bool roundLeft = m_position == Position::first || m_position == Position::only;
    const bool roundRight = m_position == Position::last || m_position == Position::only;
    const QRectF own = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const QRectF outline = own.adjusted(roundLeft ? 0 : -2 * radius, 0, roundRight ? 0 : 2 * radius, 0);
    painter.setClipRect(rect());

    const QPalette &colours = palette();
    const QColor border = colours.color(QPalette::Mid);
    QColor fill = isChecked() ? colours.color(QPalette::Highlight) : colours.color(QPalette::Button);
    if (isDown())
        fill = fill.darker(112);
    painter.setPen(QPen(isChecked() ? fill.darker(115) : border, 1));
    painter.setBrush(fill);
    painter.drawRoundedRect(outline, radius, radius);
    if (!roundLeft) {
        // The divider shared with the segment before.
        painter.setPen(QPen(border, 1));
        painter.drawLine(own.topLeft(), own.bottomLeft());
    }

    if (hasFocus()) {
        QPainterPath ring;
        ring.addRoundedRect(outline.adjusted(2, 2, -2, -2), radius - 2, radius - 2);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(
            QPen(isChecked() ? colours.color(QPalette::HighlightedText) : colours.color(QPalette::Highlight), 1.5));
        painter.setClipRect(QRectF(rect()).adjusted(roundLeft ? 0 : 2, 0, roundRight ? 0 : -2, 0));
        painter.drawPath(ring);
    }

    QColor textColor = isChecked() ? colours.color(QPalette::HighlightedText) : colours.color(QPalette::ButtonText);
    if (!isEnabled())
        textColor.setAlphaF(0.5F);
    painter.setClipping(false);
    painter.setPen(textColor);
    painter.setFont(font());
    painter.drawText(rect(), Qt::AlignCenter, text());
}

} // namespace lanternfold
