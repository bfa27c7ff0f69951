#pragma once

#include "core/RuleEnforcerProtocol.h"

#include <QString>

#include <vector>

namespace korvane {

class Document;

/// What the rules of a document have given up on; nothing for no or a closed document. Main thread.
std::vector<SlowRule> slowRulesOf(const Document* document);

/// For the user: why the lines are marked, in a sentence or two.
QString explanationOf(const SlowRule& rule);

} // namespace korvane
