// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QString>

/// The text of a Desktop Entry file as far as the login item needs it: writing the autostart
/// entry and reading the two keys by which a desktop leaves an autostart entry unstarted.
namespace lanternfold::desktopentry {

/// `program` as the Exec value of an entry that runs it with no arguments: in double quotes, with
/// `"`, `` ` ``, `$` and `\` escaped, when it holds a character that a launcher would read as
/// syntax; then escaped as every string value of the file is (`\` as `\\`, line breaks and tabs
/// as `\n`, `\r`, `\t`), and `%` written `%%` so that no part of it reads as a field code.
QString execValue(const QString &program);

/// The whole autostart entry that starts `program` at login, UTF-8.
QByteArray autostartEntry(const QString &program);

/// True when the [Desktop Entry] group of `contents` says `Hidden=true` or
/// `X-GNOME-Autostart-enabled=false`, the two ways in which desktops skip an autostart entry.
/// Booleans are read as GLib reads them: "true" or "1", "false" or "0", spaces around them
/// ignored; any other value leaves the key unset.
bool hidesAutostart(const QByteArray &contents);

} // namespace lanternfold::desktopentry
