// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Trust/CertificateApprover.h"

#include <QStringList>

namespace lanternfold {

using namespace Qt::StringLiterals;

QString CertificateApprover::messageText()
{
    return u"Verify Controller Certificate"_s;
}

QString CertificateApprover::informativeText(const QString &host, const QString &fingerprint)
{
    return u"Lanternfold hasn't connected to "_s + host +
           u" before.\n\nCertificate fingerprint (SHA-256 of public key):\n"_s + formatted(fingerprint) +
           u"\n\nConfirm this matches your controller (check the same fingerprint in UniFi OS \u25B8 Settings "
           u"\u25B8 System, or via `openssl` locally) before trusting it. This value is pinned \u2014 future "
           u"connections will be rejected if it ever changes unexpectedly."_s;
}

QString CertificateApprover::trustButtonText()
{
    return u"Trust & Continue"_s;
}

QString CertificateApprover::cancelButtonText()
{
    return u"Cancel"_s;
}

QString CertificateApprover::formatted(const QString &fingerprint)
{
    QStringList groups;
    for (qsizetype start = 0; start < fingerprint.size(); start += 4)
        groups.append(fingerprint.mid(start, 4));
    return groups.join(u' ');
}

} // namespace lanternfold
