// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The translations: complete for every text of the code (as lupdate finds them now, not as they
// were when the .ts files were last written), true to each text's placeholders, compiled by the
// build and found by the program for a person's language.
#include "App/Translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

QStringList languages()
{
    return {u"de"_s, u"fr"_s, u"es"_s};
}

struct Message
{
    QString context;
    QString source;
    QString translation;
    bool finished = false;
};

QList<Message> readTs(const QString &path)
{
    QList<Message> messages;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return messages;
    QXmlStreamReader xml(&file);
    QString context;
    Message message;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == u"name"_s) {
            context = xml.readElementText();
        } else if (xml.name() == u"message"_s) {
            message = Message{context, {}, {}, false};
        } else if (xml.name() == u"source"_s) {
            message.source = xml.readElementText();
        } else if (xml.name() == u"translation"_s) {
            const QString type = xml.attributes().value(u"type"_s).toString();
            message.translation = xml.readElementText();
            message.finished = type.isEmpty() && !message.translation.isEmpty();
            messages.append(message);
        }
    }
    return messages;
}

QSet<QString> placeholders(const QString &text)
{
    static const QRegularExpression placeholder(u"%\\d+"_s);
    QSet<QString> found;
    for (const QRegularExpressionMatch &match : placeholder.globalMatch(text))
        found.insert(match.captured());
    return found;
}

} // namespace

class TestTranslations final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTextOfTheCodeIsTranslated();
    void translationsKeepTheirPlaceholders();
    void theProgramFindsThePersonsLanguage_data();
    void theProgramFindsThePersonsLanguage();
    void englishNeedsNoTranslation();
};

void TestTranslations::everyTextOfTheCodeIsTranslated()
{
    // lupdate over today's code, into copies: a text added or changed since the translations were
    // written arrives in them unfinished.
    QTemporaryDir copies;
    QVERIFY(copies.isValid());
    for (const QString &language : languages()) {
        const QString name = u"lanternfold_%1.ts"_s.arg(language);
        QVERIFY(QFile::copy(QStringLiteral(LANTERNFOLD_SOURCE_DIR "/translations/") + name, copies.filePath(name)));
    }
    QProcess update;
    update.setProcessChannelMode(QProcess::MergedChannels);
    update.start(u"bash"_s, {QStringLiteral(LANTERNFOLD_SOURCE_DIR "/scripts/update-translations.sh"), copies.path()});
    QVERIFY(update.waitForFinished(120000));
    QVERIFY2(update.exitCode() == 0, update.readAll().constData());
    // lupdate warns about a text it cannot place (a class it cannot see): its context would be
    // wrong and its translation never found.
    const QByteArray warnings = update.readAll();
    QVERIFY2(warnings.trimmed().isEmpty(), warnings.constData());

    for (const QString &language : languages()) {
        const QList<Message> messages = readTs(copies.filePath(u"lanternfold_%1.ts"_s.arg(language)));
        QVERIFY2(messages.size() > 100, qPrintable(language));
        QStringList unfinished;
        for (const Message &message : messages) {
            if (!message.finished)
                unfinished.append(message.context + u": "_s + message.source);
        }
        QVERIFY2(unfinished.isEmpty(),
                 qPrintable(u"%1: %2 text(s) without a translation (run scripts/update-translations.sh and "
                            "translate them):\n"_s.arg(language)
                                .arg(unfinished.size()) +
                            unfinished.join(u'\n')));
    }
}

void TestTranslations::translationsKeepTheirPlaceholders()
{
    for (const QString &language : languages()) {
        const QList<Message> messages =
            readTs(QStringLiteral(LANTERNFOLD_SOURCE_DIR "/translations/lanternfold_") + language + u".ts"_s);
        QVERIFY(!messages.isEmpty());
        for (const Message &message : messages) {
            QVERIFY2(placeholders(message.translation) == placeholders(message.source),
                     qPrintable(u"%1, %2: \"%3\" became \"%4\""_s.arg(language, message.context, message.source,
                                                                      message.translation)));
        }
    }
}

void TestTranslations::theProgramFindsThePersonsLanguage_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("connect");
    QTest::newRow("German") << u"de_DE"_s << u"Verbinden"_s;
    QTest::newRow("Austrian German: German") << u"de_AT"_s << u"Verbinden"_s;
    QTest::newRow("French") << u"fr_FR"_s << u"Se connecter"_s;
    QTest::newRow("Spanish") << u"es_ES"_s << u"Conectar"_s;
}

void TestTranslations::theProgramFindsThePersonsLanguage()
{
    QFETCH(QString, locale);
    QFETCH(QString, connect);
    // The build puts the compiled translations where the program looks for them installed.
    QVERIFY2(QFile::exists(QDir(Translations::folder()).filePath(u"lanternfold_de.qm"_s)),
             qPrintable(Translations::folder()));
    Translations translations;
    QVERIFY(translations.install(QLocale(locale)));
    QCOMPARE(QCoreApplication::translate("lanternfold::LoginView", "Connect"), connect);
}

void TestTranslations::englishNeedsNoTranslation()
{
    {
        Translations translations;
        QVERIFY(!translations.install(QLocale(u"en_GB"_s)));
        QCOMPARE(QCoreApplication::translate("lanternfold::LoginView", "Connect"), u"Connect"_s);
        Translations german;
        QVERIFY(german.install(QLocale(u"de_DE"_s)));
    }
    // Gone with the object that installed it.
    QCOMPARE(QCoreApplication::translate("lanternfold::LoginView", "Connect"), u"Connect"_s);
}

QTEST_GUILESS_MAIN(TestTranslations)
#include "tst_translations.moc"
