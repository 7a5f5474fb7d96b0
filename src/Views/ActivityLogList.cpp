// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/ActivityLogList.h"

#include "Views/TextStyle.h"

#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>

namespace lanternfold {

ActivityLogList::ActivityLogList(QWidget *parent)
    : QScrollArea(parent), m_content(new QWidget(this)), m_column(new QVBoxLayout(m_content))
{
    m_column->setSpacing(4);
    m_column->setContentsMargins(6, 6, 6, 6);
    // Lines gather at the top; the rest of the area stays empty.
    m_column->addStretch(1);
    setWidget(m_content);
    setWidgetResizable(true);
    // The column's own background shows as part of the scroll area's frame, as in a text view.
    m_content->setBackgroundRole(QPalette::Base);
    setBackgroundRole(QPalette::Base);
}

void ActivityLogList::setLines(const QStringList &lines)
{
    // Labels are reused: the log changes by a line at a time and holds up to two hundred.
    while (m_labels.size() > lines.size())
        delete m_labels.takeLast();
    const QFont font = monospacedCaptionFont(this->font());
    while (m_labels.size() < lines.size()) {
        auto *label = new QLabel(m_content);
        label->setFont(font);
        label->setTextFormat(Qt::PlainText);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_column->insertWidget(static_cast<int>(m_labels.size()), label);
        // Now rather than when the layout gets round to it: the list may already be on screen.
        label->show();
        m_labels.append(label);
    }
    for (qsizetype i = 0; i < lines.size(); ++i)
        m_labels.at(i)->setText(lines.at(i));
}

QStringList ActivityLogList::lines() const
{
    QStringList texts;
    texts.reserve(m_labels.size());
    for (const QLabel *label : m_labels)
        texts.append(label->text());
    return texts;
}

void ActivityLogList::changeEvent(QEvent *event)
{
    QScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        applyFont();
}

void ActivityLogList::applyFont()
{
    const QFont font = monospacedCaptionFont(this->font());
    for (QLabel *label : std::as_const(m_labels))
        label->setFont(font);
}

} // namespace lanternfold
