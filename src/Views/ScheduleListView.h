// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ScheduledJob.h"

#include <QList>
#include <QWidget>

#include <optional>

class QAction;
class QListWidget;
class QListWidgetItem;
class QMenu;
class QPushButton;
class QStackedWidget;

namespace lanternfold {

class AppState;
class DeviceListModel;
class JobRow;
class ScheduleEditView;
class ScheduleListPlaceholder;

/// The Schedules tab: every scheduled job as a row with its switch, the editor for a new job or
/// for a clicked row, and deletion of the selected rows (the Delete key or the row's menu, without
/// asking). Rows follow the state's job list as it changes, scheduler runs included.
class ScheduleListView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ScheduleListView)

public:
    /// The editor it opens chooses among devices' rows.
    ScheduleListView(AppState &appState, DeviceListModel &devices, QWidget *parent = nullptr);
    ~ScheduleListView() override;

    /// The job whose editor is open; absent otherwise.
    [[nodiscard]] const std::optional<ScheduledJob> &editingJob() const { return m_editingJob; }
    /// Whether the editor for a new job is open.
    [[nodiscard]] bool isPresentingNewJob() const { return m_isPresentingNewJob; }
    /// The open editor, if any.
    [[nodiscard]] ScheduleEditView *editor() const { return m_editor; }

    /// Opens the editor for a new job (the "New Schedule" button).
    void presentNewJob();
    /// Opens the editor for job (a click on its row).
    void presentJob(const ScheduledJob &job);
    /// Removes the selected rows' jobs through the application state, without asking.
    void deleteSelectedRows();

    // The parts, for the window and for tests that drive them.
    [[nodiscard]] QPushButton *newScheduleButton() const { return m_newSchedule; }
    [[nodiscard]] ScheduleListPlaceholder *placeholder() const { return m_placeholder; }
    [[nodiscard]] QListWidget *list() const { return m_list; }
    [[nodiscard]] QAction *deleteAction() const { return m_deleteAction; }
    [[nodiscard]] QMenu *rowMenu() const { return m_rowMenu; }
    [[nodiscard]] JobRow *row(int position) const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void jobsChanged();
    void rebuildRows();
    void rowClicked(QListWidgetItem *item);
    void selectionChanged();
    void showRowMenu(const QPoint &position);
    void present(std::optional<ScheduledJob> job);
    void editorClosed();

    AppState &m_appState;
    DeviceListModel &m_devices;
    std::optional<ScheduledJob> m_editingJob;
    bool m_isPresentingNewJob = false;
    /// Parented to this view; deleted once it has closed.
    ScheduleEditView *m_editor = nullptr;

    QPushButton *m_newSchedule = nullptr;
    QStackedWidget *m_pages = nullptr;
    ScheduleListPlaceholder *m_placeholder = nullptr;
    QListWidget *m_list = nullptr;
    QAction *m_deleteAction = nullptr;
    QMenu *m_rowMenu = nullptr;
    /// Modifier keys of the latest mouse release on the list: a click with Ctrl or Shift extends
    /// the selection instead of opening the editor.
    Qt::KeyboardModifiers m_clickModifiers;
};

} // namespace lanternfold
