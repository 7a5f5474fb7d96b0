// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/TextStyle.h"

#include <QApplication>
#include <QFontDatabase>
#include <QWidget>

#include <algorithm>

namespace lanternfold {

namespace {

/// How much larger or smaller than the body text each style is. Desktop body fonts are smaller
/// than the 13 points the proportions come from, so the small styles shrink less than they would
/// there and never below a size that still reads well.
qreal scaleOf(TextStyle style)
{
    switch (style) {
    case TextStyle::title2:
        return 1.45;
    case TextStyle::subheadline:
    case TextStyle::callout:
        return 0.95;
    case TextStyle::caption:
        return 0.88;
    case TextStyle::caption2:
        return 0.82;
    case TextStyle::headline:
        return 1.0;
    }
    return 1.0;
}

constexpr qreal smallestPointSize = 8.0;

bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightnessF() < 0.5;
}

QColor blend(const QColor &from, const QColor &to, qreal amount)
{
    const auto mix = [amount](float a, float b) { return static_cast<float>(a + (b - a) * amount); };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()));
}

} // namespace

QFont styledFont(QFont base, TextStyle style, bool bold)
{
    if (base.pointSizeF() > 0)
        base.setPointSizeF(std::max(smallestPointSize, base.pointSizeF() * scaleOf(style)));
    else
        base.setPixelSize(std::max(10, qRound(base.pixelSize() * scaleOf(style))));
    base.setBold(bold);
    return base;
}

void setTextStyle(QWidget *widget, TextStyle style, bool bold)
{
    widget->setFont(styledFont(QApplication::font(widget), style, bold));
}

QColor secondaryTextColor(const QPalette &palette, QPalette::ColorRole background, QPalette::ColorRole text,
                          qreal share)
{
    // By default two thirds of the way from the background to the text: clearly quieter than the
    // text, and about 6:1 against the background on the usual light and dark themes.
    return blend(palette.color(background), palette.color(text), share);
}

QFont monospacedCaptionFont(const QFont &base)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const QFont caption = styledFont(base, TextStyle::caption);
    if (caption.pointSizeF() > 0)
        font.setPointSizeF(caption.pointSizeF());
    else
        font.setPixelSize(caption.pixelSize());
    return font;
}

QColor errorTextColor(const QPalette &palette)
{
    return isDark(palette) ? QColor(0xff, 0x8a, 0x80) : QColor(0xb3, 0x26, 0x1e);
}

void setTextColor(QWidget *widget, const QColor &color)
{
    QPalette palette = widget->palette();
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Active, role, color);
        palette.setColor(QPalette::Inactive, role, color);
    }
    widget->setPalette(palette);
}

} // namespace lanternfold
