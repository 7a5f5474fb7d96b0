// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/JobRowLabel.h"

#include <QPainter>
#include <QStyle>

namespace lanternfold {

JobRowLabel::JobRowLabel(QWidget *parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setWordWrap(false);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

QSize JobRowLabel::minimumSizeHint() const
{
    return {fontMetrics().horizontalAdvance(QStringLiteral("M\u2026")), QLabel::minimumSizeHint().height()};
}

QString JobRowLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width());
}

void JobRowLabel::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment()), palette(), isEnabled(), shownText(),
                          foregroundRole());
}

} // namespace lanternfold
