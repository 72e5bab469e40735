/* The rules of DRS's white list, as the library gives them. */
#pragma once

#include <string>
#include <vector>
#include <wdltcfg/records.h>

namespace wdlt {

using Rules = std::vector<WdltDrsWhiteListItem>;

/* A failure is a ToolError. */
Rules readRules();

/* A usage error when no rule can have that name. */
void checkRuleName(const std::string& name);

} // namespace wdlt
