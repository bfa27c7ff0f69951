#pragma once

#include "foundation/Descriptor.h"

#include <vector>

namespace korvane {

/// Lets another process read what is typed on terminals of this one. The system stops a background process
/// that reads from its terminal, so the other process gets a pipe instead, which this one fills until the
/// terminal ends. For one thread.
class TerminalRelay {
public:
    /// Replaces each terminal by a pipe, which this object owns. The terminals must stay open until `run` has
    /// returned.
    void replaceTerminals(std::vector<int>& descriptors);

    /// Passes on typed bytes until every terminal has ended or no reader is left; returns at once when
    /// nothing was replaced. Once, after the pipes were handed over.
    void run();

private:
    struct Line {
        int terminal;
        Descriptor readingEnd;
        Descriptor writingEnd;
    };
    /// False at the end.
    static bool passOn(const Line& line);

    std::vector<Line> lines_;
};

} // namespace korvane
