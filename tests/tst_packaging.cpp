// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What the desktop gets: the icons the build renders into the hicolor tree, the .desktop file as
// desktop-file-validate reads it, the AppStream metainfo as appstreamcli reads it, and all of them
// installed into a DESTDIR by `cmake --install`. scripts/package-test.sh checks the package itself.
#include "ImageComparison.h"
#include "Views/AppIcons.h"
#include "Views/LogoDrawing.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

QString desktopFilePath()
{
    return QStringLiteral(LANTERNFOLD_SOURCE_DIR) + u"/packaging/lanternfold.desktop"_s;
}

QString metainfoPath()
{
    return QStringLiteral(LANTERNFOLD_METAINFO);
}

QString iconPath(const QString &root, int pixels)
{
    return root + u"/hicolor/%1x%1/apps/lanternfold.png"_s.arg(pixels);
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Run
{
    int exitCode = -1;
    QString output;
};

Run run(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForStarted(30000) || !process.waitForFinished(120000) ||
        process.exitStatus() != QProcess::NormalExit)
        return {-1, program + u" did not run: "_s + process.errorString()};
    return {process.exitCode(), QString::fromUtf8(process.readAll())};
}

} // namespace

class TestPackaging final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void iconsRenderedAtEverySize();
    void desktopFileValidates();
    void desktopFileNamesTheProgram();
    void metainfoValidates();
    void metainfoNamesTheDesktopFileAndPrograms();
    void installsIntoADestdir();
};

void TestPackaging::iconsRenderedAtEverySize()
{
    const QString root = QStringLiteral(LANTERNFOLD_ICON_ROOT);
    for (const int pixels : lanternfoldIconSizes()) {
        const QString path = iconPath(root, pixels);
        const QImage icon(path);
        QVERIFY2(!icon.isNull(), qPrintable(path));
        QCOMPARE(icon.size(), QSize(pixels, pixels));
        QVERIFY(icon.hasAlphaChannel());
        QVERIFY2(looksTheSame(compareImages(icon, renderLanternfoldLogo(pixels))), qPrintable(path));
    }
}

void TestPackaging::desktopFileValidates()
{
    const QString validator = QStandardPaths::findExecutable(u"desktop-file-validate"_s);
    if (validator.isEmpty())
        qFatal("desktop-file-validate is missing: scripts/install-deps.sh installs desktop-file-utils");
    const Run validation = run(validator, {desktopFilePath()}, QProcessEnvironment::systemEnvironment());
    QVERIFY2(validation.exitCode == 0, qPrintable(validation.output));
    // Hints may stay (two main categories are asked for), errors and warnings may not.
    QVERIFY2(!validation.output.contains(u"error:"_s), qPrintable(validation.output));
    QVERIFY2(!validation.output.contains(u"warning:"_s), qPrintable(validation.output));
}

void TestPackaging::desktopFileNamesTheProgram()
{
    const QStringList lines = QString::fromUtf8(readAll(desktopFilePath())).split(u'\n');
    QCOMPARE(lines.value(0), u"[Desktop Entry]"_s);
    for (const QString &expected : {u"Type=Application"_s, u"Name=Lanternfold"_s, u"Exec=lanternfold"_s,
                                    u"Icon=lanternfold"_s, u"Categories=Network;Utility;"_s, u"Terminal=false"_s})
        QVERIFY2(lines.contains(expected), qPrintable(expected));
}

void TestPackaging::metainfoValidates()
{
    const QString validator = QStandardPaths::findExecutable(u"appstreamcli"_s);
    if (validator.isEmpty())
        qFatal("appstreamcli is missing: scripts/install-deps.sh installs appstream");
    const Run validation = run(validator, {u"validate"_s, u"--no-net"_s, u"--no-color"_s, metainfoPath()},
                               QProcessEnvironment::systemEnvironment());
    QVERIFY2(validation.exitCode == 0, qPrintable(validation.output));
    // Pedantic notes may stay (the identifier has capitals, as reverse-domain names often do);
    // errors, warnings and hints may not.
    for (const QString &line : validation.output.split(u'\n')) {
        const QString issue = line.trimmed();
        QVERIFY2(!issue.startsWith(u"E:"_s) && !issue.startsWith(u"W:"_s) && !issue.startsWith(u"I:"_s),
                 qPrintable(validation.output));
    }
}

void TestPackaging::metainfoNamesTheDesktopFileAndPrograms()
{
    // The launcher entry keeps its short name: the notifications' desktop-entry hint and the
    // autostart entry use it too. The metainfo points software centres at it.
    const QString metainfo = QString::fromUtf8(readAll(metainfoPath()));
    QVERIFY(metainfoPath().endsWith(u"/com.lanternfold.Lanternfold.metainfo.xml"_s));
    for (const QString &expected :
         {u"<id>com.lanternfold.Lanternfold</id>"_s,
          u"<launchable type=\"desktop-id\">lanternfold.desktop</launchable>"_s, u"<binary>lanternfold</binary>"_s,
          u"<binary>lanternfold-sim</binary>"_s, u"<developer_name>Lanternfold developers</developer_name>"_s,
          u"<release version=\"%1\""_s.arg(QStringLiteral(LANTERNFOLD_VERSION))})
        QVERIFY2(metainfo.contains(expected), qPrintable(expected));
    // Every screenshot is a web address, and every one names a picture that the repository has.
    qsizetype from = 0;
    int screenshots = 0;
    while ((from = metainfo.indexOf(u"<image>"_s, from)) >= 0) {
        from += 7;
        const QString url = metainfo.mid(from, metainfo.indexOf(u"</image>"_s, from) - from);
        QVERIFY2(url.startsWith(u"https://"_s), qPrintable(url));
        const QString picture = url.section(u'/', -1);
        QVERIFY2(QFile::exists(QStringLiteral(LANTERNFOLD_SOURCE_DIR) + u"/docs/screenshots/"_s + picture),
                 qPrintable(url));
        ++screenshots;
    }
    QCOMPARE(screenshots, 6);
}

void TestPackaging::installsIntoADestdir()
{
    const QTemporaryDir destdir;
    QVERIFY(destdir.isValid());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DESTDIR"_s, destdir.path());
    const Run install = run(QStringLiteral(LANTERNFOLD_CMAKE),
                            {u"--install"_s, QStringLiteral(LANTERNFOLD_BINARY_DIR), u"--component"_s, u"desktop"_s,
                             u"--prefix"_s, u"/usr"_s},
                            environment);
    QVERIFY2(install.exitCode == 0, qPrintable(install.output));

    const QString share = destdir.path() + u"/usr/share"_s;
    QCOMPARE(readAll(share + u"/applications/lanternfold.desktop"_s), readAll(desktopFilePath()));
    QCOMPARE(readAll(share + u"/metainfo/com.lanternfold.Lanternfold.metainfo.xml"_s), readAll(metainfoPath()));
    for (const int pixels : lanternfoldIconSizes()) {
        const QString installed = iconPath(share + u"/icons"_s, pixels);
        QVERIFY2(QFile::exists(installed), qPrintable(installed));
        QCOMPARE(readAll(installed), readAll(iconPath(QStringLiteral(LANTERNFOLD_ICON_ROOT), pixels)));
    }
}

QTEST_MAIN(TestPackaging)
#include "tst_packaging.moc"
