// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Trust/CertificateApprover.h"

#include <QStringList>

namespace lanternfold {

QString CertificateApprover::messageText()
{
    //: The title line of the question asked on a controller's first connection.
    return tr("Verify Controller Certificate");
}

QString CertificateApprover::informativeText(const QString &host, const QString &fingerprint)
{
    //: %1 is the controller's host name or address, %2 the key's fingerprint in groups of four characters.
    //: "UniFi OS ▸ Settings ▸ System" names the controller's own menus: keep it as the controller shows it.
    return tr("Lanternfold hasn't connected to %1 before.\n\nCertificate fingerprint (SHA-256 of public key):\n%2"
              "\n\nConfirm this matches your controller (check the same fingerprint in UniFi OS \u25B8 Settings "
              "\u25B8 System, or via `openssl` locally) before trusting it. This value is pinned \u2014 future "
              "connections will be rejected if it ever changes unexpectedly.")
        .arg(host, formatted(fingerprint));
}

QString CertificateApprover::trustButtonText()
{
    //: Button that trusts the controller's key. The "&" is shown as it is, not as a shortcut marker.
    return tr("Trust & Continue");
}

QString CertificateApprover::cancelButtonText()
{
    //: Button that declines the controller's key.
    return tr("Cancel");
}

QString CertificateApprover::formatted(const QString &fingerprint)
{
    QStringList groups;
    for (qsizetype start = 0; start < fingerprint.size(); start += 4)
        groups.append(fingerprint.mid(start, 4));
    return groups.join(u' ');
}

} // namespace lanternfold
