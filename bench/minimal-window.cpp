// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The baseline of the start, memory and idle figures: the least a Qt Widgets program does to show
// one window, keep running with it closed, and wake every 20 seconds as the scheduler does.
#include <QApplication>
#include <QTimer>
#include <QWidget>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QWidget window;
    window.resize(620, 560);
    window.show();
    QTimer timer;
    timer.setInterval(20000);
    QObject::connect(&timer, &QTimer::timeout, &app, [] {});
    timer.start();
    return QApplication::exec();
}
