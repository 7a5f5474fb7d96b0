#include "Schedules/SchedulesLog.h"

namespace lanternfold {

Q_LOGGING_CATEGORY(lcSchedules, "lanternfold.schedules", QtWarningMsg)

} // namespace lanternfold
