#pragma once

#include "support/NoRows.h"

#include <atomic>

namespace korvane::test {

/// No rows; a document with an address, and a default action.
class FakeTailDataSource : public NoRows {
public:
    explicit FakeTailDataSource(const QUrl& url) : document_(std::make_shared<AddressedDocument>(url)) {}

    void closeDocument() { document_.reset(); }

    DefaultFilterLineAction defaultLineAction() const override { return action_; }
    void setDefaultLineAction(DefaultFilterLineAction action) override { action_ = action; }
    std::shared_ptr<DocumentProtocol> getDocument() const override { return document_; }

private:
    std::atomic<DefaultFilterLineAction> action_{DefaultFilterLineAction::show};
    std::shared_ptr<DocumentProtocol> document_;
};

} // namespace korvane::test
