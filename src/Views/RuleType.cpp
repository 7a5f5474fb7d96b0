// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/RuleType.h"

#include <QCoreApplication>

namespace lanternfold {

QString ruleTypeTitle(RuleType type)
{
    switch (type) {
    case RuleType::once:
        //: How often a schedule repeats: it runs a single time
        return QCoreApplication::translate("lanternfold::RuleType", "Once");
    case RuleType::daily:
        //: How often a schedule repeats: every day
        return QCoreApplication::translate("lanternfold::RuleType", "Daily");
    case RuleType::weekly:
        //: How often a schedule repeats: on chosen days of the week
        return QCoreApplication::translate("lanternfold::RuleType", "Weekly");
    case RuleType::interval:
        //: How often a schedule repeats: at a fixed number of hours apart
        return QCoreApplication::translate("lanternfold::RuleType", "Every N Hours");
    }
    Q_UNREACHABLE();
    return {};
}

RuleType ruleTypeOf(const RecurrenceRule &rule)
{
    switch (rule.kind()) {
    case RecurrenceRule::Kind::once:
        return RuleType::once;
    case RecurrenceRule::Kind::dailyAt:
        return RuleType::daily;
    case RecurrenceRule::Kind::weeklyAt:
        return RuleType::weekly;
    case RecurrenceRule::Kind::everyInterval:
        return RuleType::interval;
    }
    Q_UNREACHABLE();
    return RuleType::interval;
}

} // namespace lanternfold
