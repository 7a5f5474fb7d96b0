// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

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

class QCheckBox;
class QLabel;
class QPushButton;

namespace lanternfold {

class AppState;
class BusyButton;
class DeviceList;
class DeviceListModel;
class Latch;

/// The Devices tab: every access point and camera the state holds, in two sections, any number
/// of them selected, refreshed on demand, and the selection restarted one device after the other
/// with a fixed pause between devices. It owns no device data, only the selection and the outcome
/// of its last run; its rows come from the shared device model.
class DeviceListView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DeviceListView)

public:
    /// The pause between two devices of one run, whatever the scheduled jobs use: long enough for
    /// an access point's clients to roam to its neighbours before the next one drops.
    static constexpr std::chrono::seconds restartGap{15};

    DeviceListView(AppState &appState, DeviceListModel &devices, QWidget *parent = nullptr);
    /// Calls off a pause between two restarts: the run ends there, and nothing more is sent.
    ~DeviceListView() override;

    /// The row identifiers selected, including those of devices that a refresh took away, until
    /// the person changes the selection.
    [[nodiscard]] const QSet<QString> &selected() const { return m_selected; }
    [[nodiscard]] bool isRefreshing() const { return m_isRefreshing; }
    [[nodiscard]] bool isRestarting() const { return m_isRestarting; }
    [[nodiscard]] const std::optional<QString> &restartResultMessage() const { return m_restartResultMessage; }
    /// "Wait for each device to come back", beside the restart button.
    [[nodiscard]] QCheckBox *waitToggle() const { return m_waitToggle; }

    /// Every access point, then every camera, in the state's order.
    [[nodiscard]] QList<RestartTarget> allTargets() const;

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QWidget *buildHeader();
    QWidget *buildFooter();
    void applyColours();
    void rememberPlace();
    void showDevices();
    /// The header's title as a label over its row, read as text by a screen reader.
    void labelSection(int row);
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
    DeviceListModel &m_devices;
    QSet<QString> m_selected;
    bool m_isRefreshing = false;
    bool m_isRestarting = false;
    std::optional<QString> m_restartResultMessage;
    /// Set when the view goes: a run waiting between two devices stops waiting.
    std::shared_ptr<Latch> m_closed;
    /// Set while the rows are shown anew, when the selection's changes are not the person's.
    bool m_filling = false;
    /// Where the list stood before its rows were replaced.
    int m_scrolled = 0;
    QString m_currentId;

    QPushButton *m_refresh = nullptr;
    DeviceList *m_list = nullptr;
    QLabel *m_selectedCount = nullptr;
    QLabel *m_outcome = nullptr;
    QCheckBox *m_waitToggle = nullptr;
    BusyButton *m_restart = nullptr;
};

} // namespace lanternfold
