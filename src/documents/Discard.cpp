#include "documents/Discard.h"

#include "foundation/work/OperationQueue.h"

#include <utility>

namespace korvane {
void discardInBackground(std::shared_ptr<const void> garbage) {
    if (!garbage)
        return;
    // Never destroyed: objects may be discarded until the process ends.
    static auto* const queue = new OperationQueue("Discard queue", 1);
    queue->run([garbage = std::move(garbage)]() mutable { garbage.reset(); });
}

} // namespace korvane
