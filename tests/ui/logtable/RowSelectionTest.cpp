#include "ui/logtable/RowSelection.h"

#include <gtest/gtest.h>
#include <random>
#include <set>

namespace korvane {
namespace {

// Random toggles, additions and cuts, compared with a std::set of rows.
TEST(RowSelection, BehavesAsASetOfRows) {
    std::mt19937 random(11);
    for (int round = 0; round < 100; ++round) {
        RowSelection selection;
        std::set<qint64> model;
        for (int step = 0; step < 30; ++step) {
            const qint64 one = random() % 20;
            const qint64 other = random() % 20;
            if (random() % 8 == 0) {
                selection.limitTo(other);
                model.erase(model.lower_bound(other), model.end());
            } else if (random() % 2) {
                selection.toggle(one);
                if (!model.erase(one))
                    model.insert(one);
            } else {
                selection.add(one, other);
                for (qint64 row = std::min(one, other); row <= std::max(one, other); ++row)
                    model.insert(row);
            }
            ASSERT_EQ(selection.count(), static_cast<qint64>(model.size()));
            for (qint64 row = -1; row < 22; ++row)
                ASSERT_EQ(selection.contains(row), model.contains(row)) << row;
            for (std::size_t i = 1; i < selection.ranges().size(); ++i)
                ASSERT_GT(selection.ranges()[i].first, selection.ranges()[i - 1].last + 1);
        }
    }
}

} // namespace
} // namespace korvane
