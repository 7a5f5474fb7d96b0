#include "Platform/PlatformLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcPlatform, "lanternfold.platform", QtWarningMsg)

} // namespace lanternfold
