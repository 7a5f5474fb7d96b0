// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Writes the program's icon into a hicolor icon-theme tree, one PNG per size:
//   lanternfold-render-icons <folder>  ->  <folder>/hicolor/<n>x<n>/apps/lanternfold.png
// Run at build time, so the installed icons are always the emblem the program itself draws.
#include "Views/AppIcons.h"
#include "Views/LogoDrawing.h"

#include <QDir>
#include <QImage>
#include <QTextStream>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    // Painting into images needs no application object, and so no display: the build machine
    // has none.
    QTextStream err(stderr);
    if (argc != 2) {
        err << "usage: lanternfold-render-icons <folder>\n";
        return 2;
    }
    const QDir root(QString::fromLocal8Bit(argv[1]));
    for (const int pixels : lanternfold::lanternfoldIconSizes()) {
        const QString folder = u"hicolor/%1x%1/apps"_s.arg(pixels);
        const QString path = root.filePath(folder + u"/lanternfold.png"_s);
        if (!root.mkpath(folder) || !lanternfold::renderLanternfoldLogo(pixels).save(path, "PNG")) {
            err << "cannot write " << path << "\n";
            return 1;
        }
    }
    return 0;
}
