#pragma once

#include "Models/RestartTarget.h"

#include <QCoroTask>
#include <QList>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QWidget>

#include <chrono>
#include <memory>
#include <optional>

class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace lanternfold {

class AppState;
class BusyButton;
class Latch;
struct DeviceRow;

/// The Devices tab: every access point and camera the state holds, in two sections, any number
/// of them selected, refreshed on demand, and the selection restarted one device after the other
/// with a fixed pause between devices. It owns no device data, only the selection and the outcome
/// of its last run.
class DeviceListView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DeviceListView)

public:
    /// The pause between two devices of one run, whatever the scheduled jobs use: long enough for
    /// an access point's clients to roam to its neighbours before the next one drops.
    static constexpr std::chrono::seconds restartGap{15};

    explicit DeviceListView(AppState &appState, QWidget *parent = nullptr);
    /// Calls off a pause between two restarts: the run ends there, and nothing more is sent.
    ~DeviceListView() override;

    /// The row identifiers selected, including those of devices that a refresh took away, until
    /// the person changes the selection.
    [[nodiscard]] const QSet<QString> &selected() const { return m_selected; }
    [[nodiscard]] bool isRefreshing() const { return m_isRefreshing; }
    [[nodiscard]] bool isRestarting() const { return m_isRestarting; }
    [[nodiscard]] const std::optional<QString> &restartResultMessage() const { return m_restartResultMessage; }

    /// Every access point, then every camera, in the state's order.
    [[nodiscard]] QList<RestartTarget> allTargets() const;

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QWidget *buildHeader();
    QWidget *buildFooter();
    void applyColours();
    void showDevices();
    /// Adds the section's header item and its rows; the header's label comes with labelSection.
    QListWidgetItem *addSection(const QString &title, const QList<DeviceRow> &rows);
    void labelSection(QListWidgetItem *header);
    void takeSelectionFromList();
    void updateFooter();
    void setRefreshing(bool refreshing);
    void setRestarting(bool restarting);
    void setRestartResultMessage(std::optional<QString> message);
    void loadIfEmpty();

    static QCoro::Task<void> refresh(QPointer<DeviceListView> self);
    static QCoro::Task<void> restartSelected(QPointer<DeviceListView> self);
    [[nodiscard]] static QString outcomeLine(qsizetype succeeded, qsizetype failed);

    QPointer<AppState> m_appState;
    QSet<QString> m_selected;
    bool m_isRefreshing = false;
    bool m_isRestarting = false;
    std::optional<QString> m_restartResultMessage;
    /// Set when the view goes: a run waiting between two devices stops waiting.
    std::shared_ptr<Latch> m_closed;
    /// Set while the list is filled anew, when its selection changes are not the person's.
    bool m_filling = false;

    QPushButton *m_refresh = nullptr;
    QListWidget *m_list = nullptr;
    QLabel *m_selectedCount = nullptr;
    QLabel *m_outcome = nullptr;
    BusyButton *m_restart = nullptr;
};

} // namespace lanternfold
