// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Controller/Trust/CertificateApprover.h"

#include <QPointer>
#include <QWidget>

#include <QMessageBox>

namespace lanternfold {

/// Asks about a controller's first-seen key with a warning message box over the main window. The
/// box is shown with open() and awaited, so the program keeps running (schedules, the tray) while
/// the person compares the fingerprint.
class CertificateQuestion final : public CertificateApprover
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CertificateQuestion)

public:
    /// The box opens over window, or on its own when window is gone.
    explicit CertificateQuestion(QWidget *window, QObject *parent = nullptr);
    ~CertificateQuestion() override = default;

    QCoro::Task<bool> approve(QString host, QString fingerprint) override;

    /// The box of the question being asked, if any.
    [[nodiscard]] QMessageBox *openBox() const { return m_box; }

private:
    static QCoro::Task<bool> ask(QPointer<CertificateQuestion> self, QPointer<QMessageBox> box);

    QPointer<QWidget> m_window;
    QPointer<QMessageBox> m_box;
};

} // namespace lanternfold
