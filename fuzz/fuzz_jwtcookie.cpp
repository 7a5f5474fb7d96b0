// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// A console's session cookie value, as UnifiAPIClient::csrfTokenFromJwt reads the CSRF token out of
// it: whatever it finds must be found again in a token made to carry it.

#include "Controller/UnifiAPIClient.h"
#include "support/FuzzSupport.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstddef>
#include <cstdint>

using namespace lanternfold;
using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::countExecution();
    const QByteArray cookie(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto token = UnifiAPIClient::csrfTokenFromJwt(cookie);
    if (UnifiAPIClient::csrfTokenFromJwt(cookie) != token)
        fuzz::invariantBroken("the same cookie read twice gave two tokens");
    if (!token)
        return 0;
    if (cookie.count('.') != 2)
        fuzz::invariantBroken("a token read from something that is not three parts");
    // A claim that UTF-8 cannot carry (a lone surrogate from an escape) cannot be written back.
    if (QString::fromUtf8(token->toUtf8()) != *token)
        return 0;
    const QByteArray payload = QJsonDocument(QJsonObject{{u"csrfToken"_s, *token}, {u"userId"_s, u"u"_s}})
                                   .toJson(QJsonDocument::Compact)
                                   .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    const QByteArray header = QByteArray(R"({"alg":"HS256","typ":"JWT"})")
                                  .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    const auto again = UnifiAPIClient::csrfTokenFromJwt(header + '.' + payload + ".c2lnbmF0dXJl");
    if (again != token)
        fuzz::roundTripFailed("the token changed in a cookie made to carry it");
    return 0;
}
