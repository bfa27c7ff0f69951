#pragma once

#include "documents/PageLoad.h"
#include "foundation/work/NativeLock.h"

#include <QStringList>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace korvane {

/// The pages of rows that one data source has requested and loaded, under the limit that `PageMemory` sets
/// for all data sources together. Any thread.
///
/// A page whose request has been forgotten is requested again when it is shown, and keeps its old rows until
/// the new ones are loaded.
class PageStore {
public:
    PageStore();
    ~PageStore();
    PageStore(const PageStore&) = delete;
    PageStore& operator=(const PageStore&) = delete;

    struct Found {
        /// Nullopt when the row is not loaded; an empty row when its page cannot be read.
        std::optional<PageRow> row;
        /// False also for a row that the pieces read so far do not contain.
        bool isRequested = false;
    };
    Found row(qint64 lineIndex) const;
    /// The whole texts of a page's lines; nullopt while they are not loaded or must be requested again.
    std::optional<QStringList> texts(qint64 page) const;
    /// Which of a page's rows the rules hide; nullopt while the rows are not loaded or must be requested
    /// again.
    std::optional<std::vector<bool>> hiddenRows(qint64 page) const;
    /// Some rows have U+FFFD for bytes that are not valid.
    bool hasInvalidLines() const;

    /// Marks the page as requested; nullopt when it was already. For a page that has been read in part,
    /// requests the piece that contains `row`.
    std::optional<PageRequest> claim(qint64 page, std::optional<qint64> row = std::nullopt);
    /// Marks the page as not requested, unless it has been requested again since.
    void withdraw(const PageRequest& request);
    /// Stores the rows, unless the generation has changed or newer rows are stored.
    void store(const PageRequest& request, PageContent content);
    /// Stores rows of a page that is still being read, if they include all rows stored so far and more; the
    /// others stay requested. Returns whether it did.
    bool storeSoFar(const PageRequest& request, PageContent content);

    /// Complete lines never change: lines after the rows of a page are read as a further piece of it. Call
    /// before the first request.
    void setGrowsByPieces() { growsByPieces_ = true; }
    /// Lines from this index on were appended or have changed: their pages must be requested again; their
    /// rows stay.
    void forgetRequestsFrom(qint64 line);
    /// Starts a new generation: all pages must be requested again; their rows stay.
    void invalidate();
    /// Starts a new generation without rows.
    void clear();

    /// The pages in view. They are never dropped; of the others, the farthest are dropped first.
    void setView(qint64 firstPage, qint64 lastPage);
    /// No page is in view: these pages are dropped before those of visible stores.
    void setHidden();

    /// A page that may be dropped, and how far it is from the view.
    struct Spare {
        qint64 page = 0;
        bool isHidden = false;
        /// In pages from the view; without a view, the number of pages loaded since.
        std::uint64_t distance = 0;
    };
    /// The page to drop first.
    std::optional<Spare> spare() const;
    void drop(qint64 page);
    /// Memory of the rows, in bytes.
    std::size_t bytes() const;

private:
    struct CachedPage {
        std::uint64_t token = 0;
        std::uint64_t generation = 0;
        std::size_t bytes = 0;
        PageContent content;
    };
    using CachedPages = std::unordered_map<qint64, CachedPage>;
    struct View {
        qint64 firstPage = 0;
        qint64 lastPage = 0;
    };

    void startGeneration() REQUIRES(lock_);
    /// Returns the previous content.
    PageContent replace(qint64 page, CachedPage& cached, PageContent content, std::size_t bytes)
        REQUIRES(lock_);
    /// Adds the rows of a piece to those of the page, dropping the first ones when they become too many.
    static void append(PageContent& page, PageContent piece);
    /// Null while they are not loaded or must be requested again.
    const std::vector<PageRow>* freshRows(qint64 page) const REQUIRES_SHARED(lock_);

    bool growsByPieces_ = false;
    mutable NativeLock lock_;
    std::uint64_t generation_ GUARDED_BY(lock_) = 0;
    std::uint64_t lastToken_ GUARDED_BY(lock_) = 0;
    /// The greatest token of a request whose rows have been stored.
    std::uint64_t lastStored_ GUARDED_BY(lock_) = 0;
    /// Pages requested or loaded, with the token of the request.
    std::unordered_map<qint64, std::uint64_t> requests_ GUARDED_BY(lock_);
    CachedPages pages_ GUARDED_BY(lock_);
    std::unordered_set<qint64> invalidPages_ GUARDED_BY(lock_);
    std::size_t bytes_ GUARDED_BY(lock_) = 0;
    std::optional<View> view_ GUARDED_BY(lock_);
    bool isHidden_ GUARDED_BY(lock_) = false;
};

} // namespace korvane
