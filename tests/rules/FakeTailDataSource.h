#pragma once

#include "support/FakeDocument.h"
#include "support/NoRows.h"

#include <atomic>

namespace korvane::test {

/// No rows; a document with an address, and a default action.
class FakeTailDataSource : public NoRows {
public:
    void closeDocument() { document_.reset(); }

    DefaultFilterLineAction defaultLineAction() const override { return action_; }
    void setDefaultLineAction(DefaultFilterLineAction action) override { action_ = action; }
    std::shared_ptr<DocumentProtocol> getDocument() const override { return document_; }

private:
    std::atomic<DefaultFilterLineAction> action_{DefaultFilterLineAction::show};
    std::shared_ptr<DocumentProtocol> document_ = std::make_shared<FakeDocument>(nullptr);
};

} // namespace korvane::test
