// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/DesktopEntry.h"

#include <QList>
#include <QStringView>

#include <optional>

namespace lanternfold::desktopentry {

using namespace Qt::StringLiterals;

namespace {

/// Characters that a launcher reads as separators, quotes, escapes or shell syntax. A path
/// holding one must be quoted, or it would run something else or nothing at all.
bool isReserved(QChar c)
{
    static constexpr QStringView reserved = u" \t\n\"'\\><~|&;$*?#()`";
    return reserved.contains(c) || c.unicode() < 0x20 || c.unicode() == 0x7f;
}

/// Inside double quotes only these four keep a meaning of their own, so they take a backslash.
bool needsBackslashInQuotes(QChar c)
{
    return c == u'"' || c == u'`' || c == u'$' || c == u'\\';
}

QString quotedArgument(const QString &argument)
{
    bool mustQuote = false;
    for (const QChar c : argument)
        mustQuote = mustQuote || isReserved(c);
    if (!mustQuote)
        return argument;
    QString quoted = u"\""_s;
    for (const QChar c : argument) {
        if (needsBackslashInQuotes(c))
            quoted += u'\\';
        quoted += c;
    }
    return quoted + u'"';
}

/// The escapes every string value gets in the file, undone by the reader before it splits the
/// command line; that is why a backslash of the quoting above ends up doubled.
QString escapedValue(const QString &value)
{
    QString escaped;
    escaped.reserve(value.size() + 8);
    for (const QChar c : value) {
        if (c == u'\\')
            escaped += u"\\\\"_s;
        else if (c == u'\n')
            escaped += u"\\n"_s;
        else if (c == u'\r')
            escaped += u"\\r"_s;
        else if (c == u'\t')
            escaped += u"\\t"_s;
        else if (c == u'%')
            escaped += u"%%"_s;
        else
            escaped += c;
    }
    return escaped;
}

std::optional<bool> booleanValue(const QByteArray &value)
{
    const QByteArray trimmed = value.trimmed();
    if (trimmed == "true" || trimmed == "1")
        return true;
    if (trimmed == "false" || trimmed == "0")
        return false;
    return std::nullopt;
}

} // namespace

QString execValue(const QString &program)
{
    return escapedValue(quotedArgument(program));
}

QByteArray autostartEntry(const QString &program)
{
    const QString text = u"[Desktop Entry]\n"
                         u"Type=Application\n"
                         u"Name=Lanternfold\n"
                         u"Exec="_s +
                         execValue(program) +
                         u"\n"
                         u"Icon=lanternfold\n"
                         u"Terminal=false\n"
                         u"X-GNOME-Autostart-enabled=true\n"_s;
    return text.toUtf8();
}

bool hidesAutostart(const QByteArray &contents)
{
    bool inMainGroup = false;
    bool hidden = false;
    bool autostartEnabled = true;
    for (const QByteArray &rawLine : contents.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        if (line.startsWith('[')) {
            inMainGroup = line == "[Desktop Entry]";
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (!inMainGroup || equals < 0)
            continue;
        const QByteArray key = line.first(equals).trimmed();
        const std::optional<bool> value = booleanValue(line.sliced(equals + 1));
        // A later line of the same key wins, as GLib reads the file; a value that is no boolean
        // counts as absent.
        if (key == "Hidden" && value)
            hidden = *value;
        else if (key == "X-GNOME-Autostart-enabled" && value)
            autostartEnabled = *value;
    }
    return hidden || !autostartEnabled;
}

} // namespace lanternfold::desktopentry
