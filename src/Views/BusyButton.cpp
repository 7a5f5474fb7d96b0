// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/BusyButton.h"

#include <QHBoxLayout>
#include <QProgressBar>

namespace lanternfold {

BusyButton::BusyButton(const QString &label, const QIcon &icon, QWidget *parent)
    : QPushButton(icon, label, parent), m_label(label), m_icon(icon), m_indicator(new QProgressBar(this))
{
    // An indeterminate bar: the work has no measurable progress, only a beginning and an end.
    m_indicator->setRange(0, 0);
    m_indicator->setTextVisible(false);
    m_indicator->setFixedSize(64, 6);
    m_indicator->setFocusPolicy(Qt::NoFocus);
    m_indicator->hide();
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_indicator, 0, Qt::AlignCenter);
}

void BusyButton::setBusy(bool busy)
{
    if (busy == m_busy)
        return;
    if (busy) {
        m_idleSizeHint = QPushButton::sizeHint();
        m_idleMinimumSizeHint = QPushButton::minimumSizeHint();
    }
    m_busy = busy;
    // The name stays the label: the bar replaces it only for the eye.
    setAccessibleName(busy ? m_label : QString());
    setText(busy ? QString() : m_label);
    setIcon(busy ? QIcon() : m_icon);
    m_indicator->setVisible(busy);
    updateGeometry();
}

QSize BusyButton::sizeHint() const
{
    return m_busy ? m_idleSizeHint : QPushButton::sizeHint();
}

QSize BusyButton::minimumSizeHint() const
{
    return m_busy ? m_idleMinimumSizeHint : QPushButton::minimumSizeHint();
}

} // namespace lanternfold
