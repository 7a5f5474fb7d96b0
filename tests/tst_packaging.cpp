// What the desktop gets: the icons the build renders into the hicolor tree, the .desktop file as
// desktop-file-validate reads it, and both installed into a DESTDIR by `cmake --install`.
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
    for (const int pixels : lanternfoldIconSizes()) {
        const QString installed = iconPath(share + u"/icons"_s, pixels);
        QVERIFY2(QFile::exists(installed), qPrintable(installed));
        QCOMPARE(readAll(installed), readAll(iconPath(QStringLiteral(LANTERNFOLD_ICON_ROOT), pixels)));
    }
}

QTEST_MAIN(TestPackaging)
#include "tst_packaging.moc"
