#include "Views/DeviceListView.h"

#include "Async/Latch.h"
#include "State/AppState.h"
#include "Views/BusyButton.h"
#include "Views/DeviceList.h"
#include "Views/DeviceRow.h"
#include "Views/DeviceRowDelegate.h"
#include "Views/Symbols.h"
#include "Views/TextStyle.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QShowEvent>
#include <QVBoxLayout>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

constexpr int sideMargin = 16;

} // namespace

DeviceListView::DeviceListView(AppState &appState, QWidget *parent)
    : QWidget(parent), m_appState(&appState), m_closed(std::make_shared<Latch>())
{
    m_list = new DeviceList(this);
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
    connect(m_list, &QListWidget::itemSelectionChanged, this, &DeviceListView::takeSelectionFromList);
    connect(&appState, &AppState::accessPointsChanged, this, &DeviceListView::showDevices);
    connect(&appState, &AppState::camerasChanged, this, &DeviceListView::showDevices);
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
    auto *title = new QLabel(u"Devices"_s, header);
    title->setTextFormat(Qt::PlainText);
    setTextStyle(title, TextStyle::title2, /*bold=*/true);
    layout->addWidget(title);
    layout->addStretch(1);
    m_refresh = new QPushButton(symbolIcon(Symbol::arrowClockwise), u"Refresh"_s, header);
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
    m_restart = new BusyButton(u"Restart Selected"_s, symbolIcon(Symbol::power), footer);
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
    QList<RestartTarget> targets;
    if (!m_appState)
        return targets;
    targets.reserve(m_appState->accessPoints().size() + m_appState->cameras().size());
    for (const UnifiDevice &accessPoint : m_appState->accessPoints())
        targets.append(RestartTarget{RestartTargetKind::accessPoint, accessPoint.mac, accessPoint.name});
    for (const ProtectCamera &camera : m_appState->cameras())
        targets.append(RestartTarget{RestartTargetKind::camera, camera.id, camera.name});
    return targets;
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

void DeviceListView::showDevices()
{
    QList<DeviceRow> accessPoints;
    QList<DeviceRow> cameras;
    if (m_appState) {
        for (const UnifiDevice &accessPoint : m_appState->accessPoints())
            accessPoints.append(DeviceRow::from(accessPoint));
        for (const ProtectCamera &camera : m_appState->cameras())
            cameras.append(DeviceRow::from(camera));
    }

    // The list is filled anew; the selection comes back from the selected identifiers, so that it
    // follows a device whose place changed and keeps one that went away for when it returns.
    m_filling = true;
    const int scrolled = m_list->verticalScrollBar()->value();
    const QListWidgetItem *current = m_list->currentItem();
    const QString currentId = current ? current->data(DeviceRowDelegate::idRole).toString() : QString();
    m_list->clear();
    QListWidgetItem *accessPointsHeader =
        addSection(u"Access Points ("_s + QString::number(accessPoints.size()) + u')', accessPoints);
    QListWidgetItem *camerasHeader = addSection(u"Cameras ("_s + QString::number(cameras.size()) + u')', cameras);
    // The headers' labels go in after every row: while the list holds a widget, Qt places it again
    // after each row added, which lays out every row before it, and hundreds of devices took
    // seconds to appear.
    labelSection(accessPointsHeader);
    labelSection(camerasHeader);
    for (int row = 0; row < m_list->count(); ++row) {
        QListWidgetItem *item = m_list->item(row);
        const QString id = item->data(DeviceRowDelegate::idRole).toString();
        if (id.isEmpty())
            continue;
        if (m_selected.contains(id))
            item->setSelected(true);
        if (id == currentId)
            m_list->selectionModel()->setCurrentIndex(m_list->indexFromItem(item), QItemSelectionModel::NoUpdate);
    }
    m_list->verticalScrollBar()->setValue(scrolled);
    m_filling = false;
    updateFooter();
}

QListWidgetItem *DeviceListView::addSection(const QString &title, const QList<DeviceRow> &rows)
{
    // The header is a label over an item that can be neither selected nor focused, so that a
    // screen reader reads it as text and the selection holds devices only.
    auto *header = new QListWidgetItem(title, m_list);
    header->setFlags(Qt::NoItemFlags);
    header->setData(DeviceRowDelegate::sectionRole, true);

    for (const DeviceRow &row : rows) {
        auto *item = new QListWidgetItem(row.name, m_list);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        item->setData(DeviceRowDelegate::subtitleRole, row.subtitle);
        item->setData(DeviceRowDelegate::onlineRole, row.online);
        item->setData(DeviceRowDelegate::idRole, row.id);
        item->setData(Qt::AccessibleDescriptionRole, row.subtitle);
    }
    return header;
}

void DeviceListView::labelSection(QListWidgetItem *header)
{
    auto *label = new QLabel(header->text(), m_list->viewport());
    label->setTextFormat(Qt::PlainText);
    label->setContentsMargins(DeviceRowDelegate::horizontalPadding, 10, DeviceRowDelegate::horizontalPadding, 4);
    setTextStyle(label, TextStyle::subheadline, /*bold=*/true);
    setTextColor(label, secondaryTextColor(palette()));
    header->setSizeHint(label->sizeHint());
    m_list->setItemWidget(header, label);
}

void DeviceListView::takeSelectionFromList()
{
    if (m_filling)
        return;
    // The person's own change: the selection is what the list shows, so identifiers of devices
    // that went away leave it now.
    m_selected.clear();
    for (const QListWidgetItem *item : m_list->selectedItems())
        m_selected.insert(item->data(DeviceRowDelegate::idRole).toString());
    updateFooter();
}

void DeviceListView::updateFooter()
{
    m_selectedCount->setText(QString::number(m_selected.size()) + u" selected"_s);
    m_outcome->setText(m_restartResultMessage.value_or(QString()));
    m_outcome->setVisible(m_restartResultMessage.has_value());
    m_restart->setBusy(m_isRestarting);
    m_restart->setEnabled(!m_selected.isEmpty() && !m_isRestarting);
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
    if (failed > 0)
        return QString::number(succeeded) + u" ok, "_s + QString::number(failed) + u" failed."_s;
    return u"Restarted "_s + QString::number(succeeded) + u" device(s)."_s;
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
    const AppState::BatchOutcome outcome = co_await state->restartBatch(std::move(work), std::move(options));
    if (!self || !state)
        co_return;
    self->setRestartResultMessage(outcomeLine(outcome.succeeded.size(), outcome.failed.size()));
    self->setRestarting(false);
}

} // namespace lanternfold
