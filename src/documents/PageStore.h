#pragma once

#include "documents/PageLoad.h"
#include "foundation/work/NativeLock.h"

#include <QStringList>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace korvane {

/// The pages of rows that one data source has asked for and loaded, under the bound that `PageMemory` sets
/// for all of them together. Any thread.
///
/// A page whose request has been forgotten is asked for anew when it is looked at, and shows its old rows
/// until the new ones are there.
class PageStore {
public:
    PageStore();
    ~PageStore();
    PageStore(const PageStore&) = delete;
    PageStore& operator=(const PageStore&) = delete;

    struct Found {
        /// Nothing when the row is not there; an empty one when its page cannot be read.
        std::optional<PageRow> row;
        /// False, too, for a row that the page's pieces read so far do not have.
        bool isRequested = false;
    };
    Found row(qint64 lineIndex) const;
    /// The whole texts of a page's lines; nothing while they are not there or have to be asked for again.
    std::optional<QStringList> texts(qint64 page) const;
    /// Which of a page's rows the rules hide; nothing while the rows are not there or have to be asked for
    /// again.
    std::optional<std::vector<bool>> hiddenRows(qint64 page) const;
    /// Some rows have U+FFFD for bytes that are not valid.
    bool hasInvalidLines() const;

    /// Marks the page as asked for; nothing when it was so already. Of a page that has been read in part, a
    /// row that is not there claims the piece with it.
    std::optional<PageRequest> claim(qint64 page, std::optional<qint64> row = std::nullopt);
    /// Makes the page one that has not been asked for, unless it has been asked for again since.
    void withdraw(const PageRequest& request);
    /// Keeps the rows, unless the generation has gone on or fresher rows are there.
    void store(const PageRequest& request, PageContent content);
    /// Keeps rows of a page that is still being read, where they are all that there are so far, and more; the
    /// others stay asked for. Whether it did.
    bool storeSoFar(const PageRequest& request, PageContent content);

    /// Lines that are complete stay as they are: what comes behind the rows of a page is read as a further
    /// piece of it. Before the first request.
    void setGrowsByPieces() { growsByPieces_ = true; }
    /// Lines from this index on were added or have changed: their pages have to be asked for again, and their
    /// rows stay.
    void forgetRequestsFrom(qint64 line);
    /// A new generation: all pages have to be asked for again; their rows stay.
    void invalidate();
    /// A new generation without rows.
    void clear();

    /// The pages that are looked at. They stay whatever memory they take; of the others, the farthest go
    /// first.
    void setView(qint64 firstPage, qint64 lastPage);
    /// Nobody looks: these pages go before those of stores that are looked at.
    void setHidden();

    /// A page that may go, and how little it would be missed.
    struct Spare {
        qint64 page = 0;
        bool isHidden = false;
        /// In pages from the view; where there is no view, in pages loaded since.
        std::uint64_t distance = 0;
    };
    /// The one that would be missed least.
    std::optional<Spare> spare() const;
    void drop(qint64 page);
    /// What the rows take, in bytes.
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

    void startGeneration();
    /// With the lock held. What was there before.
    PageContent replace(qint64 page, CachedPage& cached, PageContent content, std::size_t bytes);
    /// Adds the rows of a piece to those of the page, of which the first go when they become too many.
    static void append(PageContent& page, PageContent piece);
    /// Null while they are not there or have to be asked for again. Called with the lock held.
    const std::vector<PageRow>* freshRows(qint64 page) const;

    bool growsByPieces_ = false;
    mutable NativeLock lock_;
    // Guarded by lock_.
    std::uint64_t generation_ = 0;
    std::uint64_t lastToken_ = 0;
    /// The token of the request that brought rows last.
    std::uint64_t lastStored_ = 0;
    /// Pages asked for or loaded, with the token of the request.
    std::unordered_map<qint64, std::uint64_t> requests_;
    CachedPages pages_;
    std::unordered_set<qint64> invalidPages_;
    std::size_t bytes_ = 0;
    std::optional<View> view_;
    bool isHidden_ = false;
};

} // namespace korvane
