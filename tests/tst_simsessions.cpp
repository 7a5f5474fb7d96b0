// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The simulated controller's logins, sessions and CSRF tokens, over real TLS with a plain Qt
// client. Time-dependent behaviour runs on a manual clock, so no test waits for real time.
#include "SimTestClient.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace lanternfold::simtest;

class TestSimSessions final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loginAnswers_data();
    void loginAnswers();
    void loginBodyIsTheUserOrTheEnvelope();
    void sessionIsCheckedBeforeEverything_data();
    void sessionIsCheckedBeforeEverything();
    void postsNeedTheCurrentToken();
    void tokenRotates();
    void logoutEndsTheSession();
    void loginRateLimit();
    void loginRateLimitWindowPasses();
    void sessionExpires();
    void jwtCookieMode();
    void manualClockIsSharedByCopies();
    void logNumbersSessions();
    void logShowsIssuedTokens();
    void logShowsTokenOfJwtAndHeaderlessLogins();
    void twoFactorRefusesTheRightPassword_data();
    void twoFactorRefusesTheRightPassword();
    void loginAnswerReplacesEveryLogin();
    void csrfCookieMode();
    void csrfCookieModeIsClassicOnly();
};

void TestSimSessions::loginAnswers_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QByteArray>("cookieName");
    QTest::addColumn<int>("failStatus");
    QTest::addColumn<QByteArray>("failBody");
    QTest::newRow("unifiOS")
        << Kind::UnifiOS << QByteArrayLiteral("TOKEN") << 401
        << QByteArrayLiteral(
               R"({"code":"AUTHENTICATION_FAILED_INVALID_CREDENTIALS","message":"Invalid username or password"})");
    QTest::newRow("classic") << Kind::Classic << QByteArrayLiteral("unifises") << 400
                             << QByteArrayLiteral(R"({"meta":{"rc":"error","msg":"api.err.Invalid"},"data":[]})");
}

void TestSimSessions::loginAnswers()
{
    QFETCH(Kind, kind);
    QFETCH(QByteArray, cookieName);
    QFETCH(int, failStatus);
    QFETCH(QByteArray, failBody);
    const auto simulator = startSimulator(kind);
    simulator->setCredentials(u"alice"_s, u"s3cret pass"_s);

    SimClient client(*simulator);
    const Answer wrong = client.login(u"alice"_s, u"wrong"_s);
    QCOMPARE(wrong.status, failStatus);
    QCOMPARE(wrong.body, failBody);
    QVERIFY(!wrong.hasHeader(QByteArrayLiteral("Set-Cookie")));
    QVERIFY(!wrong.hasHeader(QByteArrayLiteral("X-CSRF-Token")));
    QCOMPARE(client.login(u"bob"_s, u"s3cret pass"_s).status, failStatus);

    const Answer ok = client.login(u"alice"_s, u"s3cret pass"_s);
    QCOMPARE(ok.status, 200);
    const QByteArray setCookie = ok.header(QByteArrayLiteral("Set-Cookie"));
    QVERIFY2(setCookie.startsWith(cookieName + '='), setCookie.constData());
    QVERIFY(setCookie.contains("; Path=/"));
    QVERIFY(setCookie.contains("; HttpOnly"));
    QVERIFY(setCookie.contains("; Secure"));
    QVERIFY(!ok.header(QByteArrayLiteral("X-CSRF-Token")).isEmpty());
    const auto cookies = client.cookies();
    QCOMPARE(cookies.size(), 1);
    QCOMPARE(cookies.first().name(), cookieName);
    QCOMPARE(simulator->liveSessionCount(), 1);
}

void TestSimSessions::loginBodyIsTheUserOrTheEnvelope()
{
    const auto classic = startSimulator(Kind::Classic);
    SimClient classicClient(*classic);
    QCOMPARE(classicClient.loginOk().body, QByteArray(emptyOk));

    const auto unifiOS = startSimulator(Kind::UnifiOS);
    SimClient client(*unifiOS);
    const QJsonObject user = client.loginOk().json().object();
    QCOMPARE(user.value(u"username"_s).toString(), unifiOS->username());
    QVERIFY(!user.value(u"unique_id"_s).toString().isEmpty());
}

void TestSimSessions::sessionIsCheckedBeforeEverything_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::newRow("unifiOS") << Kind::UnifiOS;
    QTest::newRow("classic") << Kind::Classic;
}

void TestSimSessions::sessionIsCheckedBeforeEverything()
{
    QFETCH(Kind, kind);
    const auto simulator = startSimulator(kind);
    SimClient other(*simulator);
    other.loginOk(); // a real, current token, but from another session
    QVERIFY(!other.csrfToken.isEmpty());

    SimClient client(*simulator);
    const RawHeaders token{{QByteArrayLiteral("X-CSRF-Token"), other.csrfToken}};
    QCOMPARE(client.get(devicesPath(kind), token).status, 401);
    QCOMPARE(client.get(devicesPath(kind), token).body, QByteArray(loginRequired));
    const Answer post = client.post(restartPath(kind), restartBody(u"78:45:58:a1:10:20"_s), token);
    QCOMPARE(post.status, 401);
    QCOMPARE(post.body, QByteArray(loginRequired));
    // Even a path that does not exist asks for a session first.
    QCOMPARE(client.get(u"/api/no/such/thing"_s).status, 401);
    // A made-up cookie is no session either.
    const RawHeaders cookie{{QByteArrayLiteral("Cookie"), kind == Kind::UnifiOS ? QByteArrayLiteral("TOKEN=abc")
                                                                                : QByteArrayLiteral("unifises=abc")}};
    QCOMPARE(client.get(devicesPath(kind), cookie).status, 401);
}

void TestSimSessions::postsNeedTheCurrentToken()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    QCOMPARE(client.loginOk().status, 200);
    const QByteArray body = restartBody(u"78:45:58:a1:10:20"_s);

    const Answer missing = client.post(QString::fromLatin1(unifiOsRestart), body);
    QCOMPARE(missing.status, 403);
    QCOMPARE(missing.body, QByteArray(invalidCsrf));
    const Answer wrong = client.post(QString::fromLatin1(unifiOsRestart), body,
                                     {{QByteArrayLiteral("X-CSRF-Token"), QByteArrayLiteral("not-the-token")}});
    QCOMPARE(wrong.status, 403);
    QCOMPARE(wrong.body, QByteArray(invalidCsrf));

    // GETs need no token.
    QCOMPARE(client.get(QString::fromLatin1(unifiOsDevices)).status, 200);

    const Answer ok = client.postWithToken(QString::fromLatin1(unifiOsRestart), body);
    QCOMPARE(ok.status, 200);
    QCOMPARE(ok.body, QByteArray(emptyOk));
    QVERIFY(!ok.hasHeader(QByteArrayLiteral("X-Updated-CSRF-Token")));
    // Without rotation the token stays valid.
    QCOMPARE(client.postWithToken(QString::fromLatin1(unifiOsRestart), body).status, 200);
}

void TestSimSessions::tokenRotates()
{
    const auto simulator = startSimulator();
    simulator->setCsrfRotation(true);
    SimClient client(*simulator);
    client.loginOk();
    const QByteArray first = client.csrfToken;
    const QByteArray body = restartBody(u"78:45:58:a1:10:20"_s);

    const Answer one = client.postWithToken(QString::fromLatin1(unifiOsRestart), body);
    QCOMPARE(one.status, 200);
    const QByteArray second = one.header(QByteArrayLiteral("X-Updated-CSRF-Token"));
    QVERIFY(!second.isEmpty());
    QVERIFY(second != first);

    const Answer stale = client.postWithToken(QString::fromLatin1(unifiOsRestart), body);
    QCOMPARE(stale.status, 403);
    QCOMPARE(stale.body, QByteArray(invalidCsrf));

    client.csrfToken = second;
    const Answer two = client.postWithToken(QString::fromLatin1(unifiOsRestart), body);
    QCOMPARE(two.status, 200);
    const QByteArray third = two.header(QByteArrayLiteral("X-Updated-CSRF-Token"));
    QVERIFY(!third.isEmpty() && third != second);
}

void TestSimSessions::logoutEndsTheSession()
{
    const auto simulator = startSimulator(Kind::Classic);
    SimClient client(*simulator);
    client.loginOk();
    QCOMPARE(client.get(u"/api/self"_s).status, 200);
    QCOMPARE(client.post(u"/api/logout"_s).status, 403); // a POST like any other: token first
    const Answer logout = client.postWithToken(u"/api/logout"_s);
    QCOMPARE(logout.status, 200);
    QCOMPARE(simulator->liveSessionCount(), 0);
    QCOMPARE(client.get(u"/api/self"_s).status, 401);
}

void TestSimSessions::loginRateLimit()
{
    const auto simulator = startSimulator();
    simulator->setLoginRateLimit(3, 10min);
    SimClient client(*simulator);
    QCOMPARE(client.login(u"demo"_s, u"wrong"_s).status, 401);
    QCOMPARE(client.loginOk().status, 200); // successful logins count as well
    QCOMPARE(client.login(u"demo"_s, u"wrong"_s).status, 401);
    const Answer limited = client.loginOk();
    QCOMPARE(limited.status, 429);
    QCOMPARE(limited.body, QByteArray(limitReached));
    QVERIFY(!limited.hasHeader(QByteArrayLiteral("Set-Cookie")));
    QCOMPARE(client.loginOk().status, 429);

    simulator->setLoginRateLimit(0, 10min);
    QCOMPARE(client.loginOk().status, 200);
}

void TestSimSessions::loginRateLimitWindowPasses()
{
    const auto simulator = startSimulator(Kind::Classic);
    ManualClock clock;
    simulator->setClock(clock);
    simulator->setLoginRateLimit(2, 1s);
    SimClient client(*simulator);
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(client.loginOk().status, 429);
    clock.advance(500ms);
    QCOMPARE(client.loginOk().status, 429);
    QCOMPARE(client.loginOk().status, 429);
    clock.advance(499ms);
    QCOMPARE(client.loginOk().status, 429); // the first two are still inside the window
    // One second after the first two the window is empty: the refused attempts at 0.5 s did not
    // count, or they would still fill it.
    clock.advance(1ms);
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(client.loginOk().status, 429);
}

void TestSimSessions::sessionExpires()
{
    const auto simulator = startSimulator();
    ManualClock clock;
    simulator->setClock(clock);
    simulator->setSessionLifetime(2s);
    SimClient client(*simulator);
    client.loginOk();
    QCOMPARE(client.get(u"/api/users/self"_s).status, 200);
    clock.advance(1999ms);
    QCOMPARE(client.get(u"/api/users/self"_s).status, 200);
    QCOMPARE(simulator->liveSessionCount(), 1);
    // Not sliding: the requests in between did not keep it alive.
    clock.advance(1ms);
    QCOMPARE(simulator->liveSessionCount(), 0);
    const Answer expired = client.get(u"/api/users/self"_s);
    QCOMPARE(expired.status, 401);
    QCOMPARE(expired.body, QByteArray(loginRequired));
    // A new login works, and lives its own two seconds.
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(client.get(u"/api/users/self"_s).status, 200);
    clock.advance(2s);
    QCOMPARE(client.get(u"/api/users/self"_s).status, 401);
}

void TestSimSessions::jwtCookieMode()
{
    const auto simulator = startSimulator();
    simulator->setJwtCookie(true);
    SimClient client(*simulator);
    const Answer login = client.loginOk();
    QCOMPARE(login.status, 200);
    QVERIFY(!login.hasHeader(QByteArrayLiteral("X-CSRF-Token")));
    QVERIFY(client.csrfToken.isEmpty());

    const auto cookies = client.cookies();
    QCOMPARE(cookies.size(), 1);
    QCOMPARE(cookies.first().name(), QByteArrayLiteral("TOKEN"));
    const QList<QByteArray> parts = cookies.first().value().split('.');
    QCOMPARE(parts.size(), 3);
    for (const QByteArray &part : parts) {
        QVERIFY(!part.isEmpty());
        QVERIFY(!part.contains('=') && !part.contains('+') && !part.contains('/'));
    }
    const auto decode = [](const QByteArray &part) {
        return QJsonDocument::fromJson(
                   QByteArray::fromBase64(part, QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals))
            .object();
    };
    QCOMPARE(decode(parts[0]).value(u"typ"_s).toString(), u"JWT"_s);
    const QJsonObject payload = decode(parts[1]);
    const QString token = payload.value(u"csrfToken"_s).toString();
    QVERIFY(!token.isEmpty());
    QVERIFY(payload.value(u"userId"_s).isString());
    QVERIFY(payload.value(u"exp"_s).toInteger() > payload.value(u"iat"_s).toInteger());

    const QByteArray body = restartBody(u"78:45:58:a1:10:20"_s);
    QCOMPARE(client.post(QString::fromLatin1(unifiOsRestart), body).status, 403);
    client.csrfToken = token.toUtf8();
    QCOMPARE(client.postWithToken(QString::fromLatin1(unifiOsRestart), body).status, 200);
}

void TestSimSessions::manualClockIsSharedByCopies()
{
    ManualClock clock;
    const ManualClock copy = clock;
    const auto start = clock.now();
    clock.advance(5s);
    QCOMPARE(copy.now() - start, std::chrono::steady_clock::duration(5s));
    const auto simulator = startSimulator();
    simulator->setClock(copy);
    QCOMPARE(simulator->now(), clock.now());
    simulator->setClock({}); // the real clock again
    QVERIFY(simulator->now() != clock.now());
}

void TestSimSessions::logNumbersSessions()
{
    const auto simulator = startSimulator();
    SimClient first(*simulator);
    SimClient second(*simulator);
    first.loginOk();
    second.loginOk();
    QCOMPARE(first.get(u"/api/users/self"_s).status, 200);
    QCOMPARE(second.get(u"/api/users/self"_s).status, 200);
    const QByteArray firstCookie = first.cookieHeader();
    QCOMPARE(first.postWithToken(u"/api/auth/logout"_s).status, 200);
    // A cookie of an ended session names no session.
    QCOMPARE(first.get(u"/api/users/self"_s, {{QByteArrayLiteral("Cookie"), firstCookie}}).status, 401);
    // Numbers are never reused, not even after every session ended.
    simulator->expireSessions();
    QCOMPARE(second.get(u"/api/users/self"_s).status, 401);
    second.loginOk();
    // The number is logged whatever happens to the request afterwards.
    simulator->setFault({FaultKind::Drop, QString::fromLatin1(camerasPath), {}});
    QCOMPARE(second.get(QString::fromLatin1(camerasPath)).status, 0);

    const QList<QJsonObject> requests = requestEntries(*simulator);
    QVERIFY(requests.size() >= 9); // Qt may send the dropped GET a second time
    const auto field = [&](int index, const QString &key) { return requests[index].value(key); };
    QVERIFY(field(0, u"session"_s).isNull()); // a login presents no cookie
    QCOMPARE(field(0, u"created"_s), QJsonValue(1));
    QCOMPARE(field(1, u"created"_s), QJsonValue(2));
    QCOMPARE(field(2, u"session"_s), QJsonValue(1));
    QCOMPARE(field(3, u"session"_s), QJsonValue(2));
    QCOMPARE(field(4, u"session"_s), QJsonValue(1)); // the logout itself still rode on session 1
    QVERIFY(!requests[4].contains(u"created"_s));
    QVERIFY(field(5, u"session"_s).isNull());
    QVERIFY(field(6, u"session"_s).isNull());
    QCOMPARE(field(7, u"created"_s), QJsonValue(3));
    for (int index = 8; index < requests.size(); ++index) {
        QCOMPARE(field(index, u"session"_s), QJsonValue(3));
        QCOMPARE(field(index, u"fault"_s).toString(), u"drop"_s);
        QVERIFY(field(index, u"status"_s).isNull());
    }
}

void TestSimSessions::logShowsIssuedTokens()
{
    const auto simulator = startSimulator(Kind::Classic);
    SimClient client(*simulator);
    QCOMPARE(client.login(u"demo"_s, u"wrong"_s).status, 400);
    client.loginOk();
    QCOMPARE(client.get(u"/api/self"_s).status, 200);
    simulator->setCsrfRotation(true);
    const Answer rotated = client.postWithToken(u"/api/s/default/cmd/devmgr"_s, restartBody(u"78:45:58:a1:10:20"_s));
    QCOMPARE(rotated.status, 200);
    QCOMPARE(client.postWithToken(u"/api/s/default/cmd/devmgr"_s, restartBody(u"78:45:58:a1:10:20"_s)).status,
             403); // the old token: refused, and nothing rotates

    const QList<QJsonObject> requests = requestEntries(*simulator);
    QCOMPARE(requests.size(), 5);
    QVERIFY(!requests[0].contains(u"created"_s));
    QVERIFY(!requests[0].contains(u"issuedToken"_s));
    QCOMPARE(requests[1].value(u"issuedToken"_s).toString(), QString::fromUtf8(client.csrfToken));
    QVERIFY(!requests[2].contains(u"issuedToken"_s)); // a GET rotates nothing
    QCOMPARE(requests[3].value(u"issuedToken"_s).toString(),
             QString::fromUtf8(rotated.header(QByteArrayLiteral("X-Updated-CSRF-Token"))));
    QVERIFY(!requests[4].contains(u"issuedToken"_s));
}

void TestSimSessions::logShowsTokenOfJwtAndHeaderlessLogins()
{
    // A JWT login: the token travels only as a claim of the cookie.
    const auto simulator = startSimulator();
    simulator->setJwtCookie(true);
    SimClient client(*simulator);
    client.loginOk();
    const QByteArray payload = client.cookies().first().value().split('.').value(1);
    const QString claim = QJsonDocument::fromJson(QByteArray::fromBase64(payload, QByteArray::Base64UrlEncoding |
                                                                                      QByteArray::OmitTrailingEquals))
                              .object()
                              .value(u"csrfToken"_s)
                              .toString();
    QVERIFY(!claim.isEmpty());
    QCOMPARE(requestEntries(*simulator).last().value(u"issuedToken"_s).toString(), claim);

    // A login that carries no token at all: the log still tells which one the session holds.
    simulator->setJwtCookie(false);
    simulator->setCsrfHeaderAtLogin(false);
    SimClient headerless(*simulator);
    QVERIFY(!headerless.loginOk().hasHeader(QByteArrayLiteral("X-CSRF-Token")));
    const QJsonObject login = requestEntries(*simulator).last();
    QCOMPARE(login.value(u"created"_s), QJsonValue(2));
    headerless.csrfToken = login.value(u"issuedToken"_s).toString().toUtf8();
    QCOMPARE(headerless.postWithToken(QString::fromLatin1(unifiOsRestart), restartBody(u"78:45:58:a1:10:20"_s)).status,
             200);
}

void TestSimSessions::twoFactorRefusesTheRightPassword_data()
{
    sessionIsCheckedBeforeEverything_data();
}

void TestSimSessions::twoFactorRefusesTheRightPassword()
{
    QFETCH(Kind, kind);
    const auto simulator = startSimulator(kind);
    simulator->setTwoFactorRequired(true);
    QVERIFY(simulator->twoFactorRequired());
    SimClient client(*simulator);
    // A wrong password is refused as ever: the second factor is asked only of someone who knows it.
    QCOMPARE(client.login(u"demo"_s, u"wrong"_s).status, kind == Kind::UnifiOS ? 401 : 400);

    const Answer challenge = client.loginOk();
    QVERIFY(!challenge.hasHeader(QByteArrayLiteral("Set-Cookie")));
    QVERIFY(!challenge.hasHeader(QByteArrayLiteral("X-CSRF-Token")));
    QVERIFY(client.cookies().isEmpty());
    QCOMPARE(simulator->liveSessionCount(), 0);
    const QJsonObject body = challenge.json().object();
    if (kind == Kind::Classic) {
        QCOMPARE(challenge.status, 400);
        const QByteArray start = R"({"meta":{"rc":"error","msg":"api.err.Ubic2faTokenRequired"},"data":[{)";
        QVERIFY2(challenge.body.startsWith(start), challenge.body.constData());
        const QJsonObject data = body.value(u"data"_s).toArray().first().toObject();
        QVERIFY(!data.value(u"mfa_cookie"_s).toString().isEmpty());
        const QJsonArray authenticators = data.value(u"authenticators"_s).toArray();
        QVERIFY(findById(authenticators, u"id"_s, data.value(u"default_mfa"_s).toString()).has_value());
    } else {
        QCOMPARE(challenge.status, 499);
        const QByteArray start = R"({"code":"MFA_AUTH_REQUIRED","message":")";
        QVERIFY2(challenge.body.startsWith(start), challenge.body.constData());
        const QJsonObject data = body.value(u"data"_s).toObject();
        QCOMPARE(data.value(u"required"_s).toString(), u"2fa"_s);
        QVERIFY(data.value(u"mfaCookie"_s).toString().startsWith(u"UBIC_2FA="_s));
        QVERIFY(findById(data.value(u"authenticators"_s).toArray(), u"id"_s,
                         data.value(u"user"_s).toObject().value(u"default_mfa"_s).toString())
                    .has_value());
    }
    const QJsonObject entry = requestEntries(*simulator).last();
    QCOMPARE(entry.value(u"status"_s).toInt(), challenge.status);
    QVERIFY(!entry.contains(u"created"_s));
    QVERIFY(!entry.contains(u"issuedToken"_s));

    simulator->setTwoFactorRequired(false);
    QCOMPARE(client.loginOk().status, 200);
}

void TestSimSessions::loginAnswerReplacesEveryLogin()
{
    const auto simulator = startSimulator(Kind::Classic);
    simulator->setLoginRateLimit(1, 10min);
    const QByteArray envelope = R"({"meta":{"rc":"error","msg":"api.err.Whatever"},"data":[]})";
    simulator->setLoginAnswer(200, envelope);
    SimClient client(*simulator);
    for (const QString &password : {simulator->password(), u"wrong"_s, simulator->password()}) {
        const Answer answer = client.login(simulator->username(), password);
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.body, envelope);
        QCOMPARE(answer.header(QByteArrayLiteral("Content-Type")),
                 QByteArrayLiteral("application/json; charset=utf-8"));
        QVERIFY(!answer.hasHeader(QByteArrayLiteral("Set-Cookie")));
        QVERIFY(!answer.hasHeader(QByteArrayLiteral("X-CSRF-Token")));
    }
    QCOMPARE(simulator->liveSessionCount(), 0);
    QVERIFY(!requestEntries(*simulator).last().contains(u"created"_s));

    simulator->setLoginAnswer(499, "{}"); // any status
    QCOMPARE(client.loginOk().status, 499);
    // The rate limit was never consulted: the one login it allows is still there.
    simulator->clearLoginAnswer();
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(client.loginOk().status, 429);
}

void TestSimSessions::csrfCookieMode()
{
    const auto simulator = startSimulator(Kind::Classic);
    simulator->setCsrfCookie(true);
    QVERIFY(simulator->csrfCookie());
    SimClient client(*simulator);
    const Answer login = client.loginOk();
    QCOMPARE(login.status, 200);
    QVERIFY(!login.hasHeader(QByteArrayLiteral("X-CSRF-Token")));
    const QString issued = requestEntries(*simulator).last().value(u"issuedToken"_s).toString();
    QVERIFY(!issued.isEmpty());
    // Qt joins the two Set-Cookie headers with a line break.
    const QList<QByteArray> setCookies = login.header(QByteArrayLiteral("Set-Cookie")).split('\n');
    QVERIFY2(setCookies.contains("csrf_token=" + issued.toUtf8() + "; Path=/; Secure"),
             login.header(QByteArrayLiteral("Set-Cookie")).constData());
    const auto token = [&] {
        for (const QNetworkCookie &cookie : client.cookies()) {
            if (cookie.name() == "csrf_token")
                return cookie.value();
        }
        return QByteArray();
    };
    QCOMPARE(token(), issued.toUtf8());
    QCOMPARE(client.get(u"/api/self"_s).status, 200); // the csrf_token cookie is no session cookie

    const QString restart = restartPath(Kind::Classic);
    const QByteArray body = restartBody(u"78:45:58:a1:10:20"_s);
    QCOMPARE(client.post(restart, body).status, 403); // the cookie alone does not do
    client.csrfToken = token();
    QCOMPARE(client.postWithToken(restart, body).status, 200);

    simulator->setCsrfRotation(true);
    const Answer rotated = client.postWithToken(restart, body);
    QCOMPARE(rotated.status, 200);
    const QByteArray next = rotated.header(QByteArrayLiteral("X-Updated-CSRF-Token"));
    QVERIFY(!next.isEmpty() && next != client.csrfToken);
    QCOMPARE(rotated.header(QByteArrayLiteral("Set-Cookie")), "csrf_token=" + next + "; Path=/; Secure");
    QCOMPARE(token(), next);
    QCOMPARE(requestEntries(*simulator).last().value(u"issuedToken"_s).toString(), QString::fromUtf8(next));
    client.csrfToken = token();
    QCOMPARE(client.postWithToken(restart, body).status, 200);

    client.csrfToken = token(); // rotated once more
    QCOMPARE(client.postWithToken(u"/api/logout"_s).status, 200);
    QVERIFY(client.cookies().isEmpty()); // the logout took both cookies away
}

void TestSimSessions::csrfCookieModeIsClassicOnly()
{
    const auto simulator = startSimulator(Kind::UnifiOS);
    simulator->setCsrfCookie(true);
    SimClient client(*simulator);
    const Answer login = client.loginOk();
    QVERIFY(login.hasHeader(QByteArrayLiteral("X-CSRF-Token")));
    QCOMPARE(client.cookies().size(), 1);
    QCOMPARE(client.cookies().first().name(), QByteArrayLiteral("TOKEN"));
}

QTEST_GUILESS_MAIN(TestSimSessions)
#include "tst_simsessions.moc"
