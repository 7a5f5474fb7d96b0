#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

class QLabel;

namespace lanternfold {

// The few text roles of the settings forms, derived from the widget's own font and palette so that
// they follow the desktop's theme, dark or light.

/// A section's title: the base font, bold.
[[nodiscard]] QFont sectionHeaderFont(QFont base);
/// Explanations under a control: a size smaller than the base font.
[[nodiscard]] QFont captionFont(const QFont &base);
/// The caption size in the system's fixed-pitch font, for lines whose columns matter.
[[nodiscard]] QFont monospacedCaptionFont(const QFont &base);

/// Text of less weight: between the palette's text and its window colour, still well readable
/// (about 7:1 against the window in the usual light and dark palettes).
[[nodiscard]] QColor secondaryTextColour(const QPalette &palette);
/// A red that reads on the palette's window colour: deep on light windows, light on dark ones.
[[nodiscard]] QColor errorTextColour(const QPalette &palette);

/// Sets the colour label draws its text in.
void setTextColour(QLabel &label, const QColor &colour);

} // namespace lanternfold
