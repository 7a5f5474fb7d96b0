// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QPainterPath>
#include <QRectF>

namespace lanternfold {

// The two custom outlines of the emblem. Each is computed afresh from the rectangle it is given,
// so the emblem scales to any size and nothing is cached.
//
// Angles below are those of a y-down system (270 degrees is straight up), turning clockwise on
// screen as they grow; QPainterPath::arcTo counts counter-clockwise on screen, so the code negates
// both the start angle and the sweep.

/// Three arcs of 120 degrees bowing upwards around the bottom centre of rect, from 210 to 330
/// degrees, radii 0.32, 0.55 and 0.78 of the width. The arcs follow one another in one subpath,
/// so a straight segment joins the end of each to the start of the next. Only the width sets the
/// radii: in a rectangle wider than tall the arcs reach above it.
[[nodiscard]] QPainterPath SignalArcs(const QRectF &rect);

/// A clockwise circular arrow: an arc around the centre of rect with the radius of half the smaller
/// side, from -40 to 220 degrees (open at the top), and an arrow head at its end whose two arms
/// scale with the width and the height separately.
[[nodiscard]] QPainterPath RestartGlyph(const QRectF &rect);

} // namespace lanternfold
