#pragma once

#include <QString>
#include <QtGlobal>

#include <chrono>

namespace lanternfold {

/// An flock on a file, held until this object goes. The kernel lets go of it when its holder ends,
/// however it ends, so no lock is ever stale; and taking it writes and syncs nothing. Two holders
/// conflict even within one process, as each opens the file anew.
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

private:
    int m_descriptor;
    bool m_held = false;
};

} // namespace lanternfold
