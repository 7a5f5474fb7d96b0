// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

namespace lanternfold {

/// Gives the heap that large controller answers leave behind back to the system, a moment after
/// the last call: the C library keeps freed memory for reuse, and a program that then idles in the
/// tray for hours would hold megabytes it no longer needs (a site of hundreds of devices answers
/// with several). Main thread only; nothing happens without an application object.
void releaseFreedMemorySoon();

} // namespace lanternfold
