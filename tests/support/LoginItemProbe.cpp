// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// A small program for tst_loginitemservice: the autostart login item as run from wherever the test put a
// copy of this file, since the service writes the running program's own path.
//
//   lanternfold-loginitem-probe [--delete-self] <command>...
//
// Commands, each answered on a line of standard output: "status" prints the status's name,
// "enable" and "disable" print "ok" or "error: " and the description. --delete-self first removes
// the running file, as an upgrade does, so that the program's own path cannot be found.
// With no command, as a desktop starts it from the autostart entry, it writes its own path and its
// number of arguments to the file named by LANTERNFOLD_PROBE_MARK.
#include "Platform/AutostartLoginItem.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringList>

#include <cstdio>
#include <filesystem>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

QString statusName(LoginItemService::Status status)
{
    switch (status) {
    case LoginItemService::Status::notRegistered:
        return u"notRegistered"_s;
    case LoginItemService::Status::enabled:
        return u"enabled"_s;
    case LoginItemService::Status::requiresApproval:
        return u"requiresApproval"_s;
    case LoginItemService::Status::notFound:
        return u"notFound"_s;
    }
    return u"?"_s;
}

void printLine(const QString &line)
{
    std::fputs(qPrintable(line + u'\n'), stdout);
    std::fflush(stdout);
}

int markLaunch()
{
    QFile mark(qEnvironmentVariable("LANTERNFOLD_PROBE_MARK"));
    if (mark.fileName().isEmpty() || !mark.open(QIODevice::WriteOnly))
        return 2;
    const QString text = QCoreApplication::applicationFilePath() + u'\n' +
                         QString::number(QCoreApplication::arguments().size() - 1) + u'\n';
    mark.write(text.toUtf8());
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 1 && QByteArrayView(argv[1]) == "--delete-self") {
        std::error_code error;
        std::filesystem::remove(std::filesystem::read_symlink("/proc/self/exe", error), error);
        if (error)
            return 3;
    }
    QCoreApplication app(argc, argv);
    QStringList commands = QCoreApplication::arguments().mid(1);
    commands.removeAll(u"--delete-self"_s);
    if (commands.isEmpty())
        return markLaunch();
    for (const QString &command : std::as_const(commands)) {
        if (command == u"status"_s) {
            printLine(statusName(AutostartLoginItem().status()));
        } else if (command == u"enable"_s || command == u"disable"_s) {
            const auto result = AutostartLoginItem().setEnabled(command == u"enable"_s);
            printLine(result ? u"ok"_s : u"error: "_s + result.error());
        } else {
            return 4;
        }
    }
    return 0;
}
