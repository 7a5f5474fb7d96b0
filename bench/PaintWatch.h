// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// What the benchmarks that time the program's own window share: an application that says when
// the device list has painted all of the state's rows.

#include "State/AppState.h"
#include "Views/DeviceList.h"

#include <QApplication>
#include <QEvent>

namespace lanternfold::bench {

/// Emits shown() each time the device list's viewport paints with every row of the state's
/// devices, and with access points and cameras among them unless told they may be missing (a
/// site may have none).
class PaintWatch final : public QApplication
{
    Q_OBJECT

public:
    using QApplication::QApplication;

    AppState *state = nullptr;
    QWidget *window = nullptr;
    bool needAccessPoints = true;
    bool needCameras = true;

    bool notify(QObject *receiver, QEvent *event) override
    {
        const bool paint = event->type() == QEvent::Paint;
        const bool result = QApplication::notify(receiver, event);
        if (paint && state && window && (!needAccessPoints || !state->accessPoints().isEmpty()) &&
            (!needCameras || !state->cameras().isEmpty())) {
            auto *list = window->findChild<DeviceList *>();
            if (list && receiver == list->viewport() && list->model() != nullptr &&
                list->model()->rowCount() == 2 + state->accessPoints().size() + state->cameras().size())
                Q_EMIT shown();
        }
        return result;
    }

Q_SIGNALS:
    void shown();
};

} // namespace lanternfold::bench
