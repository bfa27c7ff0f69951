#pragma once

#include "foundation/Result.h"

#include <QString>

#include <functional>

namespace korvane {

/// Asks what to do about a store whose file cannot be read: true to set it aside and start fresh, false to
/// quit.
using StoreFaultQuestion = std::function<bool(const Error& fault)>;

/// Loads the rules and their states from the directory and makes them the program's own. A file that does not
/// decode is never touched unasked. False: the program is to quit. Main thread, once, before any document
/// opens.
bool loadRuleStores(const QString& directory, const StoreFaultQuestion& ask);

} // namespace korvane
