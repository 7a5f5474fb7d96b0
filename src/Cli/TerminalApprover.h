// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Controller/Trust/CertificateApprover.h"

#include <QString>

#include <optional>

namespace lanternfold {

/// Decides about a controller's first-seen key without a window: against the fingerprint the
/// person gave on the command line, or by asking on the terminal. With neither, the key is declined.
class TerminalApprover final : public CertificateApprover
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TerminalApprover)

public:
    explicit TerminalApprover(QObject *parent = nullptr);
    ~TerminalApprover() override;

    /// The fingerprint the key must have (any case, with or without spaces and colons).
    void setExpectedFingerprint(const QString &fingerprint);
    /// Whether a question may be put on the terminal (never while standard input carries a password).
    void setMayAsk(bool mayAsk) { m_mayAsk = mayAsk; }

    QCoro::Task<bool> approve(QString host, QString fingerprint) override;

    /// The fingerprint of the last key decided about, to say what was refused.
    [[nodiscard]] const QString &lastPresented() const { return m_lastPresented; }
    /// Whether the last key was refused because it differs from the expected one.
    [[nodiscard]] bool lastDiffered() const { return m_lastDiffered; }
    /// Whether the last key was declined because nobody could be asked.
    [[nodiscard]] bool lastUnasked() const { return m_lastUnasked; }

    /// fingerprint in lower case, without spaces and colons.
    static QString normalised(const QString &fingerprint);

private:
    std::optional<QString> m_expected;
    bool m_mayAsk = true;
    QString m_lastPresented;
    bool m_lastDiffered = false;
    bool m_lastUnasked = false;
};

} // namespace lanternfold
