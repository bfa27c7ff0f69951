#include "ui/window/TabOpener.h"

#include "foundation/FilePath.h"
#include "ui/tabs/DocumentTab.h"

#include <QCoreApplication>

#include <chrono>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;

constexpr auto waitingInterval = 2s;

QStringList addressesOf(const QList<QPointer<DocumentTab>>& tabs) {
    QStringList addresses;
    for (const DocumentTab* tab : tabs)
        addresses.append(tab->address());
    return addresses;
}

} // namespace

TabOpener::TabOpener(std::function<void(DocumentTab&)> open) : open_(std::move(open)) {
    turn_.setSingleShot(true);
    turn_.setInterval(0);
    turn_.callOnTimeout([this] { openNext(); });
    poll_.setInterval(waitingInterval);
    poll_.callOnTimeout([this] { lookForWaiting(); });
}

void TabOpener::openInBackground(const std::vector<DocumentTab*>& tabs) {
    const Tabs restored(tabs.begin(), tabs.end());
    restored_.findMissing(addressesOf(restored), [this, restored](const QStringList& missing) {
        for (const auto& tab : restored) {
            if (!tab || tab->state() != DocumentTab::State::Unread)
                continue;
            if (!missing.contains(tab->address())) {
                toOpen_.append(tab);
                continue;
            }
            tab->setWaiting(QCoreApplication::translate("TabOpener", "“%1” does not exist.")
                                .arg(displayPath(tab->url())));
            watch(*tab);
        }
        turn_.start();
    });
}

void TabOpener::openNext() {
    const QPointer<DocumentTab> tab = toOpen_.isEmpty() ? nullptr : toOpen_.takeFirst();
    if (tab && tab->state() == DocumentTab::State::Unread)
        open_(*tab);
    if (!toOpen_.isEmpty())
        turn_.start();
}

void TabOpener::watch(DocumentTab& tab) {
    if (!waiting_.contains(&tab))
        waiting_.append(&tab);
    if (!poll_.isActive())
        poll_.start();
}

void TabOpener::lookForWaiting() {
    waiting_.removeIf(
        [](const QPointer<DocumentTab>& tab) { return !tab || tab->state() != DocumentTab::State::Waiting; });
    if (waiting_.isEmpty()) {
        poll_.stop();
        return;
    }
    // A network drive may take longer than the interval: only one check at a time.
    if (awaited_.isSearching())
        return;
    const Tabs asked = waiting_;
    awaited_.findMissing(addressesOf(asked), [this, asked](const QStringList& missing) {
        for (const auto& tab : asked) {
            if (tab && tab->state() == DocumentTab::State::Waiting && !missing.contains(tab->address()))
                open_(*tab);
        }
    });
}

} // namespace korvane
