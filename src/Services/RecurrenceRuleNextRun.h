#pragma once

// RecurrenceRule::nextRun and RecurrenceRule::summary live in RecurrenceRuleNextRun.cpp, next to
// the calendar arithmetic they need; include this header to call them with a complete Calendar.
#include "Models/RecurrenceRule.h"
#include "Services/Calendar.h"
