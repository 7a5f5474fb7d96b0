// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/CertificateQuestion.h"

#include "Async/Latch.h"

#include <QMessageBox>
#include <QPushButton>

namespace lanternfold {

using namespace Qt::StringLiterals;

CertificateQuestion::CertificateQuestion(QWidget *window, QObject *parent)
    : CertificateApprover(parent), m_window(window)
{
}

QCoro::Task<bool> CertificateQuestion::approve(QString host, QString fingerprint)
{
    auto *box = new QMessageBox(m_window);
    box->setIcon(QMessageBox::Warning);
    box->setText(messageText());
    box->setInformativeText(informativeText(host, fingerprint));
    // A widget reads a single "&" as a mnemonic marker.
    QPushButton *trust = box->addButton(QString(trustButtonText()).replace(u"&"_s, u"&&"_s), QMessageBox::AcceptRole);
    QPushButton *cancel = box->addButton(cancelButtonText(), QMessageBox::RejectRole);
    box->setDefaultButton(trust);
    box->setEscapeButton(cancel);
    box->setObjectName(u"certificateQuestion"_s);
    // The fingerprint is what the person compares: let them select and copy it.
    box->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_box = box;
    box->open();
    return ask(this, box);
}

QCoro::Task<bool> CertificateQuestion::ask(QPointer<CertificateQuestion> self, QPointer<QMessageBox> box)
{
    {
        Wakeup wakeup;
        wakeup.watch(box.data(), &QMessageBox::finished);
        // The window (and the box with it) may go first, when the program quits.
        wakeup.watch(box.data(), &QObject::destroyed);
        co_await wakeup.wait();
    }
    if (!box)
        co_return false;
    const bool trusted =
        box->clickedButton() != nullptr && box->buttonRole(box->clickedButton()) == QMessageBox::AcceptRole;
    box->deleteLater();
    if (self && self->m_box == box)
        self->m_box = nullptr;
    co_return trusted;
}

} // namespace lanternfold
