#include "ui/window/StoreFaults.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/Preferences.h"
#include "documents/AppDocumentController.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"

#include <utility>

namespace korvane {

StoreFaults::StoreFaults(AppDocumentController& documents, Tell tell) : tell_(std::move(tell)) {
    const auto look = [this](const auto&...) { this->look(); };
    BookmarkNotices& bookmarks = FileBasedBookmarksManager::shared().notices();
    subscriptions_.push_back(FiltersManager::shared().changed().subscribe(look));
    subscriptions_.push_back(FilterRulesMemento::shared().activeRulesChanged().subscribe(look));
    subscriptions_.push_back(bookmarks.bookmarksUpdated.subscribe(look));
    subscriptions_.push_back(bookmarks.lineMarksChanged.subscribe(look));
    subscriptions_.push_back(bookmarks.lineMarksDeleted.subscribe(look));
    subscriptions_.push_back(RemoteHostsManager::shared().groupsChanged().subscribe(look));
    subscriptions_.push_back(documents.documentLoaded().subscribe(look));
}

void StoreFaults::look() {
    QStringList faults{FiltersManager::shared().fault(),
                       FilterRulesMemento::shared().fault(),
                       FileBasedBookmarksManager::shared().fault(),
                       RemoteHostsManager::shared().fault(),
                       ServerGroupsManager::shared().fault(),
                       Preferences::shared().userDefaults().writeFault()};
    faults.removeAll(QString());
    QStringList news = faults;
    for (const QString& told : told_)
        news.removeAll(told);
    if (news.isEmpty() || tell_(news.join(QStringLiteral("; "))))
        told_ = faults;
}

} // namespace korvane
