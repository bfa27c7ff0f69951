#include "foundation/notices/UserNotifications.h"

namespace korvane {
namespace {

UserNotificationCenter* sharedCenter = nullptr;

} // namespace

UserNotificationCenter* UserNotificationCenter::shared() {
    return sharedCenter;
}

void UserNotificationCenter::setShared(UserNotificationCenter* center) {
    sharedCenter = center;
}

} // namespace korvane
