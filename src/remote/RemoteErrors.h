#pragma once

#include "foundation/Result.h"

#include <QUrl>

namespace korvane {

/// What goes wrong with remote files, in the words in which the user is told. Domain "NSURLErrorDomain", code
/// -1004.
namespace remoteerror {

Error unknownHost(const QUrl& url);
/// `reason`: on a line of its own; may be empty.
Error cannotConnect(const QString& reason);
Error connectionLost();

} // namespace remoteerror

} // namespace korvane
