#include "ui/window/SessionKeeper.h"

#include <chrono>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;

/// Maximum age of the stored places; each save writes the whole settings file.
constexpr auto placesInterval = 3s;

} // namespace

SessionKeeper::SessionKeeper(std::function<Session()> current) : current_(std::move(current)) {
    soon_.setSingleShot(true);
    soon_.setInterval(0);
    later_.setSingleShot(true);
    later_.setInterval(placesInterval);
    for (QTimer* timer : {&soon_, &later_})
        timer->callOnTimeout([this] { saveNow(); });
}

void SessionKeeper::placesChanged() {
    if (!later_.isActive())
        later_.start();
}

void SessionKeeper::saveNow() {
    soon_.stop();
    later_.stop();
    if (isKeeping_)
        current_().save();
}

} // namespace korvane
