// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/MemoryRelease.h"

#include "Models/FastJson.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

#include <malloc.h>

namespace lanternfold {

namespace {

// Late enough that the finished replies, deleted from the event loop, have let go of their
// buffers; one release for a burst of refreshes.
constexpr int releaseDelayMs = 2000;

} // namespace

void releaseFreedMemorySoon()
{
    auto *application = QCoreApplication::instance();
    if (!application)
        return;
    // One timer for the process, as the heap is one; the application owns it.
    static QPointer<QTimer> timer;
    if (!timer) {
        timer = new QTimer(application);
        timer->setSingleShot(true);
        timer->setInterval(releaseDelayMs);
        QObject::connect(timer, &QTimer::timeout, application, [] {
            // The parser's buffers first: for a large site they are the biggest part, and kept
            // for the next answer they would stay while the program idles between refreshes.
            json::releaseParserMemory();
            // The decoding thread's too; then the heap goes back, which takes tens of milliseconds
            // for a large site that the window need not wait for (the C library's locks make it
            // safe from any thread).
            json::decodingThread().start([] {
                json::releaseParserMemory();
                malloc_trim(0);
            });
        });
    }
    timer->start();
}

} // namespace lanternfold
