// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>
#include <QString>

#include <QCoroTask>

namespace lanternfold {

/// Asks the person whether to trust a controller's key seen for the first time. The program
/// answers with a warning message box shown with open() and awaited, never with a nested event
/// loop; tests answer directly. The texts live here so that both show the same words.
class CertificateApprover : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CertificateApprover)

public:
    using QObject::QObject;
    ~CertificateApprover() override = default;

    /// True when the person chose to trust the key.
    virtual QCoro::Task<bool> approve(QString host, QString fingerprint) = 0;

    /// The alert's message.
    static QString messageText();
    /// The alert's informative text, with the fingerprint grouped for reading.
    static QString informativeText(const QString &host, const QString &fingerprint);
    /// The accepting button (first, default) and the rejecting one. A widget shows "&" as a
    /// mnemonic marker, so it must double it.
    static QString trustButtonText();
    static QString cancelButtonText();

    /// Groups of four characters separated by single spaces, from the start; the last group may be
    /// shorter. Empty for an empty fingerprint.
    static QString formatted(const QString &fingerprint);
};

} // namespace lanternfold
