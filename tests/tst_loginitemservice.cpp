// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The login item as XDG autostart (AutostartLoginItem) over a fresh configuration folder per test: the autostart entry
// it writes, reads and removes, its failures, and the entry's Exec line for a program in an awkward folder, checked by
// desktop-file-validate and by GLib actually starting the program from it.
#include "Platform/AutostartLoginItem.h"
#include "Platform/DesktopEntry.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <memory>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Rewrites the file in place, keeping its inode, as an editor saving over it would.
bool overwriteInPlace(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size();
}

bool writeNew(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return overwriteInPlace(path, contents);
}

ino_t inodeOf(const QString &path)
{
    struct stat info
    {
    };
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

struct ProcessOutcome
{
    int exitCode = -1;
    QString output; // standard output and standard error together
};

ProcessOutcome run(const QString &program, const QStringList &arguments,
                   const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForStarted(30000) || !process.waitForFinished(60000) ||
        process.exitStatus() != QProcess::NormalExit)
        return {-1, program + u" did not run: "_s + process.errorString()};
    return {process.exitCode(), QString::fromUtf8(process.readAll())};
}

QString requiredTool(const QString &name, const char *package)
{
    const QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty())
        qFatal("%s is missing: scripts/install-deps.sh installs %s", qPrintable(name), package);
    return path;
}

} // namespace

class TestLoginItemService final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void filePathFollowsConfigFolder();
    void noEntryIsNotRegistered();
    void enableWritesValidEntry();
    void enableTwiceWritesOnce();
    void disableWhenNeverEnabledDoesNothing();
    void enableThenDisableRemovesEntry();
    void hiddenEntry_data();
    void hiddenEntry();
    void entryForAnotherProgramCountsAsEnabled();
    void failedWriteIsReported();
    void failedRemoveIsReported();
    void execLineForAwkwardPath_data();
    void execLineForAwkwardPath();
    void notFoundWhenProgramFileIsGone();

private:
    /// A copy of the probe program at `path`, which may be in an awkward folder.
    static bool placeProbe(const QString &path);
    static QStringList runProbe(const QString &program, const QStringList &arguments);
    static void validate(const QString &entryPath);

    std::unique_ptr<QTemporaryDir> m_config;
    QString m_entry;
};

void TestLoginItemService::init()
{
    m_config = std::make_unique<QTemporaryDir>();
    QVERIFY(m_config->isValid());
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_config->path()));
    m_entry = AutostartLoginItem().autostartFilePath();
}

bool TestLoginItemService::placeProbe(const QString &path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return QFile::copy(QStringLiteral(LANTERNFOLD_LOGIN_ITEM_PROBE), path) &&
           QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QStringList TestLoginItemService::runProbe(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(30000) || !process.waitForFinished(60000) ||
        process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return {u"probe failed: "_s + process.errorString() + u' ' + QString::number(process.exitCode()) + u' ' +
                QString::fromUtf8(process.readAllStandardError())};
    return QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
}

void TestLoginItemService::validate(const QString &entryPath)
{
    const ProcessOutcome outcome =
        run(requiredTool(u"desktop-file-validate"_s, "desktop-file-utils"), {u"--no-hints"_s, entryPath});
    QVERIFY2(outcome.exitCode == 0 && outcome.output.isEmpty(), qPrintable(outcome.output));
}

void TestLoginItemService::filePathFollowsConfigFolder()
{
    QCOMPARE(m_entry, m_config->path() + u"/autostart/lanternfold.desktop"_s);
    QTemporaryDir other;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(other.path()));
    QCOMPARE(AutostartLoginItem().autostartFilePath(), other.path() + u"/autostart/lanternfold.desktop"_s);
}

void TestLoginItemService::noEntryIsNotRegistered()
{
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::notRegistered);
}

void TestLoginItemService::enableWritesValidEntry()
{
    QVERIFY(!QFileInfo::exists(m_config->filePath(u"autostart"_s)));
    const auto result = AutostartLoginItem().setEnabled(true);
    QVERIFY2(result, qPrintable(result ? QString() : result.error()));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::enabled);

    const QString program = QCoreApplication::applicationFilePath();
    QVERIFY(QFileInfo(program).isAbsolute());
    // This test's own path needs no quoting (the awkward path has a test of its own), so the
    // expected text can be written out here rather than computed by the code under test.
    QVERIFY2(QRegularExpression(u"^[A-Za-z0-9/._+-]+$"_s).match(program).hasMatch(), qPrintable(program));
    const QByteArray expected = "[Desktop Entry]\n"
                                "Type=Application\n"
                                "Name=Lanternfold\n"
                                "Exec=" +
                                QFile::encodeName(program) +
                                "\n"
                                "Icon=lanternfold\n"
                                "Terminal=false\n"
                                "X-GNOME-Autostart-enabled=true\n";
    QCOMPARE(readAll(m_entry), expected);
    validate(m_entry);
}

void TestLoginItemService::enableTwiceWritesOnce()
{
    QVERIFY(AutostartLoginItem().setEnabled(true));
    QByteArray tampered = readAll(m_entry);
    const qsizetype exec = tampered.indexOf("Exec=");
    QVERIFY(exec >= 0);
    tampered.replace(exec, tampered.indexOf('\n', exec) - exec, "Exec=/somewhere/else/lanternfold --tampered");
    QVERIFY(overwriteInPlace(m_entry, tampered));
    const ino_t inode = inodeOf(m_entry);
    QVERIFY(inode != 0);
    const QDateTime modified = QFileInfo(m_entry).lastModified();

    QVERIFY(AutostartLoginItem().setEnabled(true));
    // Untouched: a rewrite would have put this program's path back, under a new inode.
    QCOMPARE(readAll(m_entry), tampered);
    QCOMPARE(inodeOf(m_entry), inode);
    QCOMPARE(QFileInfo(m_entry).lastModified(), modified);
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::enabled);
}

void TestLoginItemService::disableWhenNeverEnabledDoesNothing()
{
    const auto result = AutostartLoginItem().setEnabled(false);
    QVERIFY2(result, qPrintable(result ? QString() : result.error()));
    QVERIFY(!QFileInfo::exists(m_config->filePath(u"autostart"_s)));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::notRegistered);
}

void TestLoginItemService::enableThenDisableRemovesEntry()
{
    QVERIFY(AutostartLoginItem().setEnabled(true));
    QVERIFY(QFileInfo::exists(m_entry));
    const auto result = AutostartLoginItem().setEnabled(false);
    QVERIFY2(result, qPrintable(result ? QString() : result.error()));
    QVERIFY(!QFileInfo::exists(m_entry));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::notRegistered);
    QVERIFY(AutostartLoginItem().setEnabled(false));
}

void TestLoginItemService::hiddenEntry_data()
{
    QTest::addColumn<QByteArray>("hidingLine");
    QTest::newRow("Hidden=true") << QByteArray("Hidden=true\n");
    QTest::newRow("X-GNOME-Autostart-enabled=false") << QByteArray("X-GNOME-Autostart-enabled=false\n");
}

void TestLoginItemService::hiddenEntry()
{
    QFETCH(QByteArray, hidingLine);
    // What a desktop's settings leave behind when the user switches the entry off there.
    const QByteArray hidden = desktopentry::autostartEntry(u"/elsewhere/lanternfold"_s) + hidingLine;
    QVERIFY(writeNew(m_entry, hidden));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::notRegistered);

    // Not enabled, so disabling has nothing to do and leaves the file as it is.
    QVERIFY(AutostartLoginItem().setEnabled(false));
    QCOMPARE(readAll(m_entry), hidden);

    // Enabling replaces it with an entry that starts this program.
    QVERIFY(AutostartLoginItem().setEnabled(true));
    QCOMPARE(readAll(m_entry), desktopentry::autostartEntry(QCoreApplication::applicationFilePath()));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::enabled);
}

void TestLoginItemService::entryForAnotherProgramCountsAsEnabled()
{
    const QByteArray foreign = desktopentry::autostartEntry(u"/nowhere/lanternfold"_s);
    QVERIFY(writeNew(m_entry, foreign));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::enabled);
    QVERIFY(AutostartLoginItem().setEnabled(true));
    QCOMPARE(readAll(m_entry), foreign);
    QVERIFY(AutostartLoginItem().setEnabled(false));
    QVERIFY(!QFileInfo::exists(m_entry));
}

void TestLoginItemService::failedWriteIsReported()
{
    // Tests run as root, whom no permission stops: a plain file where the autostart folder
    // belongs makes both creating the folder and writing into it fail.
    QVERIFY(writeNew(m_config->filePath(u"autostart"_s), "not a folder\n"));
    const auto result = AutostartLoginItem().setEnabled(true);
    QVERIFY(!result);
    QVERIFY(!result.error().trimmed().isEmpty());
    qInfo("write failure reads: %s", qPrintable(result.error()));
    QCOMPARE(readAll(m_config->filePath(u"autostart"_s)), QByteArray("not a folder\n"));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::notRegistered);
}

void TestLoginItemService::failedRemoveIsReported()
{
    // A folder (not empty) where the entry belongs: it exists and nothing in it hides it, so it
    // counts as enabled, and removing it as a file fails, root or not.
    QVERIFY(writeNew(m_entry + u"/keep"_s, "kept\n"));
    QCOMPARE(AutostartLoginItem().status(), LoginItemService::Status::enabled);
    const auto result = AutostartLoginItem().setEnabled(false);
    QVERIFY(!result);
    QVERIFY(!result.error().trimmed().isEmpty());
    qInfo("remove failure reads: %s", qPrintable(result.error()));
    QVERIFY(QFileInfo(m_entry).isDir());
    QCOMPARE(readAll(m_entry + u"/keep"_s), QByteArray("kept\n"));
}

void TestLoginItemService::execLineForAwkwardPath_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("execInFolder"); // the Exec value's part for the folder
    QTest::addColumn<bool>("launch");

    // Quoted because of the space; `"`, `$`, `` ` `` and `\` take a backslash inside the quotes;
    // then every backslash is doubled, as in any value of the file.
    QTest::newRow("space, quotes, dollar, backtick, backslash")
        << uR"(Lantern "fold" $HOME `id` a\b it's)"_s << uR"(Lantern \\"fold\\" \\$HOME \\`id\\` a\\\\b it's)"_s
        << true;
    // "%" is written "%%". GLib (gio, and sessions that start autostart entries through it) cannot
    // start such a program however it is written: it looks for the program before it turns "%%"
    // back into "%", and reads a single "%" as a field code. So this one is only validated.
    QTest::newRow("percent") << u"100% sure"_s << u"100%% sure"_s << false;
}

void TestLoginItemService::execLineForAwkwardPath()
{
    QFETCH(QString, folder);
    QFETCH(QString, execInFolder);
    QFETCH(bool, launch);

    QTemporaryDir place;
    QVERIFY(place.isValid());
    // The written-out expectation below assumes the temporary folder itself is plain.
    QVERIFY2(QRegularExpression(u"^[A-Za-z0-9/._-]+$"_s).match(place.path()).hasMatch(), qPrintable(place.path()));
    const QString program = place.path() + u'/' + folder + u"/lanternfold probe"_s;
    QVERIFY(placeProbe(program));

    QCOMPARE(runProbe(program, {u"enable"_s, u"status"_s}), (QStringList{u"ok"_s, u"enabled"_s}));
    const QString expectedExec = u"Exec=\""_s + place.path() + u'/' + execInFolder + u"/lanternfold probe\""_s;
    const QStringList lines = QString::fromUtf8(readAll(m_entry)).split(u'\n');
    QVERIFY2(lines.contains(expectedExec), qPrintable(lines.join(u'\n')));
    validate(m_entry);
    if (!launch)
        return;

    // A real launcher reads the line back to this very program, with no argument split off.
    const QString mark = place.filePath(u"launched"_s);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LANTERNFOLD_PROBE_MARK"_s, mark);
    const ProcessOutcome started = run(requiredTool(u"gio"_s, "libglib2.0-bin"), {u"launch"_s, m_entry}, environment);
    QVERIFY2(started.exitCode == 0, qPrintable(started.output));
    QTRY_COMPARE_WITH_TIMEOUT(readAll(mark), (program + u"\n0\n"_s).toUtf8(), 30000);
}

void TestLoginItemService::notFoundWhenProgramFileIsGone()
{
    QTemporaryDir place;
    QVERIFY(place.isValid());
    const QString program = place.filePath(u"lanternfold"_s);

    QVERIFY(placeProbe(program));
    const QStringList refused = runProbe(program, {u"--delete-self"_s, u"status"_s, u"enable"_s});
    QVERIFY(!QFileInfo::exists(program));
    QCOMPARE(refused.size(), 2);
    QCOMPARE(refused.at(0), u"notFound"_s);
    QVERIFY2(refused.at(1).startsWith(u"error: "_s) && refused.at(1).size() > 7, qPrintable(refused.at(1)));
    QVERIFY(!QFileInfo::exists(m_entry));

    // An entry already there still shows, and can be switched off, without the program's path.
    QVERIFY(writeNew(m_entry, desktopentry::autostartEntry(u"/usr/bin/lanternfold"_s)));
    QVERIFY(placeProbe(program));
    QCOMPARE(runProbe(program, {u"--delete-self"_s, u"status"_s, u"disable"_s, u"status"_s}),
             (QStringList{u"enabled"_s, u"ok"_s, u"notFound"_s}));
    QVERIFY(!QFileInfo::exists(m_entry));
}

QTEST_GUILESS_MAIN(TestLoginItemService)
#include "tst_loginitemservice.moc"
