#include "documents/PageStore.h"

#include "core/reader/Pages.h"
#include "documents/Discard.h"
#include "documents/PageMemory.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace korvane {
namespace {

/// Without the shared attributes, which are small.
std::size_t bytesOf(const PageContent& content) {
    constexpr std::size_t textHeader = 32;
    std::size_t bytes = content.rows.capacity() * sizeof(PageRow);
    for (const PageRow& row : content.rows)
        bytes += textHeader + static_cast<std::size_t>(row.text.length()) * sizeof(QChar) +
                 row.text.runs().capacity() * sizeof(AttributedString::Run);
    return bytes;
}

/// A row less than this many rows after the loaded ones is read by continuing them…
constexpr qint64 closeRows = 200;
/// …any other row by a piece that starts this many rows before it.
constexpr qint64 rowsBefore = 100;
/// Maximum size of all pieces of one page together, in bytes.
constexpr std::size_t mostOfPage = 256 << 20;

qint64 endOf(const PageContent& content) {
    return content.firstRow + std::ssize(content.rows);
}

bool hasRow(const PageContent& content, qint64 row) {
    return content.firstRow <= row && row < endOf(content);
}

/// Whether another piece of the page has the row.
bool isLeftOut(const PageContent& content, qint64 row) {
    return row < content.firstRow || (content.isPartial && row >= endOf(content));
}

} // namespace

PageStore::PageStore() {
    PageMemory::shared().add(*this);
}

PageStore::~PageStore() {
    PageMemory::shared().remove(*this);
}

PageStore::Found PageStore::row(qint64 lineIndex) const {
    const qint64 page = pages::pageOfLine(lineIndex);
    return lock_.withReadLock([&]() REQUIRES_SHARED(lock_) {
        Found found{std::nullopt, requests_.contains(page)};
        const auto cached = pages_.find(page);
        if (cached == pages_.end())
            return found;
        const PageContent& content = cached->second.content;
        const qint64 row = lineIndex - pages::firstLine(page);
        // A row that cannot be read is shown as empty, not as still loading.
        if (content.kind != PageContent::Kind::Lines)
            found.row.emplace();
        else if (hasRow(content, row))
            found.row = content.rows[static_cast<std::size_t>(row - content.firstRow)];
        else if (found.isRequested && isLeftOut(content, row))
            found.isRequested = requests_.at(page) != cached->second.token;
        return found;
    });
}

const std::vector<PageRow>* PageStore::freshRows(qint64 page) const {
    const auto asked = requests_.find(page);
    const auto cached = pages_.find(page);
    const bool isFresh = asked != requests_.end() && cached != pages_.end() &&
                         asked->second == cached->second.token &&
                         cached->second.content.kind == PageContent::Kind::Lines;
    return isFresh ? &cached->second.content.rows : nullptr;
}

std::optional<std::vector<bool>> PageStore::hiddenRows(qint64 page) const {
    return lock_.withReadLock([&]() REQUIRES_SHARED(lock_) -> std::optional<std::vector<bool>> {
        const auto* rows = freshRows(page);
        if (!rows || pages_.at(page).content.firstRow > 0)
            return std::nullopt;
        std::vector<bool> hidden;
        hidden.reserve(rows->size());
        for (const PageRow& row : *rows)
            hidden.push_back(row.marks.hideLine);
        return hidden;
    });
}

std::optional<QStringList> PageStore::texts(qint64 page) const {
    return lock_.withReadLock([&]() REQUIRES_SHARED(lock_) -> std::optional<QStringList> {
        const auto* rows = freshRows(page);
        if (!rows || pages_.at(page).content.firstRow > 0 || pages_.at(page).content.isPartial)
            return std::nullopt;
        QStringList texts;
        texts.reserve(static_cast<qsizetype>(rows->size()));
        for (const PageRow& row : *rows) {
            if (row.cutBytes > 0)
                return std::nullopt;
            texts.append(row.text.string());
        }
        return texts;
    });
}

bool PageStore::hasInvalidLines() const {
    return lock_.withReadLock([this]() REQUIRES_SHARED(lock_) { return !invalidPages_.empty(); });
}

std::optional<PageRequest> PageStore::claim(qint64 page, std::optional<qint64> row) {
    return lock_.withWriteLock([&]() REQUIRES(lock_) -> std::optional<PageRequest> {
        const auto [entry, isNew] = requests_.try_emplace(page, lastToken_ + 1);
        if (isNew) {
            PageRequest request{page, ++lastToken_, generation_};
            request.wantedRow = row.value_or(0);
            return request;
        }
        const auto cached = pages_.find(page);
        if (!row || cached == pages_.end() || cached->second.token != entry->second)
            return std::nullopt;
        const PageContent& content = cached->second.content;
        if (!isLeftOut(content, *row))
            return std::nullopt;
        PageRequest request{page, ++lastToken_, generation_};
        const qint64 end = endOf(content);
        if (end <= *row && *row < end + closeRows) {
            request.firstRow = end;
            request.continued = cached->second.token;
        } else {
            request.firstRow = std::max<qint64>(*row - rowsBefore, 0);
        }
        entry->second = request.token;
        return request;
    });
}

void PageStore::withdraw(const PageRequest& request) {
    lock_.withWriteLock([&]() REQUIRES(lock_) {
        const auto entry = requests_.find(request.page);
        if (entry == requests_.end() || entry->second != request.token)
            return;
        const auto cached = pages_.find(request.page);
        // The loaded pieces stay.
        if (cached != pages_.end() && request.firstRow > 0)
            entry->second = cached->second.token;
        else
            requests_.erase(entry);
    });
}

void PageStore::store(const PageRequest& request, PageContent content) {
    std::size_t bytes = bytesOf(content);
    PageContent replaced; // freed outside the lock
    lock_.withWriteLock([&]() REQUIRES(lock_) {
        if (request.generation != generation_)
            return;
        CachedPage& cached = pages_[request.page];
        if (cached.token > request.token || (request.continued > 0 && cached.token != request.continued))
            return;
        const bool isUnreadable = content.kind == PageContent::Kind::Unreadable;
        if (request.firstRow > 0 && request.continued == 0 && isUnreadable)
            return;
        if (request.continued > 0) {
            append(cached.content, std::move(content));
            content = std::move(cached.content);
            bytes = bytesOf(content);
        }
        cached.token = request.token;
        lastStored_ = std::max(lastStored_, request.token);
        // Rows that were read once stay until the truncation is detected, which clears the cache.
        const bool isLess = (content.isShort || isUnreadable) && request.firstRow == 0;
        if (isLess && cached.generation == generation_ && cached.content.rows.size() > content.rows.size())
            return;
        replaced = replace(request.page, cached, std::move(content), bytes);
    });
    PageMemory::shared().keepBound();
}

bool PageStore::storeSoFar(const PageRequest& request, PageContent content) {
    const std::size_t bytes = bytesOf(content);
    PageContent replaced; // freed outside the lock
    const bool isKept = lock_.withWriteLock([&]() REQUIRES(lock_) {
        const auto asked = requests_.find(request.page);
        if (request.generation != generation_ || request.firstRow > 0 || asked == requests_.end() ||
            asked->second != request.token)
            return false;
        CachedPage& cached = pages_[request.page];
        // Its token differs from that of the request, so missing rows count as requested.
        const bool isMore = cached.content.rows.empty() || (content.firstRow <= cached.content.firstRow &&
                                                            endOf(cached.content) < endOf(content));
        if (cached.token == request.token || !isMore)
            return false;
        content.isPartial = true;
        replaced = replace(request.page, cached, std::move(content), bytes);
        return true;
    });
    PageMemory::shared().keepBound();
    return isKept;
}

PageContent PageStore::replace(qint64 page, CachedPage& cached, PageContent content, std::size_t bytes) {
    cached.generation = generation_;
    bytes_ += bytes - std::exchange(cached.bytes, bytes);
    if (content.hasInvalidLines)
        invalidPages_.insert(page);
    else
        invalidPages_.erase(page);
    return std::exchange(cached.content, std::move(content));
}

void PageStore::append(PageContent& page, PageContent piece) {
    page.isPartial = piece.isPartial;
    page.hasInvalidLines |= piece.hasInvalidLines;
    const bool isTooLarge = bytesOf(page) + bytesOf(piece) > mostOfPage;
    const auto dropped = isTooLarge ? std::ssize(page.rows) / 2 : 0;
    page.rows.erase(page.rows.begin(), page.rows.begin() + dropped);
    page.firstRow += dropped;
    page.rows.insert(page.rows.end(), std::make_move_iterator(piece.rows.begin()),
                     std::make_move_iterator(piece.rows.end()));
}

void PageStore::forgetRequestsFrom(qint64 line) {
    const qint64 page = pages::pageOfLine(line);
    lock_.withWriteLock([&]() REQUIRES(lock_) {
        const auto asked = requests_.find(page);
        const auto cached = pages_.find(page);
        const bool isExtended = growsByPieces_ && freshRows(page) &&
                                endOf(cached->second.content) <= line - pages::firstLine(page);
        if (isExtended)
            cached->second.content.isPartial = true;
        else if (asked != requests_.end())
            requests_.erase(asked);
        std::erase_if(requests_, [page](const auto& entry) { return entry.first > page; });
    });
}

void PageStore::startGeneration() {
    ++generation_;
    requests_.clear();
    invalidPages_.clear();
}

void PageStore::invalidate() {
    lock_.withWriteLock([this]() REQUIRES(lock_) { startGeneration(); });
}

void PageStore::clear() {
    auto dropped = std::make_shared<CachedPages>();
    lock_.withWriteLock([&]() REQUIRES(lock_) {
        startGeneration();
        pages_.swap(*dropped);
        bytes_ = 0;
    });
    if (!dropped->empty())
        discardInBackground(std::move(dropped));
}

void PageStore::setView(qint64 firstPage, qint64 lastPage) {
    lock_.withWriteLock([&]() REQUIRES(lock_) {
        view_ = View{firstPage, lastPage};
        isHidden_ = false;
    });
}

void PageStore::setHidden() {
    lock_.withWriteLock([this]() REQUIRES(lock_) { isHidden_ = true; });
}

std::optional<PageStore::Spare> PageStore::spare() const {
    return lock_.withReadLock([this]() REQUIRES_SHARED(lock_) {
        std::optional<Spare> best;
        for (const auto& [page, cached] : pages_) {
            Spare spare{page, isHidden_, lastStored_ - cached.token};
            if (view_ && !isHidden_) {
                const qint64 outside = std::max(view_->firstPage - page, page - view_->lastPage);
                spare.distance = static_cast<std::uint64_t>(std::max<qint64>(outside, 0));
            }
            // Rows just loaded are about to be shown, unless the store is hidden.
            const bool isWanted = !isHidden_ && (spare.distance == 0 || cached.token == lastStored_);
            if (!isWanted && (!best || spare.distance > best->distance))
                best = spare;
        }
        return best;
    });
}

void PageStore::drop(qint64 page) {
    auto dropped = std::make_shared<PageContent>();
    lock_.withWriteLock([&]() REQUIRES(lock_) {
        const auto cached = pages_.find(page);
        if (cached == pages_.end())
            return;
        *dropped = std::move(cached->second.content);
        bytes_ -= cached->second.bytes;
        pages_.erase(cached);
        requests_.erase(page);
        invalidPages_.erase(page);
    });
    discardInBackground(std::move(dropped));
}

std::size_t PageStore::bytes() const {
    return lock_.withReadLock([this]() REQUIRES_SHARED(lock_) { return bytes_; });
}

} // namespace korvane
