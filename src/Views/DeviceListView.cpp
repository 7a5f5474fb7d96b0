// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/DeviceListView.h"

#include "Async/Latch.h"
#include "State/AppState.h"
#include "Views/BusyButton.h"
#include "Views/DeviceList.h"
#include "Views/DeviceListModel.h"
#include "Views/DeviceRowDelegate.h"
#include "Views/Symbols.h"
#include "Views/TextStyle.h"

#include <QCheckBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QItemSelection>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QShowEvent>
#include <QVBoxLayout>

namespace lanternfold {

namespace {

constexpr int sideMargin = 16;

} // namespace

DeviceListView::DeviceListView(AppState &appState, DeviceListModel &devices, QWidget *parent)
    : QWidget(parent), m_appState(&appState), m_devices(devices), m_closed(std::make_shared<Latch>())
{
    m_list = new DeviceList(this);
    m_list->setModel(&m_devices);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setItemDelegate(new DeviceRowDelegate(m_list));
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto *listMargins = new QVBoxLayout;
    listMargins->setContentsMargins(sideMargin, 8, sideMargin, 12);
    listMargins->addWidget(m_list);

    auto *divider = new QFrame(this);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);

    auto *root = new QVBoxLayout(this);
    root->setContentsMargins(0, 0, 0, 0);
    root->setSpacing(0);
    root->addWidget(buildHeader());
    root->addLayout(listMargins, 1);
    root->addWidget(divider);
    root->addWidget(buildFooter());

    setTabOrder(m_refresh, m_list);
    setTabOrder(m_list, m_restart);

    applyColours();
    // After the list's own handlers: the view has dropped its old rows (and their header labels)
    // when these run.
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &DeviceListView::takeSelectionFromList);
    connect(&m_devices, &QAbstractItemModel::modelAboutToBeReset, this, &DeviceListView::rememberPlace);
    connect(&m_devices, &QAbstractItemModel::modelReset, this, &DeviceListView::showDevices);
    showDevices();
}

DeviceListView::~DeviceListView()
{
    m_closed->set();
}

QWidget *DeviceListView::buildHeader()
{
    auto *header = new QWidget(this);
    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(sideMargin, 14, sideMargin, 0);
    //: Heading of the Devices tab
    auto *title = new QLabel(tr("Devices"), header);
    title->setTextFormat(Qt::PlainText);
    setTextStyle(title, TextStyle::title2, /*bold=*/true);
    layout->addWidget(title);
    layout->addStretch(1);
    //: Button: loads the device lists from the controller again
    m_refresh = new QPushButton(symbolIcon(Symbol::arrowClockwise), tr("Refresh"), header);
    connect(m_refresh, &QPushButton::clicked, this, [this] { (void)refresh(QPointer<DeviceListView>(this)); });
    layout->addWidget(m_refresh);
    return header;
}

QWidget *DeviceListView::buildFooter()
{
    auto *footer = new QWidget(this);
    auto *layout = new QHBoxLayout(footer);
    layout->setContentsMargins(sideMargin, 10, sideMargin, 12);
    layout->setSpacing(12);
    m_selectedCount = new QLabel(footer);
    m_selectedCount->setTextFormat(Qt::PlainText);
    layout->addWidget(m_selectedCount);
    m_outcome = new QLabel(footer);
    m_outcome->setTextFormat(Qt::PlainText);
    setTextStyle(m_outcome, TextStyle::caption);
    m_outcome->hide();
    layout->addWidget(m_outcome);
    layout->addStretch(1);
    m_waitToggle = new QCheckBox(tr("Wait for each device to come back"), footer);
    m_waitToggle->setChecked(m_appState && m_appState->devicesTabWaits());
    connect(m_waitToggle, &QCheckBox::toggled, this, [this](bool on) {
        if (m_appState)
            m_appState->setDevicesTabWaits(on);
    });
    layout->addWidget(m_waitToggle);
    m_restart = new BusyButton(tr("Restart Selected"), symbolIcon(Symbol::power), footer);
    connect(m_restart, &QPushButton::clicked, this, [this] { (void)restartSelected(QPointer<DeviceListView>(this)); });
    layout->addWidget(m_restart);
    return footer;
}

void DeviceListView::applyColours()
{
    const QColor secondary = secondaryTextColor(palette());
    setTextColor(m_selectedCount, secondary);
    setTextColor(m_outcome, secondary);
    // Restarting drops devices off the network: the button says so in red.
    setTextColor(m_restart, errorTextColor(palette()));
    for (QLabel *header : m_list->findChildren<QLabel *>())
        setTextColor(header, secondary);
}

QList<RestartTarget> DeviceListView::allTargets() const
{
    return m_devices.allTargets();
}

void DeviceListView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // Each time the program shows the tab, not when the window system merely uncovers it.
    if (!event->spontaneous())
        loadIfEmpty();
}

void DeviceListView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applyColours();
}

void DeviceListView::loadIfEmpty()
{
    // Not a Refresh press: the button stays as it is while this runs, and the lists arrive
    // through the state's change signals.
    if (m_appState && m_appState->accessPoints().isEmpty() && m_appState->cameras().isEmpty())
        (void)m_appState->refreshDevices();
}

void DeviceListView::rememberPlace()
{
    m_filling = true;
    m_scrolled = m_list->verticalScrollBar()->value();
    m_currentId = m_list->currentIndex().data(DeviceListModel::idRole).toString();
}

void DeviceListView::showDevices()
{
    // The rows are new; the selection comes back from the selected identifiers, so that it follows
    // a device whose place changed and keeps one that went away for when it returns.
    m_filling = true;
    labelSection(m_devices.accessPointsHeaderRow());
    labelSection(m_devices.camerasHeaderRow());
    QItemSelection selection;
    for (const QString &id : std::as_const(m_selected)) {
        if (const std::optional<int> row = m_devices.rowOf(id)) {
            const QModelIndex index = m_devices.index(*row);
            selection.select(index, index);
        }
    }
    QItemSelectionModel *selectionModel = m_list->selectionModel();
    selectionModel->select(selection, QItemSelectionModel::ClearAndSelect);
    if (const std::optional<int> current = m_devices.rowOf(m_currentId))
        selectionModel->setCurrentIndex(m_devices.index(*current), QItemSelectionModel::NoUpdate);
    // Laid out now rather than on the next turn, so that the place in the list can be restored.
    m_list->doItemsLayout();
    m_list->verticalScrollBar()->setValue(m_scrolled);
    m_filling = false;
    updateFooter();
}

void DeviceListView::labelSection(int row)
{
    const QModelIndex header = m_devices.index(row);
    auto *label = new QLabel(header.data(Qt::DisplayRole).toString());
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignLeft | Qt::AlignBottom);
    label->setContentsMargins(DeviceRowDelegate::horizontalPadding, 10, DeviceRowDelegate::horizontalPadding, 4);
    setTextStyle(label, TextStyle::subheadline, /*bold=*/true);
    setTextColor(label, secondaryTextColor(palette()));
    m_list->setIndexWidget(header, label);
}

void DeviceListView::takeSelectionFromList()
{
    if (m_filling)
        return;
    // The person's own change: the selection is what the list shows, so identifiers of devices
    // that went away leave it now.
    m_selected.clear();
    for (const QModelIndex &index : m_list->selectionModel()->selectedIndexes())
        m_selected.insert(index.data(DeviceListModel::idRole).toString());
    updateFooter();
}

void DeviceListView::updateFooter()
{
    //: %1 is how many devices are selected in the list
    m_selectedCount->setText(tr("%1 selected").arg(m_selected.size()));
    m_outcome->setText(m_restartResultMessage.value_or(QString()));
    m_outcome->setVisible(m_restartResultMessage.has_value());
    m_restart->setBusy(m_isRestarting);
    m_restart->setEnabled(!m_selected.isEmpty() && !m_isRestarting);
    m_waitToggle->setEnabled(!m_isRestarting);
    m_refresh->setEnabled(!m_isRefreshing);
}

void DeviceListView::setRefreshing(bool refreshing)
{
    m_isRefreshing = refreshing;
    updateFooter();
}

void DeviceListView::setRestarting(bool restarting)
{
    m_isRestarting = restarting;
    updateFooter();
}

void DeviceListView::setRestartResultMessage(std::optional<QString> message)
{
    m_restartResultMessage = std::move(message);
    updateFooter();
}

QString DeviceListView::outcomeLine(qsizetype succeeded, qsizetype failed)
{
    if (failed > 0) {
        //: After a restart run: %1 devices restarted, %2 did not
        return tr("%1 ok, %2 failed.").arg(succeeded).arg(failed);
    }
    return tr("Restarted %1 device(s).").arg(succeeded);
}

QCoro::Task<void> DeviceListView::refresh(QPointer<DeviceListView> self)
{
    const QPointer<AppState> state = self->m_appState;
    if (!state)
        co_return;
    self->setRefreshing(true);
    (void)co_await state->refreshDevices();
    if (!self)
        co_return;
    self->setRefreshing(false);
}

QCoro::Task<void> DeviceListView::restartSelected(QPointer<DeviceListView> self)
{
    const QPointer<AppState> state = self->m_appState;
    if (!state)
        co_return;
    self->setRestarting(true);
    self->setRestartResultMessage(std::nullopt);

    // The work list is fixed now, in the list's order whatever the order of clicking; selected
    // identifiers that match no device any more are left out.
    QList<RestartTarget> work;
    for (const RestartTarget &target : self->allTargets()) {
        if (self->m_selected.contains(target.id()))
            work.append(target);
    }
    // Each device as a restart of its own, through whoever is logged in at that moment, and the
    // run goes on after a failure; only the view's end calls it off.
    AppState::BatchOptions options;
    options.pause = restartGap;
    options.cancel = self->m_closed;
    options.followsTheLogin = true;
    // The devices chosen are the shown site's: they stay on it if another site is chosen meanwhile.
    options.site = state->site();
    // Waiting, each device is watched until it is back before the pause and the next one.
    if (self->m_waitToggle->isChecked())
        options.waitForOnline = ScheduledJob::WaitForOnline{};
    const AppState::BatchOutcome outcome = co_await state->restartBatch(std::move(work), std::move(options));
    if (!self || !state)
        co_return;
    self->setRestartResultMessage(outcome.waitMinutes ? outcome.summary()
                                                      : outcomeLine(outcome.succeeded.size(), outcome.failed.size()));
    self->setRestarting(false);
}

} // namespace lanternfold
