#pragma once

#include "foundation/FatalError.h"

#include <memory>
#include <string>
#include <typeinfo>
#include <utility>

namespace korvane {

/// Base of a class with one object in the program, reached as `T::shared()`. Set once at start, on the main
/// thread, before any other use.
template <typename T>
class Shared {
public:
    /// Fatal error before it is set.
    static T& shared() {
        if (!slot())
            fatalError(std::string("used before it is set: ") + typeid(T).name());
        return *slot();
    }
    /// Null before it is set.
    static const std::shared_ptr<T>& sharedPointer() { return slot(); }
    static bool hasShared() { return slot() != nullptr; }
    static void setShared(std::shared_ptr<T> object) { slot() = std::move(object); }

protected:
    Shared() = default;
    ~Shared() = default;

private:
    static std::shared_ptr<T>& slot() {
        static std::shared_ptr<T> object;
        return object;
    }
};

} // namespace korvane
