#include "Views/TextRoles.h"

#include <QFontDatabase>
#include <QLabel>

namespace lanternfold {

namespace {

constexpr qreal captionScale = 0.9;

bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightnessF() < 0.5F;
}

} // namespace

QFont sectionHeaderFont(QFont base)
{
    base.setBold(true);
    return base;
}

QFont captionFont(const QFont &base)
{
    QFont font = base;
    if (base.pointSizeF() > 0)
        font.setPointSizeF(base.pointSizeF() * captionScale);
    else
        font.setPixelSize(qRound(base.pixelSize() * captionScale));
    return font;
}

QFont monospacedCaptionFont(const QFont &base)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const QFont caption = captionFont(base);
    if (caption.pointSizeF() > 0)
        font.setPointSizeF(caption.pointSizeF());
    else
        font.setPixelSize(caption.pixelSize());
    return font;
}

QColor secondaryTextColour(const QPalette &palette)
{
    const QColor text = palette.color(QPalette::WindowText);
    const QColor window = palette.color(QPalette::Window);
    constexpr float textShare = 0.65F;
    const auto mix = [](float a, float b) { return textShare * a + (1 - textShare) * b; };
    return QColor::fromRgbF(mix(text.redF(), window.redF()), mix(text.greenF(), window.greenF()),
                            mix(text.blueF(), window.blueF()));
}

QColor errorTextColour(const QPalette &palette)
{
    return isDark(palette) ? QColor(0xff, 0x7b, 0x63) : QColor(0xc0, 0x1c, 0x28);
}

void setTextColour(QLabel &label, const QColor &colour)
{
    QPalette palette = label.palette();
    palette.setColor(QPalette::WindowText, colour);
    label.setPalette(palette);
}

} // namespace lanternfold
