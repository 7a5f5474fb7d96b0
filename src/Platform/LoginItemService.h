#pragma once

#include "Models/Result.h"

#include <QString>

namespace lanternfold {

/// Start at login as XDG autostart: "$XDG_CONFIG_HOME/autostart/lanternfold.desktop" is the setting itself.
class LoginItemService final
{
public:
    enum class Status { notRegistered, enabled, requiresApproval, notFound };
    /// Where the program keeps it: QStandardPaths::writableLocation(GenericConfigLocation) +
    /// "/autostart/lanternfold.desktop".
    static QString autostartFilePath();
    /// Enabled when the file exists and no key in it hides it, whatever program it starts: the file
    /// is the setting, so the switch shows (and can remove) an entry the program cannot read or
    /// one written by another copy. Otherwise notFound when the program's own path is unknown
    /// (it cannot write an entry then), else notRegistered. Never requiresApproval on Linux.
    static Status status();
    /// Enabling writes the file (unless already enabled); disabling removes it (only when enabled).
    /// A failure comes back with a readable description (the file error's text); success is Done.
    static Result<Done, QString> setEnabled(bool enabled);
};

} // namespace lanternfold
