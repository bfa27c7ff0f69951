#pragma once

#include "foundation/Descriptor.h"

#include <vector>

namespace korvane {

/// Lets another process read what is typed on terminals of this one. A process in the background that reads
/// from its own terminal is stopped by the system, so what goes over is a pipe, which this process fills for
/// as long as the terminal gives something. For one thread.
class TerminalRelay {
public:
    /// Puts a pipe in the place of each terminal. The terminals must stay open until `run` has returned, the
    /// pipes are this object's.
    void replaceTerminals(std::vector<int>& descriptors);

    /// Passes on what is typed until every terminal has ended or nobody reads any more; returns at once when
    /// nothing was replaced. Once, after the pipes have been handed over.
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
