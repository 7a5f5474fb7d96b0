// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/HttpAnswerReader.h"

#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

/// What a reader made of bytes: fed whole, or one byte at a time.
struct Outcome
{
    bool complete = false;
    HttpAnswerReader::Failure failure = HttpAnswerReader::Failure::none;
    QString failureText;
    int status = 0;
    QByteArray body;
    bool keeps = false;
    qsizetype used = 0;
};

Outcome read(const QByteArray &bytes, qint64 bodyLimit, bool byteByByte, bool closeAfter)
{
    HttpAnswerReader reader(bodyLimit);
    Outcome outcome;
    if (byteByByte) {
        for (qsizetype i = 0; i < bytes.size() && !reader.isComplete() && !reader.hasFailed(); ++i)
            outcome.used += reader.feed(bytes.mid(i, 1));
    } else {
        outcome.used = reader.feed(bytes);
    }
    if (closeAfter)
        reader.endOfStream();
    outcome.complete = reader.isComplete();
    outcome.failure = reader.failure();
    outcome.failureText = reader.failureText();
    outcome.keeps = reader.keepsConnection();
    if (outcome.complete) {
        const HttpAnswer answer = reader.take();
        outcome.status = answer.status;
        for (const QByteArray &piece : answer.body)
            outcome.body += piece;
    }
    return outcome;
}

} // namespace

class TestHttpAnswerReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answers_data();
    void answers();
    void headerNamesAreLowerCaseInOrder();
    void bytesAfterTheAnswerAreLeftOver();
    void endlessHeadIsRefusedAtItsBound();
    void manyFieldsAreRefused();
    void endlessInterimAnswersAreRefused();
    void announcedBodyAboveTheLimitIsRefusedAtOnce();
    void endlessChunksAreRefused();
    void endlessChunkSizeLineIsRefused();
    void endlessTrailerIsRefused();
    void closeBeforeTheEndIsAnError();
};

void TestHttpAnswerReader::answers_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("closeAfter");
    QTest::addColumn<bool>("complete");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("keeps");

    QTest::newRow("sized") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello") << false << true << 200
                           << QByteArray("hello") << true;
    QTest::newRow("empty reason") << QByteArray("HTTP/1.1 401\r\nContent-Length: 0\r\n\r\n") << false << true << 401
                                  << QByteArray() << true;
    QTest::newRow("bare line feeds") << QByteArray("HTTP/1.1 200 OK\nContent-Length: 2\n\nok") << false << true << 200
                                     << QByteArray("ok") << true;
    QTest::newRow("chunked") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                           "5\r\nhello\r\n6;ext=1\r\n world\r\n0\r\nX-Trailer: 1\r\n\r\n")
                             << false << true << 200 << QByteArray("hello world") << true;
    QTest::newRow("chunked, upper-case hex") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\n\r\n"
                                                           "A\r\n0123456789\r\n0\r\n\r\n")
                                             << false << true << 200 << QByteArray("0123456789") << true;
    QTest::newRow("to the close") << QByteArray("HTTP/1.1 200 OK\r\n\r\nuntil the end") << true << true << 200
                                  << QByteArray("until the end") << false;
    QTest::newRow("connection close") << QByteArray(
                                             "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 1\r\n\r\nx")
                                      << false << true << 200 << QByteArray("x") << false;
    QTest::newRow("HTTP/1.0") << QByteArray("HTTP/1.0 200 OK\r\nContent-Length: 1\r\n\r\nx") << false << true << 200
                              << QByteArray("x") << false;
    QTest::newRow("HTTP/1.0 keep-alive")
        << QByteArray("HTTP/1.0 200 OK\r\nConnection: Keep-Alive\r\nContent-Length: 1\r\n\r\nx") << false << true << 200
        << QByteArray("x") << true;
    QTest::newRow("no content") << QByteArray("HTTP/1.1 204 No Content\r\n\r\n") << false << true << 204 << QByteArray()
                                << true;
    QTest::newRow("continue first")
        << QByteArray("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok") << false << true
        << 200 << QByteArray("ok") << true;
    QTest::newRow("length and chunked") << QByteArray(
                                               "HTTP/1.1 200 OK\r\nContent-Length: 99\r\nTransfer-Encoding: chunked"
                                               "\r\n\r\n2\r\nok\r\n0\r\n\r\n")
                                        << false << true << 200 << QByteArray("ok") << false;
    QTest::newRow("equal lengths") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 2, 2\r\n\r\nok") << false << true
                                   << 200 << QByteArray("ok") << true;

    const QByteArray none;
    QTest::newRow("not HTTP") << QByteArray("SSH-2.0-OpenSSH\r\n\r\n") << false << false << 0 << none << false;
    QTest::newRow("HTTP/2 status line") << QByteArray("HTTP/2 200\r\n\r\n") << false << false << 0 << none << false;
    QTest::newRow("status out of range") << QByteArray("HTTP/1.1 999 What\r\n\r\n") << false << false << 0 << none
                                         << false;
    QTest::newRow("letters in status") << QByteArray("HTTP/1.1 2x0 OK\r\n\r\n") << false << false << 0 << none << false;
    QTest::newRow("folded field") << QByteArray("HTTP/1.1 200 OK\r\nA: b\r\n c\r\n\r\n") << false << false << 0 << none
                                  << false;
    QTest::newRow("field without colon") << QByteArray("HTTP/1.1 200 OK\r\nNoColon\r\n\r\n") << false << false << 0
                                         << none << false;
    QTest::newRow("space in field name") << QByteArray("HTTP/1.1 200 OK\r\nBad Name: x\r\n\r\n") << false << false << 0
                                         << none << false;
    QTest::newRow("carriage return in value")
        << QByteArray("HTTP/1.1 200 OK\r\nA: b\rc\r\n\r\n") << false << false << 0 << none << false;
    QTest::newRow("different lengths") << QByteArray(
                                              "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nContent-Length: 3\r\n\r\nok")
                                       << false << false << 0 << none << false;
    QTest::newRow("negative length") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n") << false << false
                                     << 0 << none << false;
    QTest::newRow("bad chunk size") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n")
                                    << false << false << 0 << none << false;
    QTest::newRow("chunk without its line end")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nokX\r\n0\r\n\r\n") << false << false
        << 0 << none << false;
    QTest::newRow("gzip") << QByteArray("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 1\r\n\r\nx")
                          << false << false << 0 << none << false;
    QTest::newRow("switching protocols") << QByteArray("HTTP/1.1 101 Switching Protocols\r\n\r\n") << false << false
                                         << 0 << none << false;
}

void TestHttpAnswerReader::answers()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, closeAfter);
    QFETCH(bool, complete);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, keeps);
    // However the bytes are cut as they arrive, the answer is the same.
    for (const bool byteByByte : {false, true}) {
        const Outcome outcome = read(bytes, 1000, byteByByte, closeAfter);
        QCOMPARE(outcome.complete, complete);
        if (!complete) {
            QCOMPARE(outcome.failure, HttpAnswerReader::Failure::malformed);
            QVERIFY(!outcome.failureText.isEmpty());
            continue;
        }
        QCOMPARE(outcome.status, status);
        QCOMPARE(outcome.body, body);
        QCOMPARE(outcome.keeps, keeps);
        QCOMPARE(outcome.used, bytes.size());
    }
}

void TestHttpAnswerReader::headerNamesAreLowerCaseInOrder()
{
    HttpAnswerReader reader(100);
    reader.feed(
        "HTTP/1.1 200 OK\r\nX-CSRF-Token:  abc \r\nSet-Cookie: a=1\r\nset-cookie: b=2\r\nContent-Length: 0\r\n\r\n");
    QVERIFY(reader.isComplete());
    const HttpAnswer answer = reader.take();
    QCOMPARE(answer.header("x-csrf-token"), QByteArray("abc"));
    QVERIFY(answer.hasHeader("set-cookie"));
    QVERIFY(!answer.hasHeader("X-CSRF-Token"));
    const QList<std::pair<QByteArray, QByteArray>> expected{
        {"x-csrf-token", "abc"}, {"set-cookie", "a=1"}, {"set-cookie", "b=2"}, {"content-length", "0"}};
    QCOMPARE(answer.headers, expected);
}

void TestHttpAnswerReader::bytesAfterTheAnswerAreLeftOver()
{
    HttpAnswerReader reader(100);
    const QByteArray bytes("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokHTTP/1.1 200 OK\r\n");
    QCOMPARE(reader.feed(bytes), bytes.indexOf("okHTTP") + 2);
    QVERIFY(reader.isComplete());
}

void TestHttpAnswerReader::endlessHeadIsRefusedAtItsBound()
{
    HttpAnswerReader reader(100);
    reader.feed("HTTP/1.1 200 OK\r\n");
    const QByteArray line = "X-Filler: " + QByteArray(1000, 'a') + "\r\n";
    qsizetype fed = 17;
    while (!reader.hasFailed()) {
        reader.feed(line);
        fed += line.size();
        QVERIFY(fed < 2 * HttpAnswerReader::headLimit);
    }
    QCOMPARE(reader.failure(), HttpAnswerReader::Failure::tooLarge);
    QCOMPARE(reader.failureText(), u"The controller's answer is too large."_s);
    QVERIFY(fed > HttpAnswerReader::headLimit - qsizetype(line.size()));
    // Nothing more is taken in.
    QCOMPARE(reader.feed(line), line.size());
    QVERIFY(reader.hasFailed());
}

void TestHttpAnswerReader::manyFieldsAreRefused()
{
    QByteArray head("HTTP/1.1 200 OK\r\n");
    for (int i = 0; i <= HttpAnswerReader::fieldLimit; ++i)
        head += "A: b\r\n";
    HttpAnswerReader reader(100);
    reader.feed(head + "\r\n");
    QCOMPARE(reader.failure(), HttpAnswerReader::Failure::tooLarge);
}

void TestHttpAnswerReader::endlessInterimAnswersAreRefused()
{
    HttpAnswerReader reader(100);
    const QByteArray interim("HTTP/1.1 100 Continue\r\n\r\n");
    for (qsizetype fed = 0; !reader.hasFailed(); fed += interim.size()) {
        reader.feed(interim);
        QVERIFY(fed < 2 * HttpAnswerReader::headLimit);
    }
    QCOMPARE(reader.failure(), HttpAnswerReader::Failure::tooLarge);
}

void TestHttpAnswerReader::announcedBodyAboveTheLimitIsRefusedAtOnce()
{
    HttpAnswerReader reader(1000);
    reader.feed("HTTP/1.1 200 OK\r\nContent-Length: 1001\r\n\r\n");
    QCOMPARE(reader.failure(), HttpAnswerReader::Failure::tooLarge);

    HttpAnswerReader chunks(1000);
    chunks.feed("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3E9\r\n");
    QCOMPARE(chunks.failure(), HttpAnswerReader::Failure::tooLarge);

    HttpAnswerReader exact(1000);
    exact.feed("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + QByteArray(1000, 'x'));
    QVERIFY(exact.isComplete());
}

void TestHttpAnswerReader::endlessChunksAreRefused()
{
    HttpAnswerReader reader(1000);
    reader.feed("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    const QByteArray chunk = "64\r\n" + QByteArray(100, 'x') + "\r\n";
    int chunks = 0;
    while (!reader.hasFailed()) {
        reader.feed(chunk);
        QVERIFY(++chunks <= 11);
    }
    QCOMPARE(reader.failure(), HttpAnswerReader::Failure::tooLarge);

    HttpAnswerReader toClose(1000);
    toClose.feed("HTTP/1.1 200 OK\r\n\r\n");
    toClose.feed(QByteArray(1000, 'x'));
    QVERIFY(!toClose.hasFailed());
    toClose.feed("x");
    QCOMPARE(toClose.failure(), HttpAnswerReader::Failure::tooLarge);
}

void TestHttpAnswerReader::endlessChunkSizeLineIsRefused()
{
    HttpAnswerReader reader(1000);
    reader.feed("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1;");
    reader.feed(QByteArray(HttpAnswerReader::chunkLineLimit, 'e'));
    QCOMPARE(reader.failure(), HttpAnswerReader::Failure::tooLarge);
}

void TestHttpAnswerReader::endlessTrailerIsRefused()
{
    HttpAnswerReader reader(1000);
    reader.feed("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n");
    const QByteArray line = "T: " + QByteArray(1000, 't') + "\r\n";
    for (qsizetype fed = 0; !reader.hasFailed(); fed += line.size()) {
        reader.feed(line);
        QVERIFY(fed < 2 * HttpAnswerReader::headLimit);
    }
    QCOMPARE(reader.failure(), HttpAnswerReader::Failure::tooLarge);
}

void TestHttpAnswerReader::closeBeforeTheEndIsAnError()
{
    HttpAnswerReader silent(100);
    silent.endOfStream();
    QVERIFY(silent.hasFailed());
    QVERIFY(!silent.hasStarted());
    QCOMPARE(silent.failureText(), u"The controller closed the connection without answering."_s);

    HttpAnswerReader cut(100);
    cut.feed("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhel");
    cut.endOfStream();
    QVERIFY(cut.hasFailed());
    QVERIFY(cut.hasStarted());
    QCOMPARE(cut.failureText(), u"The controller closed the connection before its answer was complete."_s);
}

QTEST_GUILESS_MAIN(TestHttpAnswerReader)
#include "tst_httpanswerreader.moc"
