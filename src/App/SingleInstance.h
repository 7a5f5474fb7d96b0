// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>
#include <QString>

#include <cstdint>

class QLocalServer;

namespace lanternfold {

/// One Lanternfold per user: a launch while it already runs hands its request to the running one
/// (which opens or raises its window) and ends at once.
class SingleInstance final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SingleInstance)

public:
    enum class Claim : std::uint8_t {
        primary,    ///< this process is the one; later launches reach it
        handedOver, ///< another process runs and was asked to open its window: end this one
        /// another process runs but did not answer in time (busy): the request waits for it, and
        /// this one ends
        leftForBusyInstance,
        failed, ///< neither: run anyway, without the guard (the scheduler lock still holds)
    };

    explicit SingleInstance(QString socketPath, QObject *parent = nullptr);
    ~SingleInstance() override;

    /// $XDG_RUNTIME_DIR/lanternfold.socket; without a runtime folder, lanternfold/lanternfold.socket
    /// in the user's cache folder, made readable by the user alone.
    static QString defaultSocketPath();

    /// Asks a running instance to open its window, or becomes the running instance. Runs before
    /// the event loop, waiting at most a second or two for an instance that hangs.
    Claim claim();

    /// The token the desktop gave this launch to bring a window to the front (a Wayland
    /// compositor refuses to raise a window without one): handed to the running instance with the
    /// request. XDG_ACTIVATION_TOKEN by default.
    void setActivationToken(QByteArray token) { m_activationToken = std::move(token); }
    [[nodiscard]] static QByteArray launchActivationToken();

Q_SIGNALS:
    /// A later launch asked for the main window, with the launch's activation token if it had one
    /// (empty otherwise).
    void openRequested(const QString &activationToken);

private:
    enum class HandOver : std::uint8_t { answered, unanswered, nobody };
    HandOver handOver();
    void acceptRequest();

    QString m_socketPath;
    QByteArray m_activationToken = launchActivationToken();
    QLocalServer *m_server = nullptr;
};

} // namespace lanternfold
