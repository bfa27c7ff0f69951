#pragma once

#include "core/DataSourceRoles.h"
#include "support/FakeDocument.h"

#include <atomic>
#include <memory>

namespace korvane::test {

/// A document with an address, and a default action.
class FakeRuledRows : public RuledRows {
public:
    void closeDocument() { document_.reset(); }

    std::shared_ptr<DocumentProtocol> getDocument() const override { return document_; }
    DefaultFilterLineAction defaultLineAction() const override { return action_; }
    void setDefaultLineAction(DefaultFilterLineAction action) override { action_ = action; }
    std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer() const override { return nullptr; }

private:
    std::atomic<DefaultFilterLineAction> action_{DefaultFilterLineAction::show};
    std::shared_ptr<DocumentProtocol> document_ = std::make_shared<FakeDocument>(nullptr);
};

} // namespace korvane::test
