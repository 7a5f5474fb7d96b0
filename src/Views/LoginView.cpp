// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/LoginView.h"

#include "State/AppState.h"
#include "Views/BusyButton.h"
#include "Views/LanternfoldLogo.h"
#include "Views/TextStyle.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QShowEvent>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>

namespace lanternfold {

namespace {

QLabel *makeLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

LoginView::LoginView(AppState &appState, QWidget *parent) : QWidget(parent), m_appState(&appState)
{
    setMinimumSize(480, 560);

    auto *column = new QWidget(this);
    m_column = column;
    column->setMaximumWidth(maximumFormWidth);
    column->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto *columnLayout = new QVBoxLayout(column);
    columnLayout->setContentsMargins(0, 0, 0, 0);
    columnLayout->setSpacing(14);
    columnLayout->addWidget(buildForm());

    m_lastError = makeLabel(QString(), column);
    m_lastError->setWordWrap(true);
    m_lastError->setTextInteractionFlags(Qt::TextSelectableByMouse);
    setTextStyle(m_lastError, TextStyle::callout);
    m_lastError->hide();
    columnLayout->addWidget(m_lastError);

    //: Button: logs in to the controller
    m_connect = new BusyButton(tr("Connect"), QIcon(), column);
    m_connect->setDefault(true);
    m_connect->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_connect->setMinimumHeight(m_connect->sizeHint().height() + 6);
    columnLayout->addWidget(m_connect);

    m_note =
        makeLabel(tr("Credentials are sent directly to your controller over your LAN and stored only in your system "
                     "keyring. The controller's TLS certificate is pinned on first connect \u2014 see Settings to "
                     "review or reset it."),
                  column);
    m_note->setWordWrap(true);
    m_note->setAlignment(Qt::AlignHCenter);
    setTextStyle(m_note, TextStyle::caption);
    columnLayout->addWidget(m_note);

    auto *centred = new QHBoxLayout;
    centred->addStretch(1);
    centred->addWidget(column, 100);
    centred->addStretch(1);

    auto *root = new QVBoxLayout(this);
    root->setContentsMargins(24, 24, 24, 24);
    root->setSpacing(0);
    root->addStretch(1);
    root->addWidget(buildHeader());
    root->addSpacing(20);
    root->addLayout(centred);
    root->addStretch(1);

    setTabOrder(m_kind, m_host);
    setTabOrder(m_host, m_port);
    setTabOrder(m_port, m_username);
    setTabOrder(m_username, m_password);
    setTabOrder(m_password, m_rememberPassword);
    setTabOrder(m_rememberPassword, m_connect);

    applyColours();

    connect(m_kind, &QComboBox::currentIndexChanged, this, &LoginView::applyKindRule);
    for (QLineEdit *field : {m_host, m_username, m_password})
        connect(field, &QLineEdit::textChanged, this, &LoginView::updateConnectButton);
    connect(m_connect, &QPushButton::clicked, this, &LoginView::connectToController);
    connect(&appState, &AppState::isConnectingChanged, this, &LoginView::updateConnectButton);
    connect(&appState, &AppState::lastErrorChanged, this, &LoginView::updateLastError);
    updateConnectButton();
    updateLastError();
}

QWidget *LoginView::buildHeader()
{
    auto *header = new QWidget(this);
    auto *layout = new QVBoxLayout(header);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addWidget(new LanternfoldLogo(56, header), 0, Qt::AlignHCenter);
    //: The program's name, above the login form
    auto *title = makeLabel(tr("Lanternfold"), header);
    setTextStyle(title, TextStyle::title2, /*bold=*/true);
    layout->addWidget(title, 0, Qt::AlignHCenter);
    m_subtitle = makeLabel(tr("Connect to your local UniFi controller"), header);
    setTextStyle(m_subtitle, TextStyle::subheadline);
    layout->addWidget(m_subtitle, 0, Qt::AlignHCenter);
    return header;
}

QWidget *LoginView::buildForm()
{
    // A grouped form: one panel holding every control, labels beside their fields. The kind's
    // long choices put its row on two lines when the panel is too narrow for label and choice.
    auto *group = new QFrame(this);
    group->setFrameShape(QFrame::StyledPanel);
    group->setAutoFillBackground(true);
    group->setBackgroundRole(QPalette::Base);
    auto *form = new QFormLayout(group);
    form->setContentsMargins(14, 12, 14, 12);
    form->setHorizontalSpacing(12);
    form->setVerticalSpacing(8);
    form->setRowWrapPolicy(QFormLayout::WrapLongRows);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);

    m_kind = new QComboBox(group);
    //: Controller type: a console that runs UniFi OS; the names in brackets are Ubiquiti products
    m_kind->addItem(tr("UniFi OS (UDM / UDM-Pro / UDM-SE / Cloud Gateway)"),
                    QVariant::fromValue(ControllerKind::unifiOS));
    //: Controller type: the Network Application installed on one's own server
    m_kind->addItem(tr("Classic (self-hosted Network Application)"), QVariant::fromValue(ControllerKind::classic));
    form->addRow(tr("Controller type"), m_kind);

    m_host = new QLineEdit(group);
    //: Example address shown in the empty host field
    m_host->setPlaceholderText(tr("192.168.1.1"));
    m_host->setInputMethodHints(Qt::ImhUrlCharactersOnly | Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    form->addRow(tr("Controller IP or hostname"), m_host);

    m_port = new QLineEdit(QString::number(defaultPort(ControllerKind::unifiOS)), group);
    m_port->setInputMethodHints(Qt::ImhFormattedNumbersOnly | Qt::ImhNoPredictiveText);
    //: Form label: the controller's network port
    form->addRow(tr("Port"), m_port);

    m_username = new QLineEdit(group);
    m_username->setInputMethodHints(Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    form->addRow(tr("Username"), m_username);

    m_password = new QLineEdit(group);
    m_password->setEchoMode(QLineEdit::Password);
    form->addRow(tr("Password"), m_password);

    m_rememberPassword = new QCheckBox(tr("Remember password in keyring"), group);
    m_rememberPassword->setChecked(true);
    form->addRow(m_rememberPassword);
    return group;
}

void LoginView::applyColours()
{
    const QColor secondary = secondaryTextColor(palette());
    setTextColor(m_subtitle, secondary);
    setTextColor(m_note, secondary);
    setTextColor(m_lastError, errorTextColor(palette()));
}

qint64 LoginView::defaultPort(ControllerKind kind)
{
    return kind == ControllerKind::classic ? 8443 : 443;
}

std::optional<qint64> LoginView::parsePort(const QString &text)
{
    qsizetype index = 0;
    bool negative = false;
    if (index < text.size() && (text.at(index) == u'+' || text.at(index) == u'-')) {
        negative = text.at(index) == u'-';
        ++index;
    }
    if (index == text.size())
        return std::nullopt;
    // Accumulated towards the sign's side, so that the most negative number parses too.
    qint64 value = 0;
    for (; index < text.size(); ++index) {
        const QChar character = text.at(index);
        if (character < u'0' || character > u'9')
            return std::nullopt;
        const qint64 digit = character.unicode() - u'0';
        if (negative) {
            if (value < (std::numeric_limits<qint64>::min() + digit) / 10)
                return std::nullopt;
            value = value * 10 - digit;
        } else {
            if (value > (std::numeric_limits<qint64>::max() - digit) / 10)
                return std::nullopt;
            value = value * 10 + digit;
        }
    }
    return value;
}

QString LoginView::host() const
{
    return m_host->text();
}

QString LoginView::port() const
{
    return m_port->text();
}

ControllerKind LoginView::kind() const
{
    return m_kind->currentData().value<ControllerKind>();
}

QString LoginView::username() const
{
    return m_username->text();
}

void LoginView::fillPassword(const QString &password)
{
    if (m_password->text().isEmpty())
        m_password->setText(password);
}

QString LoginView::password() const
{
    return m_password->text();
}

bool LoginView::rememberPassword() const
{
    return m_rememberPassword->isChecked();
}

void LoginView::setKind(ControllerKind kind)
{
    m_kind->setCurrentIndex(m_kind->findData(QVariant::fromValue(kind)));
}

LoginView::Request LoginView::request() const
{
    const ControllerKind chosen = kind();
    ControllerConfig config{host(), parsePort(port()).value_or(defaultPort(chosen)), chosen, username(),
                            defaultSiteName.toString()};
    // Connecting again to the saved controller as the same user keeps the site chosen in Settings;
    // anything else starts from the site every controller has.
    if (m_appState) {
        if (const std::optional<ControllerConfig> &saved = m_appState->config()) {
            ControllerConfig same = config;
            same.site = saved->site;
            if (same == *saved)
                config.site = saved->site;
        }
    }
    return Request{
        .config = std::move(config),
        .password = password(),
        .rememberPassword = rememberPassword(),
    };
}

bool LoginView::canConnect() const
{
    // Emptiness exactly as typed: blanks count as text, and nothing is trimmed when sent.
    return !host().isEmpty() && !username().isEmpty() && !password().isEmpty() && m_appState &&
           !m_appState->isConnecting();
}

void LoginView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // Shown by the program (first show, a disconnect, the window reopened), not merely uncovered
    // by the window system: then the saved controller fills the form again.
    if (!event->spontaneous())
        prefill();
    // Wider than usual where the desktop's font is large: the controller types' names must not be
    // cut off.
    m_column->setMaximumWidth(std::max(maximumFormWidth, m_column->sizeHint().width()));
}

void LoginView::keyPressEvent(QKeyEvent *event)
{
    // Return from anywhere in the form: the fields pass it on unhandled.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        connectToController();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

void LoginView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applyColours();
}

void LoginView::prefill()
{
    if (!m_appState)
        return;
    const std::optional<ControllerConfig> saved = m_appState->config();
    if (!saved)
        return;
    const ControllerConfig &config = *saved;
    m_host->setText(config.host);
    // The port first and the kind after it, with the kind rule held back: a saved port that is
    // not the kind's default (8443 on a UniFi OS console) must survive.
    m_port->setText(QString::number(config.port));
    m_prefilling = true;
    setKind(config.kind);
    m_prefilling = false;
    m_username->setText(config.username);
}

void LoginView::applyKindRule()
{
    if (m_prefilling)
        return;
    // Deliberately discards a typed port: a new kind almost always means its usual port.
    m_port->setText(QString::number(defaultPort(kind())));
}

void LoginView::updateConnectButton()
{
    const bool connecting = m_appState && m_appState->isConnecting();
    m_connect->setBusy(connecting);
    m_connect->setEnabled(canConnect());
}

void LoginView::updateLastError()
{
    const std::optional<QString> error = m_appState ? m_appState->lastError() : std::nullopt;
    m_lastError->setText(error.value_or(QString()));
    m_lastError->setVisible(error.has_value());
}

void LoginView::connectToController()
{
    if (!canConnect())
        return;
    Request sent = request();
    // The state runs the connect to its end and publishes its progress; nothing here waits for it.
    (void)m_appState->connect(std::move(sent.config), std::move(sent.password), sent.rememberPassword);
}

} // namespace lanternfold
