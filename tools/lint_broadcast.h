// The texts of a broadcast for zelk lint, each with the record that it belongs to.
#pragma once

#include "lint_report.h"

#include <functional>
#include <string>

namespace zelk::tool {

// Reads what BroadcastReader reads, and throws Failure where the file is none of it. Texts that are sent in pieces are
// joined.
void forEachBroadcastText(const std::string &file, const std::function<void(LintedText)> &use);

} // namespace zelk::tool
