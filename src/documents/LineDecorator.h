#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "documents/PageLoad.h"

#include <memory>

namespace korvane {

class RulePassProtocol;

/// Gives lines their font, colours and rule marks by the settings and rules at its construction. Lines share
/// their common attributes. Made for one page load; used on its thread.
class LineDecorator {
public:
    /// `rules` may be null.
    explicit LineDecorator(std::unique_ptr<RulePassProtocol> rules);
    LineDecorator(LineDecorator&&) noexcept;
    ~LineDecorator();

    PageRow row(qint64 lineIndex, DisplayLine line) const;

private:
    std::shared_ptr<const Attributes> plain_;
    std::unique_ptr<RulePassProtocol> rules_;
};

} // namespace korvane
