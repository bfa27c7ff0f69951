#include "documents/Document.h"

#include "core/FileObserverProtocol.h"
#include "foundation/FilePath.h"

namespace korvane {

void Document::setLoadState(LoadState state) {
    if (loadState_.enter(state))
        notices().loadStateChanged.post();
}

bool Document::isFollowed() const {
    const auto observer = isClosed() ? nullptr : logFileObserver();
    return observer && observer->isTailing();
}

QString Document::displayName() const {
    return displayName_.isEmpty() ? korvane::displayName(fileUrl()) : displayName_;
}

QString Document::displayPlace() const {
    return isTransient() ? displayName_ : displayAddress(fileUrl());
}

QString Document::settingsId() const {
    return isTransient() ? QStringLiteral("pipe:") + displayName_ : DocumentProtocol::settingsId();
}

} // namespace korvane
