#pragma once

#include "foundation/StateMachine.h"

namespace korvane {

/// How far a document has been read, as its windows know it: it changes after the notices of the rows.
enum class LoadState : unsigned char {
    Waiting, ///< not started, or a connection must be made first
    Loading,
    Loaded,
    Cancelled, ///< by the user; rows read so far stay
    Failed,    ///< rows read so far stay
};

inline constexpr StateMachine<LoadState>::Transition loadTransitions[] = {
    {LoadState::Waiting, LoadState::Loading},   {LoadState::Waiting, LoadState::Cancelled},
    {LoadState::Loading, LoadState::Loaded},    {LoadState::Loading, LoadState::Cancelled},
    {LoadState::Loading, LoadState::Failed},    {LoadState::Loaded, LoadState::Loading},
    {LoadState::Cancelled, LoadState::Loading}, {LoadState::Failed, LoadState::Loading},
};

} // namespace korvane
