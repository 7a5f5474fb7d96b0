// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/ScheduleListView.h"

#include "State/AppState.h"
#include "Views/JobRow.h"
#include "Views/ScheduleEditView.h"
#include "Views/ScheduleListPlaceholder.h"
#include "Views/Symbols.h"
#include "Views/TextStyle.h"

#include <QAction>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QSet>
#include <QStackedWidget>
#include <QUuid>
#include <QVBoxLayout>

namespace lanternfold {

namespace {

constexpr int idRole = Qt::UserRole;

/// Positions for AppState::removeJobs, which reads each position against the list as it stands
/// after the removals before it (and removes every job of that id): the first remaining job to
/// go, each time. So exactly the chosen jobs go, whatever rows were selected.
QList<int> removalPositions(QList<ScheduledJob> jobs, QSet<QUuid> ids)
{
    QList<int> positions;
    while (!ids.isEmpty()) {
        const auto it =
            std::find_if(jobs.cbegin(), jobs.cend(), [&ids](const ScheduledJob &job) { return ids.contains(job.id); });
        if (it == jobs.cend())
            break;
        const QUuid id = it->id;
        positions.append(static_cast<int>(std::distance(jobs.cbegin(), it)));
        jobs.removeIf([&id](const ScheduledJob &job) { return job.id == id; });
        ids.remove(id);
    }
    return positions;
}

} // namespace

ScheduleListView::ScheduleListView(AppState &appState, DeviceListModel &devices, QWidget *parent)
    : QWidget(parent), m_appState(appState), m_devices(devices)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto *header = new QHBoxLayout;
    header->setContentsMargins(16, 14, 16, 10);
    //: Heading of the Schedules tab
    auto *title = new QLabel(tr("Schedules"), this);
    setTextStyle(title, TextStyle::title2);
    header->addWidget(title);
    header->addStretch(1);
    m_newSchedule = new QPushButton(symbolIcon(Symbol::plus), tr("New Schedule"), this);
    connect(m_newSchedule, &QPushButton::clicked, this, &ScheduleListView::presentNewJob);
    header->addWidget(m_newSchedule);
    layout->addLayout(header);

    m_pages = new QStackedWidget(this);
    m_placeholder = new ScheduleListPlaceholder(m_pages);
    m_pages->addWidget(m_placeholder);

    // An inset list: a card on the window's background, with room on every side.
    auto *listPage = new QWidget(m_pages);
    auto *listLayout = new QVBoxLayout(listPage);
    listLayout->setContentsMargins(16, 0, 16, 16);
    m_list = new QListWidget(listPage);
    m_list->setFrameShape(QFrame::StyledPanel);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->viewport()->installEventFilter(this);
    m_list->installEventFilter(this);
    listLayout->addWidget(m_list);
    m_pages->addWidget(listPage);
    layout->addWidget(m_pages, 1);

    //: Menu item of a schedule row: removes the selected schedules
    m_deleteAction = new QAction(tr("Delete"), this);
    m_deleteAction->setShortcut(QKeySequence::Delete);
    m_deleteAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_deleteAction->setEnabled(false);
    connect(m_deleteAction, &QAction::triggered, this, &ScheduleListView::deleteSelectedRows);
    m_list->addAction(m_deleteAction);
    m_rowMenu = new QMenu(this);
    m_rowMenu->addAction(m_deleteAction);

    connect(m_list, &QListWidget::itemClicked, this, &ScheduleListView::rowClicked);
    connect(m_list, &QListWidget::itemSelectionChanged, this, &ScheduleListView::selectionChanged);
    connect(m_list, &QListWidget::customContextMenuRequested, this, &ScheduleListView::showRowMenu);
    connect(&m_appState, &AppState::jobsChanged, this, &ScheduleListView::jobsChanged);
    // The rows name a job's site only while the account has several.
    connect(&m_appState, &AppState::sitesChanged, this, &ScheduleListView::jobsChanged);

    rebuildRows();
}

ScheduleListView::~ScheduleListView() = default;

JobRow *ScheduleListView::row(int position) const
{
    QListWidgetItem *item = m_list->item(position);
    return item ? qobject_cast<JobRow *>(m_list->itemWidget(item)) : nullptr;
}

void ScheduleListView::jobsChanged()
{
    const QList<ScheduledJob> &jobs = m_appState.jobs();
    bool sameRows = jobs.size() == m_list->count();
    for (int position = 0; sameRows && position < m_list->count(); ++position)
        sameRows = m_list->item(position)->data(idRole).toUuid() == jobs.at(position).id;
    if (!sameRows) {
        rebuildRows();
        return;
    }
    // The same jobs in the same order (a switch, an edit, a run): the rows are updated in place,
    // so that a row's switch is never deleted while it is still announcing its flip.
    for (int position = 0; position < m_list->count(); ++position) {
        row(position)->setJob(jobs.at(position));
        m_list->item(position)->setData(Qt::AccessibleTextRole, jobs.at(position).name);
        m_list->item(position)->setData(Qt::AccessibleDescriptionRole, row(position)->description());
    }
}

void ScheduleListView::rebuildRows()
{
    QSet<QUuid> selected;
    for (const QListWidgetItem *item : m_list->selectedItems())
        selected.insert(item->data(idRole).toUuid());
    const QUuid current = m_list->currentItem() ? m_list->currentItem()->data(idRole).toUuid() : QUuid();

    m_list->clear();
    for (const ScheduledJob &job : m_appState.jobs()) {
        auto *item = new QListWidgetItem(m_list);
        item->setData(idRole, job.id);
        item->setData(Qt::AccessibleTextRole, job.name);
        auto *jobRow = new JobRow(m_appState, job, m_list->viewport());
        item->setSizeHint(jobRow->sizeHint());
        m_list->setItemWidget(item, jobRow);
        item->setData(Qt::AccessibleDescriptionRole, jobRow->description());
        if (job.id == current)
            m_list->setCurrentItem(item, QItemSelectionModel::NoUpdate);
        item->setSelected(selected.contains(job.id));
    }
    m_pages->setCurrentIndex(m_appState.jobs().isEmpty() ? 0 : 1);
    selectionChanged();
}

bool ScheduleListView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_list->viewport() && event->type() == QEvent::MouseButtonRelease)
        m_clickModifiers = static_cast<QMouseEvent *>(event)->modifiers();
    // Return on the current row opens it, as a click does. Not through the view's activated
    // signal: on desktops set to open items with one click it comes with Ctrl-clicks as well.
    if (watched == m_list && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        const int position = m_list->currentRow();
        if ((key == Qt::Key_Return || key == Qt::Key_Enter) && position >= 0 && position < m_appState.jobs().size()) {
            presentJob(m_appState.jobs().at(position));
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ScheduleListView::rowClicked(QListWidgetItem *item)
{
    if (m_clickModifiers & (Qt::ControlModifier | Qt::ShiftModifier))
        return;
    const int position = m_list->row(item);
    if (position >= 0 && position < m_appState.jobs().size())
        presentJob(m_appState.jobs().at(position));
}

void ScheduleListView::selectionChanged()
{
    for (int position = 0; position < m_list->count(); ++position) {
        if (JobRow *jobRow = row(position))
            jobRow->setSelected(m_list->item(position)->isSelected());
    }
    m_deleteAction->setEnabled(!m_list->selectedItems().isEmpty());
}

void ScheduleListView::showRowMenu(const QPoint &position)
{
    QListWidgetItem *item = m_list->itemAt(position);
    if (!item)
        return;
    if (!item->isSelected())
        m_list->setCurrentItem(item, QItemSelectionModel::ClearAndSelect);
    // Shown without waiting for it: the menu's action does the work.
    m_rowMenu->popup(m_list->viewport()->mapToGlobal(position));
}

void ScheduleListView::deleteSelectedRows()
{
    QSet<QUuid> ids;
    for (const QListWidgetItem *item : m_list->selectedItems())
        ids.insert(item->data(idRole).toUuid());
    if (ids.isEmpty())
        return;
    m_appState.removeJobs(removalPositions(m_appState.jobs(), ids));
}

void ScheduleListView::presentNewJob()
{
    present(std::nullopt);
}

void ScheduleListView::presentJob(const ScheduledJob &job)
{
    present(job);
}

void ScheduleListView::present(std::optional<ScheduledJob> job)
{
    // One sheet at a time.
    if (m_editor)
        return;
    if (job)
        m_editingJob = job;
    else
        m_isPresentingNewJob = true;
    m_editor = new ScheduleEditView(m_appState, m_devices, std::move(job), this);
    connect(m_editor, &QDialog::finished, this, &ScheduleListView::editorClosed);
    m_editor->open();
}

void ScheduleListView::editorClosed()
{
    m_editingJob.reset();
    m_isPresentingNewJob = false;
    // Still inside the sheet's own signal: it goes once that has returned.
    m_editor->deleteLater();
    m_editor = nullptr;
}

} // namespace lanternfold
