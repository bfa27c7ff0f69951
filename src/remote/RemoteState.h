#pragma once

#include "documents/ConnectionState.h"
#include "foundation/StateMachine.h"

namespace korvane {

/// The state of a remote document's connection.
enum class RemoteState : unsigned char {
    Unopened,  ///< nothing has been requested yet
    Opening,   ///< the first connection is being made, or another attempt after it failed
    Cancelled, ///< the user cancelled before there was a connection
    Failed,    ///< no connection could be made
    Connected,
    Rereading, ///< connected, and the file is being read again
    Lost,      ///< it was connected; the rows loaded so far stay
    Returning, ///< as above, and reconnecting
    Closed,    ///< the document is closed
};

inline constexpr StateMachine<RemoteState>::Transition remoteTransitions[] = {
    {RemoteState::Unopened, RemoteState::Opening},    {RemoteState::Opening, RemoteState::Connected},
    {RemoteState::Opening, RemoteState::Cancelled},   {RemoteState::Opening, RemoteState::Failed},
    {RemoteState::Cancelled, RemoteState::Opening},   {RemoteState::Failed, RemoteState::Opening},
    {RemoteState::Connected, RemoteState::Rereading}, {RemoteState::Connected, RemoteState::Lost},
    {RemoteState::Rereading, RemoteState::Connected}, {RemoteState::Rereading, RemoteState::Cancelled},
    {RemoteState::Rereading, RemoteState::Failed},    {RemoteState::Lost, RemoteState::Returning},
    {RemoteState::Returning, RemoteState::Connected}, {RemoteState::Returning, RemoteState::Lost},
    {RemoteState::Unopened, RemoteState::Closed},     {RemoteState::Opening, RemoteState::Closed},
    {RemoteState::Cancelled, RemoteState::Closed},    {RemoteState::Failed, RemoteState::Closed},
    {RemoteState::Connected, RemoteState::Closed},    {RemoteState::Rereading, RemoteState::Closed},
    {RemoteState::Lost, RemoteState::Closed},         {RemoteState::Returning, RemoteState::Closed},
};

/// The state during an attempt to connect, or to read the file again.
constexpr RemoteState stateOfAttempt(RemoteState state) {
    switch (state) {
    case RemoteState::Lost:
        return RemoteState::Returning;
    case RemoteState::Connected:
        return RemoteState::Rereading;
    case RemoteState::Unopened:
    case RemoteState::Cancelled:
    case RemoteState::Failed:
        return RemoteState::Opening;
    case RemoteState::Opening:
    case RemoteState::Rereading:
    case RemoteState::Returning:
    case RemoteState::Closed:
        break;
    }
    return state;
}

/// The state shown in the windows.
constexpr ConnectionState connectionStateOf(RemoteState state) {
    switch (state) {
    case RemoteState::Opening:
    case RemoteState::Rereading:
    case RemoteState::Returning:
        return ConnectionState::Connecting;
    case RemoteState::Connected:
        return ConnectionState::Connected;
    case RemoteState::Lost:
        return ConnectionState::Lost;
    case RemoteState::Closed:
        return ConnectionState::Closed;
    case RemoteState::Unopened:
    case RemoteState::Cancelled:
    case RemoteState::Failed:
        break;
    }
    return ConnectionState::Unconnected;
}

} // namespace korvane
