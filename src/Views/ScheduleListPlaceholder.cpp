// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/ScheduleListPlaceholder.h"

#include "Views/Symbols.h"
#include "Views/TextStyle.h"

#include <QLabel>
#include <QVBoxLayout>

namespace lanternfold {

namespace {

constexpr int pictureSide = 48;

} // namespace

ScheduleListPlaceholder::ScheduleListPlaceholder(QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 24, 32, 24);
    layout->setSpacing(8);
    layout->addStretch(1);

    m_picture = new QLabel(this);
    m_picture->setPixmap(symbolIcon(Symbol::clockBadge).pixmap(pictureSide, pictureSide));
    m_picture->setAlignment(Qt::AlignCenter);
    // Decoration: the title says it all.
    m_picture->setAccessibleName(tr("No Scheduled Restarts"));
    layout->addWidget(m_picture);

    m_title = new QLabel(tr("No Scheduled Restarts"), this);
    setTextStyle(m_title, TextStyle::title2);
    QFont bold = m_title->font();
    bold.setBold(true);
    m_title->setFont(bold);
    m_title->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_title);

    m_description = new QLabel(tr("Create a schedule to power-cycle access points or cameras automatically."), this);
    m_description->setAlignment(Qt::AlignCenter);
    m_description->setWordWrap(true);
    setTextColor(m_description, secondaryTextColor(m_description->palette()));
    layout->addWidget(m_description);
    layout->addStretch(1);
}

} // namespace lanternfold
