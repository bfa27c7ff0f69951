#include "documents/PageStore.h"

#include "core/Preferences.h"
#include "core/reader/Pages.h"
#include "documents/PageMemory.h"
#include "support/PreferencesTest.h"

namespace korvane {
namespace {

class PageStoreTest : public test::PreferencesTest {
protected:
    PageStoreTest() { Preferences::shared().setRowMemory(16); }

    static void store(PageStore& store, const std::optional<PageRequest>& request, const QString& row) {
        ASSERT_TRUE(request);
        PageContent content;
        content.rows.push_back({AttributedString(row), 0});
        store.store(*request, std::move(content));
    }
    /// Stores a page of 3 MiB: five fit.
    static void load(PageStore& pageStore, qint64 page) {
        store(pageStore, pageStore.claim(page), QString(3 << 19, u'x'));
    }
    static void load(PageStore& pageStore, std::initializer_list<qint64> pages) {
        for (const qint64 page : pages)
            load(pageStore, page);
    }
    static QList<qint64> held(const PageStore& pageStore) {
        QList<qint64> pages;
        for (qint64 page = 1; page <= 40; ++page)
            if (pageStore.row(pages::firstLine(page)).row)
                pages.append(page);
        return pages;
    }
};

TEST_F(PageStoreTest, TheBoundCostsHiddenPagesFirstThenTheFarthest) {
    PageStore hidden;
    PageStore shown;
    hidden.setHidden();
    load(hidden, {1, 2, 3});
    shown.setView(10, 11);
    load(shown, {9, 10, 11, 12, 20});
    EXPECT_EQ(held(hidden), QList<qint64>());
    EXPECT_EQ(held(shown), QList<qint64>({9, 10, 11, 12, 20}));
    load(shown, 30); // about to be shown
    EXPECT_EQ(held(shown), QList<qint64>({9, 10, 11, 12, 30}));
    shown.setView(30, 30);
    load(shown, 31);
    EXPECT_EQ(held(shown), QList<qint64>({10, 11, 12, 30, 31}));
    EXPECT_TRUE(shown.claim(9)) << "what has gone can be asked for again";
    EXPECT_LE(PageMemory::shared().bytes(), std::size_t{16} << 20);

    Preferences::shared().setRowMemory(32);
    load(shown, {1, 2, 3, 4});
    EXPECT_EQ(held(shown).size(), 9);
    Preferences::shared().setRowMemory(16);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
    EXPECT_EQ(held(shown).size(), 5) << "a bound that was lowered waits for the next page";
}

TEST_F(PageStoreTest, OnlyTheLatestRequestOfAPageAndGenerationCounts) {
    PageStore pages;
    const auto earlier = pages.claim(1);
    EXPECT_FALSE(pages.claim(1)) << "it has been requested";
    pages.forgetRequestsFrom(0);
    const auto later = pages.claim(1);
    pages.withdraw(*earlier);
    EXPECT_FALSE(pages.claim(1)) << "the later request holds";
    store(pages, later, QStringLiteral("fresh"));
    store(pages, earlier, QStringLiteral("late"));
    EXPECT_EQ(pages.row(0).row->text.string(), QStringLiteral("fresh"));
    pages.withdraw(*later);
    EXPECT_TRUE(pages.claim(1));

    pages.clear();
    store(pages, later, QStringLiteral("before the clear"));
    EXPECT_FALSE(pages.row(0).row);
    const auto cleared = pages.claim(1);
    pages.invalidate();
    store(pages, cleared, QStringLiteral("invalid"));
    EXPECT_FALSE(pages.row(0).row);
}

TEST_F(PageStoreTest, WhatIsLookedAtStaysWhateverItTakes) {
    PageStore store;
    store.setView(1, 9);
    load(store, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(held(store).size(), 9);
    store.setHidden();
    PageStore other;
    load(other, 1);
    EXPECT_EQ(held(other), QList<qint64>({1}));
    EXPECT_EQ(held(store).size(), 4);
}

} // namespace
} // namespace korvane
