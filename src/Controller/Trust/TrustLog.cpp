#include "Controller/Trust/TrustLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcTrust, "lanternfold.trust", QtWarningMsg)

} // namespace lanternfold
