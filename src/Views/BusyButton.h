// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QIcon>
#include <QPushButton>
#include <QString>

class QProgressBar;

namespace lanternfold {

/// A push button whose label gives way to a small busy bar while the work it started runs.
/// While busy it keeps its size and its accessible name, so that neither the layout nor a screen
/// reader loses it; whoever owns it disables it for that time.
class BusyButton final : public QPushButton
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BusyButton)

public:
    explicit BusyButton(const QString &label, const QIcon &icon = {}, QWidget *parent = nullptr);
    ~BusyButton() override = default;

    void setBusy(bool busy);
    [[nodiscard]] bool isBusy() const { return m_busy; }
    [[nodiscard]] const QString &label() const { return m_label; }
    [[nodiscard]] QProgressBar *indicator() const { return m_indicator; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

private:
    QString m_label;
    QIcon m_icon;
    QSize m_idleSizeHint;
    QSize m_idleMinimumSizeHint;
    QProgressBar *m_indicator = nullptr;
    bool m_busy = false;
};

} // namespace lanternfold
