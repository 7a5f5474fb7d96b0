// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ControllerConfig.h"

#include <QPointer>
#include <QWidget>

#include <optional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;

namespace lanternfold {

class AppState;
class BusyButton;

/// The connect form shown while nobody is logged in: the controller's address, kind and account,
/// handed to AppState::connect. It keeps nothing but the form's text; progress and failures are
/// the state's isConnecting and lastError.
class LoginView final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LoginView)

public:
    static constexpr int maximumFormWidth = 420;

    explicit LoginView(AppState &appState, QWidget *parent = nullptr);
    ~LoginView() override = default;

    /// Everything one press of Connect hands to AppState::connect.
    struct Request
    {
        ControllerConfig config;
        QString password;
        bool rememberPassword = true;

        bool operator==(const Request &) const = default;
    };

    [[nodiscard]] static qint64 defaultPort(ControllerKind kind);
    /// A signed decimal integer: an optional "+" or "-" and at least one digit, nothing else and
    /// no overflow; absent otherwise. No range check: zero or a negative number is a number.
    [[nodiscard]] static std::optional<qint64> parsePort(const QString &text);

    // The form as typed.
    [[nodiscard]] QString host() const;
    [[nodiscard]] QString port() const;
    [[nodiscard]] ControllerKind kind() const;
    [[nodiscard]] QString username() const;
    [[nodiscard]] QString password() const;
    [[nodiscard]] bool rememberPassword() const;

    /// Puts a password read from the keyring into an empty password field; one typed meanwhile wins.
    void fillPassword(const QString &password);

    /// The kind as the person would pick it; the port follows it.
    void setKind(ControllerKind kind);
    /// What Connect would send now: the form untrimmed, the port parsed or the kind's default.
    [[nodiscard]] Request request() const;
    /// Connect is offered: host, user name and password are not empty, and no connect runs.
    [[nodiscard]] bool canConnect() const;

protected:
    void showEvent(QShowEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QWidget *buildHeader();
    QWidget *buildForm();
    void applyColours();
    void prefill();
    void applyKindRule();
    void updateConnectButton();
    void updateLastError();
    void connectToController();

    QPointer<AppState> m_appState;
    QComboBox *m_kind = nullptr;
    QLineEdit *m_host = nullptr;
    QLineEdit *m_port = nullptr;
    QLineEdit *m_username = nullptr;
    QLineEdit *m_password = nullptr;
    QCheckBox *m_rememberPassword = nullptr;
    QLabel *m_subtitle = nullptr;
    QLabel *m_lastError = nullptr;
    QWidget *m_column = nullptr;
    BusyButton *m_connect = nullptr;
    QLabel *m_note = nullptr;
    /// Set while the saved configuration fills the form: its kind must not reset its port.
    bool m_prefilling = false;
};

} // namespace lanternfold
