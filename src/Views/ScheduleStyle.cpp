#include "Views/ScheduleStyle.h"

#include <QApplication>
#include <QWidget>

#include <cmath>

namespace lanternfold::schedulestyle {

namespace {

void useScaledFont(QWidget *widget, qreal scale, bool bold)
{
    QFont font = QApplication::font(widget);
    if (font.pointSizeF() > 0)
        font.setPointSizeF(std::max(7.0, std::round(font.pointSizeF() * scale * 2) / 2));
    else if (font.pixelSize() > 0)
        font.setPixelSize(std::max(9, static_cast<int>(std::lround(font.pixelSize() * scale))));
    font.setBold(bold);
    widget->setFont(font);
}

} // namespace

void useTitle2(QWidget *widget)
{
    useScaledFont(widget, 1.4, false);
}

void useHeadline(QWidget *widget)
{
    useScaledFont(widget, 1.0, true);
}

void useCaption(QWidget *widget)
{
    useScaledFont(widget, 0.9, false);
}

void useCaption2(QWidget *widget)
{
    useScaledFont(widget, 0.85, false);
}

QColor secondaryTextColor(const QPalette &palette, QPalette::ColorRole text, QPalette::ColorRole background,
                          float share)
{
    // By default two thirds of the way from the background to the text colour: about 5:1 on white.
    const QColor fore = palette.color(text);
    const QColor back = palette.color(background);
    return QColor::fromRgbF(back.redF() + (fore.redF() - back.redF()) * share,
                            back.greenF() + (fore.greenF() - back.greenF()) * share,
                            back.blueF() + (fore.blueF() - back.blueF()) * share);
}

void useTextColor(QWidget *widget, const QColor &color)
{
    QPalette palette = widget->palette();
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, color);
    widget->setPalette(palette);
}

} // namespace lanternfold::schedulestyle
