#include "documents/Document.h"

#include "foundation/FilePath.h"

namespace korvane {

QString Document::displayName() const {
    return displayName_.isEmpty() ? korvane::displayName(fileUrl()) : displayName_;
}

} // namespace korvane
