#include "Platform/KeychainService.h"

namespace lanternfold {

QString KeychainService::account(const QString &host, const QString &username)
{
    return host + u':' + username;
}

} // namespace lanternfold
