#pragma once

#include "core/RuleEnforcerProtocol.h"

#include <QString>

#include <vector>

namespace korvane {

class Document;

/// Rules that exceeded their budget in a document; empty for a null or closed document. Main thread.
std::vector<SlowRule> slowRulesOf(const Document* document);

/// For the user: why the lines are marked, in a sentence or two.
QString explanationOf(const SlowRule& rule);

} // namespace korvane
