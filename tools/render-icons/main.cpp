// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Writes the program's icon into a hicolor icon-theme tree, one PNG per size, the scalable SVG and
// the tray's symbolic SVG:
//   lanternfold-render-icons <folder>  ->  <folder>/hicolor/<n>x<n>/apps/lanternfold.png
//                                          <folder>/hicolor/scalable/apps/lanternfold.svg
//                                          <folder>/hicolor/symbolic/apps/lanternfold-symbolic.svg
// Run at build time, so the installed icons are always the emblem the program itself draws.
#include "Views/AppIcons.h"
#include "Views/IconFiles.h"
#include "Views/LogoDrawing.h"

#include <QDir>
#include <QFile>
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
    const auto writeSvg = [&root, &err](const QString &folder, const QString &name, const QByteArray &document) {
        const QString path = root.filePath(folder + u'/' + name);
        QFile file(path);
        if (!root.mkpath(folder) || !file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(document) != document.size() || !file.flush()) {
            err << "cannot write " << path << "\n";
            return false;
        }
        return true;
    };
    if (!writeSvg(u"hicolor/scalable/apps"_s, u"lanternfold.svg"_s, lanternfold::lanternfoldSvg()) ||
        !writeSvg(u"hicolor/symbolic/apps"_s, u"lanternfold-symbolic.svg"_s, lanternfold::lanternfoldSymbolicSvg()))
        return 1;
    return 0;
}
