// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

class QLabel;

namespace lanternfold {

/// What the schedule list shows while there are no jobs: a picture, a title and a line saying
/// what schedules are for, centred in the space of the list.
class ScheduleListPlaceholder final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ScheduleListPlaceholder)

public:
    explicit ScheduleListPlaceholder(QWidget *parent = nullptr);

    [[nodiscard]] QLabel *pictureLabel() const { return m_picture; }
    [[nodiscard]] QLabel *titleLabel() const { return m_title; }
    [[nodiscard]] QLabel *descriptionLabel() const { return m_description; }

private:
    QLabel *m_picture = nullptr;
    QLabel *m_title = nullptr;
    QLabel *m_description = nullptr;
};

} // namespace lanternfold
