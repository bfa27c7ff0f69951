#include "ui/MainThreadPump.h"

#include "foundation/MainThread.h"

namespace korvane {

MainThreadPump::MainThreadPump() : notifier_(MainThread::shared().wakeDescriptor(), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_,
                     [] { MainThread::shared().runPending(); });
}

} // namespace korvane
