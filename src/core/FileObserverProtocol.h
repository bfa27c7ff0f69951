#pragma once

namespace korvane {

/// Follows a file that grows.
class FileObserverProtocol {
public:
    virtual ~FileObserverProtocol() = default;
    virtual void startTailing() = 0;
    virtual void stopTailing() = 0;
    virtual bool isTailing() const = 0;
};

} // namespace korvane
