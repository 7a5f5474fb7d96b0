// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <chrono>
#include <optional>

namespace lanternfold {

/// An flock on a file, held until this object goes. The kernel lets go of it when its holder ends,
/// however it ends, so no lock is ever stale; and taking it writes and syncs nothing. Two holders
/// conflict even within one process, as each opens the file anew. A holder may leave a short note
/// in the file (its process), which others read only while the lock is held.
class FileLock final
{
    Q_DISABLE_COPY_MOVE(FileLock)

public:
    /// Opens (creating, mode 0600) the file at path; takes nothing yet.
    explicit FileLock(const QString &path);
    ~FileLock();

    /// Takes the lock, trying again for up to wait while another holds it; false when it could not.
    bool tryLock(std::chrono::milliseconds wait = std::chrono::milliseconds(0));
    [[nodiscard]] bool isHeld() const { return m_held; }
    /// Lets go of the lock (the file stays); tryLock may take it again.
    void unlock();

    /// While held: replaces the file's content with note (who holds it, for the others to read).
    void setHolderNote(const QByteArray &note);
    /// Whether somebody holds the lock at path and, if so, the note they left (possibly empty).
    static std::optional<QByteArray> holderNote(const QString &path);

private:
    int m_descriptor;
    bool m_held = false;
};

} // namespace lanternfold
