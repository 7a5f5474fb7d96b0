// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/DeviceRowDelegate.h"

#include "Views/DeviceListModel.h"
#include "Views/TextStyle.h"

#include <QApplication>
#include <QPainter>

namespace lanternfold {

DeviceRowDelegate::DeviceRowDelegate(QObject *parent) : QStyledItemDelegate(parent) {}

QColor DeviceRowDelegate::onlineColour()
{
    return {0x34, 0xc7, 0x59};
}

QColor DeviceRowDelegate::offlineColour()
{
    return {0x8e, 0x8e, 0x93};
}

void DeviceRowDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    // The selection's background and the focus frame as the style draws them, without the text:
    // the two lines are laid out here.
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    background.icon = QIcon();
    const QWidget *widget = option.widget;
    const QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);
    if (index.data(DeviceListModel::sectionRole).toBool())
        return;

    const QRect area = option.rect.adjusted(horizontalPadding, verticalPadding, -horizontalPadding, -verticalPadding);
    const QFont nameFont = option.font;
    const QFont subtitleFont = styledFont(option.font, TextStyle::caption);
    const QFontMetrics nameMetrics(nameFont);
    const QFontMetrics subtitleMetrics(subtitleFont);
    const int blockHeight = nameMetrics.height() + lineSpacing + subtitleMetrics.height();
    const int top = area.top() + (area.height() - blockHeight) / 2;

    const bool selected = option.state.testFlag(QStyle::State_Selected);
    QPalette::ColorGroup group = QPalette::Disabled;
    if (option.state.testFlag(QStyle::State_Enabled))
        group = option.state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
    QPalette palette = option.palette;
    palette.setCurrentColorGroup(group);
    const QColor nameColour = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const qreal dotTop = area.top() + (area.height() - dotSize) / 2.0;
    const QRectF dot(area.left(), dotTop, dotSize, dotSize);
    if (selected) {
        // Green on the selection's blue is hard to tell from grey: a ring of the selection's text
        // colour sets the dot off.
        painter->setPen(Qt::NoPen);
        painter->setBrush(nameColour);
        painter->drawEllipse(dot.adjusted(-1.5, -1.5, 1.5, 1.5));
    }
    painter->setPen(Qt::NoPen);
    painter->setBrush(index.data(DeviceListModel::onlineRole).toBool() ? onlineColour() : offlineColour());
    painter->drawEllipse(dot);
    const QColor subtitleColour = selected ? nameColour : secondaryTextColor(palette, QPalette::Base, QPalette::Text);

    const int textLeft = area.left() + dotSize + dotGap;
    const int textWidth = std::max(0, area.right() - textLeft);
    painter->setFont(nameFont);
    painter->setPen(nameColour);
    const QRect nameRect(textLeft, top, textWidth, nameMetrics.height());
    painter->drawText(nameRect, Qt::AlignLeft | Qt::AlignVCenter,
                      nameMetrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, textWidth));
    painter->setFont(subtitleFont);
    painter->setPen(subtitleColour);
    const QRect subtitleRect(textLeft, nameRect.bottom() + 1 + lineSpacing, textWidth, subtitleMetrics.height());
    painter->drawText(
        subtitleRect, Qt::AlignLeft | Qt::AlignVCenter,
        subtitleMetrics.elidedText(index.data(DeviceListModel::subtitleRole).toString(), Qt::ElideRight, textWidth));
    painter->restore();
}

QSize DeviceRowDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    // The height of a device's two lines for every row, headers included: the list lays out rows
    // of one height, whichever row it measures.
    const QFontMetrics nameMetrics(option.font);
    const QFontMetrics subtitleMetrics(styledFont(option.font, TextStyle::caption));
    const int height = 2 * verticalPadding + nameMetrics.height() + lineSpacing + subtitleMetrics.height();
    if (index.data(DeviceListModel::sectionRole).toBool())
        return {QStyledItemDelegate::sizeHint(option, index).width(), height};
    const int textWidth =
        std::max(nameMetrics.horizontalAdvance(index.data(Qt::DisplayRole).toString()),
                 subtitleMetrics.horizontalAdvance(index.data(DeviceListModel::subtitleRole).toString()));
    return {2 * horizontalPadding + dotSize + dotGap + textWidth, height};
}

} // namespace lanternfold
