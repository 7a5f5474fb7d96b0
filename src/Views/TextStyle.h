// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

class QWidget;

namespace lanternfold {

/// The few text sizes the windows use, relative to the desktop's own font so that a person's
/// font-size setting still scales everything.
enum class TextStyle {
    title2,      ///< a view's title
    subheadline, ///< the line under a title
    callout,     ///< a message that needs reading, such as an error
    caption,     ///< notes, outcomes and second lines of rows
    caption2,    ///< the smallest print: third lines of rows
    headline,    ///< a section's or a row's name, body size (usually bold)
};

/// base resized to style, bold or not.
[[nodiscard]] QFont styledFont(QFont base, TextStyle style, bool bold = false);

/// The caption size in the system's fixed-pitch font, for lines whose columns matter.
[[nodiscard]] QFont monospacedCaptionFont(const QFont &base);
/// Sets widget's font to style, bold or not, from the application's current font.
void setTextStyle(QWidget *widget, TextStyle style, bool bold = false);

/// Secondary text: between the text and the background colour, yet with enough contrast to read
/// small print on either a light or a dark theme.
/// Given the roles of the background and the text it stands on (a window's by default).
/// share is how far from the background towards the text the colour lies.
[[nodiscard]] QColor secondaryTextColor(const QPalette &palette, QPalette::ColorRole background = QPalette::Window,
                                        QPalette::ColorRole text = QPalette::WindowText, qreal share = 0.66);

/// Red for failures, darker on light themes and lighter on dark ones so that it stays readable.
[[nodiscard]] QColor errorTextColor(const QPalette &palette);

/// Paints widget's text (window text, text and button text) in color.
void setTextColor(QWidget *widget, const QColor &color);

} // namespace lanternfold
