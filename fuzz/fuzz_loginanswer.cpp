// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// A controller's answer to a login, as UnifiAPIClient::readLoginAnswer reads it. The input is an
// HTTP answer in its plain text form: a first line with the status ("c" before it for a classic
// Network Application, anything else for a console), header lines "Name: value", an empty line,
// then the body. Set-Cookie headers become the session's cookies as Qt parses them.

#include "Controller/UnifiAPIClient.h"
#include "support/FuzzSupport.h"

#include <cstddef>
#include <cstdint>

using namespace lanternfold;

namespace {

struct Answer
{
    ControllerKind kind = ControllerKind::unifiOS;
    int status = 0;
    QHash<QByteArray, QByteArray> headers;
    QList<QNetworkCookie> cookies;
    QByteArray body;
};

Answer parseAnswer(const QByteArray &bytes)
{
    Answer answer;
    qsizetype lineStart = 0;
    auto nextLine = [&]() -> std::optional<QByteArray> {
        if (lineStart >= bytes.size())
            return std::nullopt;
        qsizetype end = bytes.indexOf('\n', lineStart);
        if (end < 0)
            end = bytes.size();
        QByteArray line = bytes.mid(lineStart, end - lineStart);
        lineStart = end + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        return line;
    };
    QByteArray statusLine = nextLine().value_or(QByteArray());
    if (statusLine.startsWith('c')) {
        answer.kind = ControllerKind::classic;
        statusLine.remove(0, 1);
    }
    answer.status = statusLine.trimmed().toInt();
    while (const auto line = nextLine()) {
        if (line->isEmpty())
            break;
        const qsizetype colon = line->indexOf(':');
        const QByteArray name = line->left(colon < 0 ? line->size() : colon).trimmed().toLower();
        const QByteArray value = colon < 0 ? QByteArray() : line->mid(colon + 1).trimmed();
        // As the client keeps them: names in lower case, the last of repeated headers.
        answer.headers.insert(name, value);
        if (name == "set-cookie")
            answer.cookies += QNetworkCookie::parseCookies(value);
    }
    answer.body = lineStart < bytes.size() ? bytes.mid(lineStart) : QByteArray();
    return answer;
}

bool isJwtCookie(const QNetworkCookie &cookie)
{
    return cookie.name() == "TOKEN" || cookie.name() == "UOS_TOKEN";
}

/// Whether the token the answer gives (X-CSRF-Token, or a console's session cookie's claim when
/// no header names a token) holds what a request header cannot carry.
bool holdsUnsafeToken(const Answer &answer)
{
    const auto header = answer.headers.constFind("x-csrf-token");
    if (header != answer.headers.constEnd())
        return !UnifiAPIClient::headerSafeToken(header.value()).ok();
    if (answer.headers.contains("x-updated-csrf-token") || answer.kind != ControllerKind::unifiOS)
        return false;
    for (const QNetworkCookie &cookie : answer.cookies) {
        if (!isJwtCookie(cookie))
            continue;
        if (const auto claim = UnifiAPIClient::csrfTokenFromJwt(cookie.value());
            claim && !UnifiAPIClient::headerSafeToken(claim->toUtf8()).ok())
            return true;
    }
    return false;
}

void check(const Answer &answer, const APIResult<UnifiAPIClient::LoginToken> &result)
{
    using Source = UnifiAPIClient::LoginToken::Source;
    if (!result.ok()) {
        const UnifiAPIError &error = result.error();
        switch (error.kind()) {
        case UnifiAPIError::Case::invalidCredentials:
        case UnifiAPIError::Case::twoFactorRequired:
            return;
        case UnifiAPIError::Case::server: {
            if (error.status() != answer.status)
                fuzz::invariantBroken("a server error with another status than the answer's");
            // The body as text, or its first characters and "…", or nothing when it is not UTF-8.
            const QString &shown = error.detail();
            const bool whole = shown.toUtf8() == answer.body;
            const bool start = shown.endsWith(u'\u2026') && shown.size() - 1 <= UnifiAPIError::bodyShownLimit &&
                               answer.body.startsWith(shown.chopped(1).toUtf8());
            if (!shown.isEmpty() && !whole && !start)
                fuzz::invariantBroken("a server error whose text is not the body");
            return;
        }
        case UnifiAPIError::Case::decoding:
            if (!holdsUnsafeToken(answer))
                fuzz::invariantBroken("a token refused that a request header can carry");
            return;
        default:
            fuzz::invariantBroken("a login refusal of a kind no answer gives");
        }
    }
    if (answer.status < 200 || answer.status > 299)
        fuzz::invariantBroken("a login accepted with a status outside 2xx");
    const auto &token = result.value();
    const bool hasValue = token.source == Source::header || token.source == Source::sessionJwt;
    if (token.value.has_value() != hasValue)
        fuzz::invariantBroken("a token value where none belongs, or none where one does");
    const auto header = answer.headers.constFind("x-csrf-token");
    if (header != answer.headers.constEnd()) {
        if (token.source != Source::header || *token.value != QString::fromUtf8(header.value()))
            fuzz::invariantBroken("X-CSRF-Token was not taken as it came");
        return;
    }
    if (answer.headers.contains("x-updated-csrf-token")) {
        if (token.source != Source::updatedHeader)
            fuzz::invariantBroken("X-Updated-CSRF-Token was not followed");
        return;
    }
    bool jwtClaim = false;
    bool tokenCookie = false;
    for (const QNetworkCookie &cookie : answer.cookies) {
        if (isJwtCookie(cookie) && UnifiAPIClient::csrfTokenFromJwt(cookie.value()) == token.value)
            jwtClaim = true;
        if (isJwtCookie(cookie) && UnifiAPIClient::csrfTokenFromJwt(cookie.value()))
            tokenCookie = tokenCookie || answer.kind == ControllerKind::unifiOS;
        if (cookie.name() == "csrf_token" && !cookie.value().isEmpty())
            tokenCookie = tokenCookie || answer.kind == ControllerKind::classic;
    }
    switch (token.source) {
    case Source::sessionJwt:
        if (answer.kind != ControllerKind::unifiOS || !jwtClaim)
            fuzz::invariantBroken("a session token that no session cookie holds");
        return;
    case Source::tokenCookie:
        if (answer.kind != ControllerKind::classic || !tokenCookie)
            fuzz::invariantBroken("a token cookie followed that is not there");
        return;
    case Source::none:
        if (tokenCookie)
            fuzz::invariantBroken("a token the answer carries was left");
        return;
    case Source::header:
    case Source::updatedHeader:
        fuzz::invariantBroken("a header token without the header");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();
    const Answer answer = parseAnswer(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    const auto result =
        UnifiAPIClient::readLoginAnswer(answer.kind, answer.status, answer.headers, answer.body, answer.cookies);
    check(answer, result);
    if (!(UnifiAPIClient::readLoginAnswer(answer.kind, answer.status, answer.headers, answer.body, answer.cookies) ==
          result))
        fuzz::invariantBroken("the same answer read twice gave two results");
    return 0;
}
