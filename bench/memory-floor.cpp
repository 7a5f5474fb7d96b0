// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The memory figure's floor: the minimal window that also does, once, what any program of
// Lanternfold's kind must load for: one HTTPS request and its answer (Qt Network, its TLS backend
// and OpenSSL), one password read from the Secret Service through QtKeychain (libsecret, GIO,
// libgcrypt), and one date formatted in a locale style by ICU. It prints "ready" when all three are
// done, then idles like the minimal window.
//
//   memory-floor URL KEYCHAIN_KEY
#include <QApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QWidget>
#include <qt6keychain/keychain.h>
#include <unicode/udat.h>

#include <cstdio>

namespace {
int pending = 3;

void done()
{
    if (--pending == 0) {
        std::puts("ready");
        std::fflush(stdout);
    }
}
} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    if (argc < 3) {
        std::fputs("usage: memory-floor URL KEYCHAIN_KEY\n", stderr);
        return 2;
    }
    QApplication::setQuitOnLastWindowClosed(false);
    QWidget window;
    window.resize(620, 560);
    window.show();

    QNetworkAccessManager network;
    QNetworkRequest request(QUrl(QString::fromLocal8Bit(argv[1])));
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    QNetworkReply *reply = network.get(request);
    // The simulated controller's key is made for each run; the floor needs the handshake, not trust.
    QObject::connect(reply, &QNetworkReply::sslErrors, reply, [reply] { reply->ignoreSslErrors(); });
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply] {
        (void)reply->readAll();
        reply->deleteLater();
        done();
    });

    auto *job = new QKeychain::ReadPasswordJob(QStringLiteral("com.lanternfold.controller"), &app);
    job->setKey(QString::fromLocal8Bit(argv[2]));
    QObject::connect(job, &QKeychain::Job::finished, &app, [] { done(); });
    job->start();

    UErrorCode status = U_ZERO_ERROR;
    UDateFormat *format = udat_open(UDAT_MEDIUM, UDAT_SHORT, nullptr, nullptr, -1, nullptr, -1, &status);
    UChar text[128];
    udat_format(format, ucal_getNow(), text, 128, nullptr, &status);
    udat_close(format);
    done();

    QTimer timer;
    timer.setInterval(20000);
    QObject::connect(&timer, &QTimer::timeout, &app, [] {});
    timer.start();
    return QApplication::exec();
}
