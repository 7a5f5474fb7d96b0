// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QScrollArea>
#include <QStringList>

class QLabel;
class QVBoxLayout;

namespace lanternfold {

/// The activity log's lines, one text each, top to bottom in the order given, in a monospaced
/// caption font, scrollable. Each line is a label, so that a screen reader reads it as text.
class ActivityLogList final : public QScrollArea
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ActivityLogList)

public:
    explicit ActivityLogList(QWidget *parent = nullptr);

    void setLines(const QStringList &lines);
    [[nodiscard]] QStringList lines() const;
    /// The labels showing the lines, in order.
    [[nodiscard]] const QList<QLabel *> &lineLabels() const { return m_labels; }

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyFont();

    QWidget *m_content;
    QVBoxLayout *m_column;
    QList<QLabel *> m_labels;
};

} // namespace lanternfold
