#pragma once

#include <QColor>
#include <QPalette>

class QWidget;

// The text sizes and colours of the schedule list and its editor, relative to the desktop's own
// font and palette so that a person's font size and theme still apply.
namespace lanternfold::schedulestyle {

/// A view's title: larger than body text.
void useTitle2(QWidget *widget);
/// A row's first line: body size, bold.
void useHeadline(QWidget *widget);
/// Second lines and notes: a little smaller than body text.
void useCaption(QWidget *widget);
/// The smallest print, still readable at the desktop's usual sizes.
void useCaption2(QWidget *widget);

/// Between text and background, with enough contrast left for small print on light and dark
/// themes alike.
/// share is how far from the background towards the text the colour lies.
[[nodiscard]] QColor secondaryTextColor(const QPalette &palette, QPalette::ColorRole text = QPalette::WindowText,
                                        QPalette::ColorRole background = QPalette::Window, float share = 0.68F);
/// Paints widget's text in color.
void useTextColor(QWidget *widget, const QColor &color);

} // namespace lanternfold::schedulestyle
