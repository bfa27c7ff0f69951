#include "ui/widgets/MainThreadPump.h"

#include "foundation/work/MainThread.h"

namespace korvane {

MainThreadPump::MainThreadPump() : notifier_(MainThread::shared().wakeDescriptor(), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_,
                     [] { MainThread::shared().runPending(); });
}

} // namespace korvane
