// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// WCAG's measures of how well one colour reads on another.
#include <QColor>

#include <algorithm>
#include <cmath>

namespace lanternfold::test {

/// WCAG's relative luminance of an opaque colour.
inline qreal luminance(QRgb colour)
{
    const auto channel = [](int value) {
        const qreal c = value / 255.0;
        return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(qRed(colour)) + 0.7152 * channel(qGreen(colour)) + 0.0722 * channel(qBlue(colour));
}

/// WCAG's contrast ratio of two opaque colours, 1 to 21.
inline qreal contrast(QRgb a, QRgb b)
{
    const qreal la = luminance(a);
    const qreal lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

inline qreal contrast(const QColor &a, const QColor &b)
{
    return contrast(a.rgb(), b.rgb());
}

} // namespace lanternfold::test
