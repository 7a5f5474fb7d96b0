// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Platform/LoginItemService.h"

#include <QString>

namespace lanternfold {

/// Start at login as XDG autostart: "<config folder>/autostart/lanternfold.desktop" is the
/// setting itself.
class AutostartLoginItem final : public LoginItemService
{
public:
    /// The entry lives under configFolder; the program uses the user's ($XDG_CONFIG_HOME).
    explicit AutostartLoginItem(QString configFolder = userConfigFolder());
    ~AutostartLoginItem() override = default;
    Q_DISABLE_COPY_MOVE(AutostartLoginItem)

    /// QStandardPaths' GenericConfigLocation.
    static QString userConfigFolder();
    /// configFolder + "/autostart/lanternfold.desktop".
    [[nodiscard]] QString autostartFilePath() const;

    /// Enabled when the file exists and no key in it hides it, whatever program it starts: the file
    /// is the setting, so the switch shows (and can remove) an entry the program cannot read or
    /// one written by another copy. Otherwise notFound when the program's own path is unknown
    /// (it cannot write an entry then), else notRegistered. Never requiresApproval on Linux.
    [[nodiscard]] Status status() const override;
    /// Enabling writes the file (unless already enabled); disabling removes it (only when enabled).
    /// A failure comes back with the file error's text.
    Result<Done, QString> setEnabled(bool enabled) override;

private:
    [[nodiscard]] Result<Done, QString> registerProgram() const;
    [[nodiscard]] Result<Done, QString> unregisterProgram() const;

    QString m_configFolder;
};

} // namespace lanternfold
