// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Cli/TerminalApprover.h"

#include "Cli/Terminal.h"

#include <cstdio>

namespace lanternfold {

using namespace Qt::StringLiterals;

TerminalApprover::TerminalApprover(QObject *parent) : CertificateApprover(parent) {}

TerminalApprover::~TerminalApprover() = default;

void TerminalApprover::setExpectedFingerprint(const QString &fingerprint)
{
    m_expected = normalised(fingerprint);
}

QString TerminalApprover::normalised(const QString &fingerprint)
{
    QString result;
    for (const QChar c : fingerprint) {
        if (c != u' ' && c != u':')
            result.append(c.toLower());
    }
    return result;
}

QCoro::Task<bool> TerminalApprover::approve(QString host, QString fingerprint)
{
    m_lastPresented = fingerprint;
    m_lastDiffered = false;
    m_lastUnasked = false;
    if (m_expected) {
        m_lastDiffered = normalised(fingerprint) != *m_expected;
        co_return !m_lastDiffered;
    }
    if (!m_mayAsk || !terminal::inputIsTerminal()) {
        m_lastUnasked = true;
        co_return false;
    }
    std::fputs(u"The controller at %1 presents this key (SHA-256 of its public key):\n  %2\n"_s
                   .arg(host, CertificateApprover::formatted(fingerprint))
                   .toLocal8Bit()
                   .constData(),
               stdout);
    std::fflush(stdout);
    const std::optional<QString> answer = terminal::readLine(u"Trust this key? [y/N] "_s);
    const QString word = answer.value_or(QString()).trimmed().toLower();
    co_return word == u"y"_s || word == u"yes"_s;
}

} // namespace lanternfold
