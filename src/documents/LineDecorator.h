#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "documents/PageLoad.h"

#include <memory>

namespace korvane {

class RulePassProtocol;

/// Gives lines their font, colour and rule marks, as the settings and rules stood when the decorator was
/// made. The lines of one decorator share what they have in common. Made for one page load; used on its
/// thread.
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
