#pragma once

#include "foundation/FatalError.h"

#include <algorithm>
#include <span>

namespace korvane {

/// The state of an object, with its legal transitions in one table. Any other transition is a fatal error.
/// Not synchronised.
template <class State>
class StateMachine {
public:
    struct Transition {
        State from;
        State to;
    };

    /// `legal` must outlive the machine.
    StateMachine(State first, std::span<const Transition> legal) : state_(first), legal_(legal) {}

    State state() const { return state_; }

    /// True when the state has changed; entering the present state again is legal and changes nothing.
    bool enter(State next) {
        if (next == state_)
            return false;
        const auto leadsThere = [&](const Transition& one) { return one.from == state_ && one.to == next; };
        if (std::ranges::none_of(legal_, leadsThere))
            fatalError("a change of state that no table lists");
        state_ = next;
        return true;
    }

private:
    State state_;
    std::span<const Transition> legal_;
};

} // namespace korvane
