// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The floor of the connect figure: the round trips a connect cannot do without, and nothing else.
// A fresh client each time (so a fresh TLS handshake), the login, then the access points and the
// cameras fetched at once, with their bodies read. No key check, no decoding, no window.
//
//   connect-floor HOST PORT USER PASSWORD SITE ROUNDS   prints one "floor-ms N" line per round,
//   after one warm-up round that is not printed.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Target
{
    QString host;
    int port = 0;
    QString user;
    QString password;
    QString site;
};

QNetworkRequest request(const Target &target, const QString &path)
{
    QUrl url;
    url.setScheme(u"https"_s);
    url.setHost(target.host);
    url.setPort(target.port);
    url.setPath(path);
    QNetworkRequest request(url);
    // The same TLS settings as the program, but no key check.
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setPeerVerifyMode(QSslSocket::VerifyNone);
    tls.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    tls.setSslOption(QSsl::SslOptionDisableSessionSharing, true);
    tls.setSslOption(QSsl::SslOptionDisableSessionPersistence, true);
    tls.setAllowedNextProtocols({QByteArray(QSslConfiguration::NextProtocolHttp1_1)});
    request.setSslConfiguration(tls);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    return request;
}

/// One round: login, then both fetches at once; calls done(milliseconds) or done(-1).
class Round final : public QObject
{
public:
    Round(const Target &target, std::function<void(double)> done) : m_target(target), m_done(std::move(done))
    {
        m_clock.start();
        QNetworkRequest login = request(m_target, u"/api/auth/login"_s);
        login.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
        const QJsonObject body{
            {u"username"_s, m_target.user}, {u"password"_s, m_target.password}, {u"rememberMe"_s, false}};
        QNetworkReply *reply = m_manager.post(login, QJsonDocument(body).toJson(QJsonDocument::Compact));
        connect(reply, &QNetworkReply::finished, this, [this, reply] { loggedIn(reply); });
    }

private:
    void loggedIn(QNetworkReply *reply)
    {
        reply->deleteLater();
        if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 200)
            return m_done(-1);
        const QByteArray token = reply->rawHeader("x-csrf-token");
        for (const QString &path :
             {u"/proxy/network/api/s/"_s + m_target.site + u"/stat/device"_s, u"/proxy/protect/api/cameras"_s}) {
            QNetworkRequest fetch = request(m_target, path);
            fetch.setRawHeader("X-CSRF-Token", token);
            QNetworkReply *answer = m_manager.get(fetch);
            connect(answer, &QNetworkReply::finished, this, [this, answer] { fetched(answer); });
        }
    }

    void fetched(QNetworkReply *reply)
    {
        reply->deleteLater();
        const bool ok =
            reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200 && !reply->readAll().isEmpty();
        m_failed = m_failed || !ok;
        if (++m_fetched == 2)
            m_done(m_failed ? -1 : double(m_clock.nsecsElapsed()) / 1e6);
    }

    Target m_target;
    std::function<void(double)> m_done;
    QNetworkAccessManager m_manager;
    QElapsedTimer m_clock;
    int m_fetched = 0;
    bool m_failed = false;
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 7) {
        std::fprintf(stderr, "usage: %s HOST PORT USER PASSWORD SITE ROUNDS\n", argv[0]);
        return 2;
    }
    const Target target{QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]).toInt(),
                        QString::fromLocal8Bit(argv[3]), QString::fromLocal8Bit(argv[4]),
                        QString::fromLocal8Bit(argv[5])};
    const int rounds = QString::fromLocal8Bit(argv[6]).toInt();
    int round = -1; // the warm-up
    std::unique_ptr<Round> current;
    std::function<void(double)> next;
    next = [&](double milliseconds) {
        if (milliseconds < 0) {
            std::fprintf(stderr, "connect-floor: a round failed\n");
            QCoreApplication::exit(1);
            return;
        }
        if (round >= 0)
            std::printf("floor-ms %.2f\n", milliseconds);
        std::fflush(stdout);
        if (++round >= rounds) {
            QCoreApplication::exit(0);
            return;
        }
        // Not from inside the finished reply's signal: the old round's manager goes first.
        QMetaObject::invokeMethod(
            &app, [&] { current = std::make_unique<Round>(target, next); }, Qt::QueuedConnection);
    };
    current = std::make_unique<Round>(target, [&](double milliseconds) { next(milliseconds < 0 ? -1 : 0); });
    return QCoreApplication::exec();
}
