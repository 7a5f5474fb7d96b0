// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/RuleType.h"

namespace lanternfold {

using namespace Qt::StringLiterals;

QString ruleTypeTitle(RuleType type)
{
    switch (type) {
    case RuleType::once:
        return u"Once"_s;
    case RuleType::daily:
        return u"Daily"_s;
    case RuleType::weekly:
        return u"Weekly"_s;
    case RuleType::interval:
        return u"Every N Hours"_s;
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
