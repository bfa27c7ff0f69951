#include "documents/Discard.h"

#include "foundation/OperationQueue.h"

#include <utility>

namespace korvane {
namespace {

class DiscardOperation : public Operation {
public:
    explicit DiscardOperation(std::shared_ptr<const void> garbage) : garbage_(std::move(garbage)) {}

protected:
    void main() override { garbage_.reset(); }

private:
    std::shared_ptr<const void> garbage_;
};

} // namespace

void discardInBackground(std::shared_ptr<const void> garbage) {
    if (!garbage)
        return;
    // Never destroyed: something may be thrown away until the very end.
    static auto* const queue = new OperationQueue("Discard queue", 1);
    queue->addOperation(std::make_shared<DiscardOperation>(std::move(garbage)));
}

} // namespace korvane
