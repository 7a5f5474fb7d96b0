// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The autostart entry's text: how a program path becomes its Exec value, the whole entry, and
// which keys hide an entry from the session that starts it.
#include "Platform/DesktopEntry.h"

#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

class TestDesktopEntry final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void execValue_data();
    void execValue();
    void autostartEntry();
    void hidesAutostart_data();
    void hidesAutostart();
};

void TestDesktopEntry::execValue_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("value"); // as it stands in the file after "Exec="

    QTest::newRow("plain path") << u"/usr/bin/lanternfold"_s << u"/usr/bin/lanternfold"_s;
    QTest::newRow("non-ASCII and equals sign") << u"/opt/Tür=1/lanternfold"_s << u"/opt/Tür=1/lanternfold"_s;
    QTest::newRow("space") << u"/opt/Lantern Fold/lanternfold"_s << uR"("/opt/Lantern Fold/lanternfold")"_s;
    QTest::newRow("double quote") << uR"(/opt/a"b/lf)"_s << uR"("/opt/a\\"b/lf")"_s;
    QTest::newRow("dollar") << u"/opt/$HOME/lf"_s << uR"("/opt/\\$HOME/lf")"_s;
    QTest::newRow("backtick") << u"/opt/`id`/lf"_s << uR"("/opt/\\`id\\`/lf")"_s;
    QTest::newRow("backslash") << uR"(/opt/a\b/lf)"_s << uR"("/opt/a\\\\b/lf")"_s;
    QTest::newRow("single quote") << u"/opt/it's/lf"_s << uR"("/opt/it's/lf")"_s;
    QTest::newRow("percent") << u"/opt/100%/lf"_s << u"/opt/100%%/lf"_s;
    QTest::newRow("field code lookalike") << u"/opt/%f %U/lf"_s << uR"("/opt/%%f %%U/lf")"_s;
    QTest::newRow("tab") << u"/opt/a\tb/lf"_s << uR"("/opt/a\tb/lf")"_s;
    QTest::newRow("line break") << u"/opt/a\nb/lf"_s << uR"("/opt/a\nb/lf")"_s;
    QTest::newRow("carriage return") << u"/opt/a\rb/lf"_s << uR"("/opt/a\rb/lf")"_s;
    QTest::newRow("shell syntax without escapes")
        << u"/opt/a&b;c|d*e?f#g(h)~i<j>k/lf"_s << uR"("/opt/a&b;c|d*e?f#g(h)~i<j>k/lf")"_s;
    QTest::newRow("everything at once")
        << uR"(/tmp/Lantern "fold" $HOME `id` a\b 100% it's/lanternfold probe)"_s
        << uR"("/tmp/Lantern \\"fold\\" \\$HOME \\`id\\` a\\\\b 100%% it's/lanternfold probe")"_s;
}

void TestDesktopEntry::execValue()
{
    QFETCH(QString, program);
    QFETCH(QString, value);
    QCOMPARE(desktopentry::execValue(program), value);
}

void TestDesktopEntry::autostartEntry()
{
    QCOMPARE(desktopentry::autostartEntry(u"/opt/Lantern Fold/lanternfold"_s),
             QByteArrayLiteral("[Desktop Entry]\n"
                               "Type=Application\n"
                               "Name=Lanternfold\n"
                               "Exec=\"/opt/Lantern Fold/lanternfold\"\n"
                               "Icon=lanternfold\n"
                               "Terminal=false\n"
                               "X-GNOME-Autostart-enabled=true\n"));
    QVERIFY(desktopentry::autostartEntry(u"/opt/Tür/lanternfold"_s).contains("Exec=/opt/T\xc3\xbcr/lanternfold\n"));
}

void TestDesktopEntry::hidesAutostart_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("hides");

    const QByteArray head = "[Desktop Entry]\nType=Application\nName=Lanternfold\nExec=/usr/bin/lanternfold\n";
    QTest::newRow("empty file") << QByteArray() << false;
    QTest::newRow("no hiding key") << head << false;
    QTest::newRow("own entry") << desktopentry::autostartEntry(u"/usr/bin/lanternfold"_s) << false;
    QTest::newRow("Hidden=true") << head + "Hidden=true\n" << true;
    QTest::newRow("Hidden=1") << head + "Hidden=1\n" << true;
    QTest::newRow("Hidden=false") << head + "Hidden=false\n" << false;
    QTest::newRow("spaces around") << head + "  Hidden =  true  \n" << true;
    QTest::newRow("CRLF lines") << QByteArray("[Desktop Entry]\r\nHidden=true\r\n") << true;
    QTest::newRow("GNOME switch off") << head + "X-GNOME-Autostart-enabled=false\n" << true;
    QTest::newRow("GNOME switch 0") << head + "X-GNOME-Autostart-enabled=0\n" << true;
    QTest::newRow("GNOME switch on") << head + "X-GNOME-Autostart-enabled=true\n" << false;
    QTest::newRow("hidden though switched on") << head + "X-GNOME-Autostart-enabled=true\nHidden=true\n" << true;
    QTest::newRow("later line wins") << head + "Hidden=true\nHidden=false\n" << false;
    QTest::newRow("not a boolean") << head + "Hidden=yes\n" << false;
    QTest::newRow("booleans are lower case") << head + "Hidden=True\n" << false;
    QTest::newRow("translated key is another key") << head + "Hidden[de]=true\n" << false;
    QTest::newRow("commented out") << head + "#Hidden=true\n" << false;
    QTest::newRow("another group") << head + "\n[Desktop Action Quit]\nHidden=true\n" << false;
    QTest::newRow("back in the main group") << head + "[Desktop Action Quit]\nName=Quit\n[Desktop Entry]\nHidden=true\n"
                                            << true;
    QTest::newRow("before any group") << QByteArray("Hidden=true\n[Desktop Entry]\nName=Lanternfold\n") << false;
}

void TestDesktopEntry::hidesAutostart()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, hides);
    QCOMPARE(desktopentry::hidesAutostart(contents), hides);
}

QTEST_GUILESS_MAIN(TestDesktopEntry)
#include "tst_desktopentry.moc"
