#pragma once

#include "foundation/Result.h"

#include <QUrl>

/// Errors of remote files, with their texts for the user. Domain "NSURLErrorDomain", code -1004.
namespace korvane::remoteerror {

Error unknownHost(const QUrl& url);
/// `reason`: shown on a line of its own; may be empty.
Error cannotConnect(const QString& reason);
Error connectionLost();

} // namespace korvane::remoteerror
