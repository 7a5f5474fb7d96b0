// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// Comparing rendered pictures with committed reference images, with a small tolerance for the
// anti-aliasing differences between compilers and optimisation levels.

#include <QImage>
#include <QString>

#include <algorithm>
#include <cstdlib>

namespace lanternfold::test {

struct ImageDifference
{
    bool sameSize = false;
    qsizetype pixels = 0;
    /// The largest difference of one channel (alpha included) anywhere, 0 to 255.
    int largest = 0;
    /// How many pixels differ by more than the slack in some channel.
    qsizetype differing = 0;
};

/// Compares two pictures channel by channel, premultiplied, so that every fully transparent pixel
/// counts as the same whatever colour it nominally has.
inline ImageDifference compareImages(const QImage &actual, const QImage &expected, int slack = 2)
{
    ImageDifference difference;
    if (actual.size() != expected.size())
        return difference;
    difference.sameSize = true;
    difference.pixels = qsizetype(actual.width()) * actual.height();
    const QImage a = actual.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage b = expected.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb pa = a.pixel(x, y);
            const QRgb pb = b.pixel(x, y);
            const int worst = std::max({std::abs(qRed(pa) - qRed(pb)), std::abs(qGreen(pa) - qGreen(pb)),
                                        std::abs(qBlue(pa) - qBlue(pb)), std::abs(qAlpha(pa) - qAlpha(pb))});
            difference.largest = std::max(difference.largest, worst);
            if (worst > slack)
                ++difference.differing;
        }
    }
    return difference;
}

/// Close enough to count as the same picture: no pixel off by more than a sixteenth of the range,
/// and at most one pixel in two hundred off by more than the slack.
inline bool looksTheSame(const ImageDifference &difference)
{
    return difference.sameSize && difference.largest <= 16 && difference.differing * 200 <= difference.pixels;
}

/// Set LANTERNFOLD_UPDATE_REFERENCE_IMAGES=1 to write the rendered pictures over the committed
/// references instead of comparing (then look at them and commit them).
inline bool updatingReferenceImages()
{
    return qEnvironmentVariableIntValue("LANTERNFOLD_UPDATE_REFERENCE_IMAGES") == 1;
}

} // namespace lanternfold::test
