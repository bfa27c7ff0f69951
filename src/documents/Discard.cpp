#include "documents/Discard.h"

#include "foundation/work/OperationQueue.h"

#include <utility>

namespace korvane {
void discardInBackground(std::shared_ptr<const void> garbage) {
    if (!garbage)
        return;
    // Never destroyed: something may be thrown away until the very end.
    static auto* const queue = new OperationQueue("Discard queue", 1);
    queue->run([garbage = std::move(garbage)]() mutable { garbage.reset(); });
}

} // namespace korvane
