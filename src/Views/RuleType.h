// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/RecurrenceRule.h"

#include <QString>

#include <array>

namespace lanternfold {

/// The schedule editor's choice of rule kind, in the order the editor offers them.
enum class RuleType { once, daily, weekly, interval };

inline constexpr std::array<RuleType, 4> allRuleTypes{RuleType::once, RuleType::daily, RuleType::weekly,
                                                      RuleType::interval};

/// The title the editor's frequency choice shows for type.
[[nodiscard]] QString ruleTypeTitle(RuleType type);

/// The kind of an existing rule, as the editor opens it.
[[nodiscard]] RuleType ruleTypeOf(const RecurrenceRule &rule);

} // namespace lanternfold
