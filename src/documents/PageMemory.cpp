#include "documents/PageMemory.h"

#include "documents/PageStore.h"

#include <algorithm>
#include <malloc.h>
#include <optional>

namespace korvane {

PageMemory::PageMemory() : queue_("Page memory queue", 1) {}

PageMemory& PageMemory::shared() {
    static auto* const instance = new PageMemory; // stores may outlive the end of `main`
    return *instance;
}

void PageMemory::useOneHeap() {
    mallopt(M_ARENA_MAX, 1);
}

void PageMemory::add(PageStore& store) {
    const MutexLock guard(mutex_);
    if (stores_.empty())
        preferencesToken_ = Preferences::shared().observe([this](const QString& key) {
            // Finding pages to drop takes time when there are many.
            if (key == Preferences::keyRowMemory)
                queue_.run([this] { keepBound(); });
        });
    stores_.push_back(&store);
}

void PageMemory::remove(PageStore& store) {
    const MutexLock guard(mutex_);
    std::erase(stores_, &store);
    if (stores_.empty())
        preferencesToken_.reset();
}

std::size_t PageMemory::bytesHeld() const {
    std::size_t bytes = 0;
    for (const PageStore* store : stores_)
        bytes += store->bytes();
    return bytes;
}

std::size_t PageMemory::bytes() {
    const MutexLock guard(mutex_);
    return bytesHeld();
}

void PageMemory::keepBound() {
    const auto bound = static_cast<std::size_t>(Preferences::shared().rowMemory()) << 20;
    while (dropOne(bound))
        ;
}

bool PageMemory::dropOne(std::size_t bound) {
    const MutexLock guard(mutex_);
    if (bytesHeld() <= bound)
        return false;
    PageStore* victim = nullptr;
    std::optional<PageStore::Spare> worst;
    for (PageStore* store : stores_) {
        const auto spare = store->spare();
        if (spare && (!worst || std::pair(spare->isHidden, spare->distance) >
                                    std::pair(worst->isHidden, worst->distance))) {
            worst = spare;
            victim = store;
        }
    }
    if (!victim)
        return false;
    victim->drop(worst->page);
    return true;
}

} // namespace korvane
