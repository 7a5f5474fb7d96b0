// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/SettingsView.h"

#include "Controller/Trust/CertTrustService.h"
#include "Platform/LoginItemService.h"
#include "State/AppState.h"
#include "Views/ActivityLogList.h"
#include "Views/TextStyle.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace lanternfold {

namespace {

QLabel *sectionHeader(const QString &title, QWidget *parent)
{
    auto *label = new QLabel(title, parent);
    label->setFont(styledFont(label->font(), TextStyle::headline, /*bold=*/true));
    return label;
}

/// A wrapped explanation under a control.
QLabel *caption(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setFont(styledFont(label->font(), TextStyle::caption));
    label->setWordWrap(true);
    return label;
}

QLabel *valueLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

SettingsView::SettingsView(AppState &state, CertTrustService &trust, LoginItemService &loginItem, QWidget *parent)
    : QWidget(parent),
      m_state(state),
      m_trust(trust),
      m_loginItem(loginItem),
      m_launchAtLogin(loginItem.status() == LoginItemService::Status::enabled)
{
    auto *column = new QVBoxLayout(this);
    constexpr int sectionGap = 14;
    // The same margins as the Devices and Schedules tabs, so that switching tabs does not shift
    // the content.
    constexpr int sideMargin = 16;
    column->setContentsMargins(sideMargin, 14, sideMargin, 12);

    // Controller: the saved configuration, whether or not it is logged in now.
    //: Section heading: the controller this program connects to
    column->addWidget(sectionHeader(tr("Controller"), this));
    column->addWidget(makeControllerDetails());
    m_notConnected = new QLabel(tr("Not connected."), this);
    column->addWidget(m_notConnected);
    column->addSpacing(sectionGap);

    //: Section heading
    column->addWidget(sectionHeader(tr("Security"), this));
    m_forgetButton = new QPushButton(tr("Forget Pinned Certificate"), this);
    column->addWidget(m_forgetButton, 0, Qt::AlignLeft);
    m_secondaryLabels.append(
        caption(tr("Only do this if you've reset, replaced, or re-adopted your controller — you'll be "
                   "asked to re-verify the new certificate fingerprint on next connect."),
                this));
    column->addWidget(m_secondaryLabels.last());
    column->addSpacing(sectionGap);

    column->addWidget(sectionHeader(tr("Background Scheduling"), this));
    m_launchSwitch = new QCheckBox(tr("Launch Lanternfold at login"), this);
    m_launchSwitch->setChecked(m_launchAtLogin);
    // No wider than its text: a click beside it is a click on nothing.
    column->addWidget(m_launchSwitch, 0, Qt::AlignLeft);
    m_secondaryLabels.append(caption(tr("Schedules only fire while Lanternfold is running. Keep it running in the "
                                        "background (closing the window won't quit it) and enable launch-at-login so "
                                        "restarts keep happening after a reboot."),
                                     this));
    column->addWidget(m_secondaryLabels.last());
    // While the background service holds the schedules, this program only edits them.
    m_serviceNote = caption(tr("Schedules are run by the background service."), this);
    m_serviceNote->setVisible(m_state.schedulesRunElsewhere());
    column->addWidget(m_serviceNote);
    m_loginItemErrorLabel = caption({}, this);
    m_loginItemErrorLabel->setTextFormat(Qt::PlainText);
    m_loginItemErrorLabel->setVisible(false);
    column->addWidget(m_loginItemErrorLabel);
    m_quitButton = new QPushButton(this);
    m_quitButton->setVisible(false);
    connect(m_quitButton, &QPushButton::clicked, this, [this] {
        if (m_quit)
            m_quit->trigger();
    });
    column->addWidget(m_quitButton, 0, Qt::AlignLeft);
    column->addSpacing(sectionGap);

    //: Section heading: the list of what the program has done
    column->addWidget(sectionHeader(tr("Activity Log"), this));
    m_log = new QStackedWidget(this);
    m_noActivity = new QLabel(tr("No activity yet."), m_log);
    m_noActivity->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_secondaryLabels.append(m_noActivity);
    m_logList = new ActivityLogList(m_log);
    m_logList->setMinimumHeight(120);
    m_log->addWidget(m_noActivity);
    m_log->addWidget(m_logList);
    column->addWidget(m_log, 1);

    applyTextColours();
    showController();
    showActivityLog();

    connect(&m_state, &AppState::configChanged, this, &SettingsView::showController);
    connect(&m_state, &AppState::activityLogChanged, this, &SettingsView::showActivityLog);
    connect(&m_state, &AppState::sitesChanged, this, &SettingsView::showSites);
    connect(&m_state, &AppState::schedulesRunElsewhereChanged, this,
            [this] { m_serviceNote->setVisible(m_state.schedulesRunElsewhere()); });
    // Activated, not currentIndexChanged: only the person's choice changes the site, never the
    // list being filled in again.
    connect(m_sitePicker, &QComboBox::activated, this, [this](int index) {
        (void)chooseSite(QPointer<SettingsView>(this), m_sitePicker->itemData(index).toString());
    });
    connect(m_disconnectButton, &QPushButton::clicked, this,
            [this] { (void)disconnectController(QPointer<SettingsView>(this)); });
    connect(m_forgetButton, &QPushButton::clicked, this, &SettingsView::forgetPinnedCertificate);
    // Toggled rather than clicked: assistive technologies toggle a check box without a click.
    connect(m_launchSwitch, &QCheckBox::toggled, this, &SettingsView::launchAtLoginFlipped);
}

QWidget *SettingsView::makeControllerDetails()
{
    m_controllerDetails = new QWidget(this);
    auto *form = new QFormLayout(m_controllerDetails);
    form->setContentsMargins(0, 0, 0, 0);
    m_hostValue = valueLabel(m_controllerDetails);
    m_typeValue = valueLabel(m_controllerDetails);
    m_usernameValue = valueLabel(m_controllerDetails);
    //: Form label: the controller's address and port
    form->addRow(tr("Host"), m_hostValue);
    //: Form label: the kind of controller (UniFi OS or Classic)
    form->addRow(tr("Type"), m_typeValue);
    form->addRow(tr("Username"), m_usernameValue);
    // The sites by the names people know; each item keeps its short id. The label names the combo
    // box for assistive technology (its buddy), which reads the box itself as the site chosen.
    m_sitePicker = new QComboBox(m_controllerDetails);
    //: A UniFi site: one of the networks an account manages
    m_sitePicker->setAccessibleName(tr("Site"));
    m_sitePicker->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    // As wide as the longest site name, like the values above it, not across the whole tab.
    m_sitePicker->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    //: A UniFi site: one of the networks an account manages
    form->addRow(tr("Site"), m_sitePicker);
    m_controllerForm = form;
    //: Button: logs out of the controller
    m_disconnectButton = new QPushButton(tr("Disconnect"), m_controllerDetails);
    form->addRow(m_disconnectButton);
    form->setAlignment(m_disconnectButton, Qt::AlignLeft);
    return m_controllerDetails;
}

void SettingsView::showController()
{
    const std::optional<ControllerConfig> &config = m_state.config();
    m_controllerDetails->setVisible(config.has_value());
    m_notConnected->setVisible(!config.has_value());
    if (!config)
        return;
    m_hostValue->setText(config->host + u':' + QString::number(config->port));
    if (config->kind == ControllerKind::unifiOS) {
        //: Controller type: a console that runs UniFi OS (a product name)
        m_typeValue->setText(tr("UniFi OS"));
    } else {
        //: Controller type: the self-hosted Network Application
        m_typeValue->setText(tr("Classic"));
    }
    m_usernameValue->setText(config->username);
    showSites();
}

void SettingsView::showSites()
{
    const QList<ControllerSite> &sites = m_state.sites();
    m_controllerForm->setRowVisible(m_sitePicker, sites.size() > 1);
    const QSignalBlocker quiet(m_sitePicker);
    m_sitePicker->clear();
    for (const ControllerSite &site : sites)
        m_sitePicker->addItem(site.displayName(), site.name);
    m_sitePicker->setCurrentIndex(m_sitePicker->findData(m_state.site()));
}

QCoro::Task<void> SettingsView::chooseSite(QPointer<SettingsView> self, QString name)
{
    if (self.isNull())
        co_return;
    co_await self->m_state.chooseSite(std::move(name));
}

void SettingsView::showActivityLog()
{
    const QStringList &lines = m_state.activityLog();
    m_logList->setLines(lines);
    m_log->setCurrentWidget(lines.isEmpty() ? static_cast<QWidget *>(m_noActivity) : m_logList);
}

void SettingsView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // Colours set on a label stop following the theme, so they are worked out again when it changes.
    if (event->type() == QEvent::PaletteChange)
        applyTextColours();
}

void SettingsView::applyTextColours()
{
    const QColor secondary = secondaryTextColor(palette());
    for (QLabel *label : std::as_const(m_secondaryLabels))
        setTextColor(label, secondary);
    setTextColor(m_loginItemErrorLabel, errorTextColor(palette()));
    // The destructive action's text in the same red, as desktops mark such buttons.
    QPalette buttonPalette = m_disconnectButton->palette();
    buttonPalette.setColor(QPalette::ButtonText, errorTextColor(palette()));
    m_disconnectButton->setPalette(buttonPalette);
}

void SettingsView::forgetPinnedCertificate()
{
    // The pin is keyed by the host exactly as configured. No configuration, nothing to forget.
    if (const std::optional<ControllerConfig> &config = m_state.config())
        m_trust.removePin(config->host);
}

void SettingsView::setQuitAction(QAction *quit, bool shown)
{
    m_quit = quit;
    if (quit)
        m_quitButton->setText(quit->text());
    m_quitButton->setVisible(quit && shown);
}

void SettingsView::launchAtLoginFlipped(bool enabled)
{
    m_launchAtLogin = enabled;
    const Result<Done, QString> result = m_loginItem.setEnabled(enabled);
    if (result) {
        setLoginItemError(std::nullopt);
        return;
    }
    setLoginItemError(result.error());
    // Back to what the desktop will really do. Not a flip of the user's: no new attempt.
    m_launchAtLogin = m_loginItem.status() == LoginItemService::Status::enabled;
    const QSignalBlocker quiet(m_launchSwitch);
    m_launchSwitch->setChecked(m_launchAtLogin);
}

void SettingsView::setLoginItemError(std::optional<QString> error)
{
    m_loginItemError = std::move(error);
    m_loginItemErrorLabel->setText(m_loginItemError.value_or(QString()));
    m_loginItemErrorLabel->setVisible(m_loginItemError.has_value());
}

QCoro::Task<void> SettingsView::disconnectController(QPointer<SettingsView> self)
{
    if (self.isNull())
        co_return;
    co_await self->m_state.disconnect();
    // Nothing more to do here: the view follows the state's signals, and it may well be gone by
    // now, since a disconnect takes the window back to the login form.
}

} // namespace lanternfold
