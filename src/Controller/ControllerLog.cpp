#include "Controller/ControllerLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcController, "lanternfold.controller", QtWarningMsg)

} // namespace lanternfold
