#pragma once

#include "app/InstancePlace.h"
#include "app/OpenRequest.h"
#include "foundation/Descriptor.h"

#include <QString>

#include <chrono>
#include <functional>
#include <utility>

namespace korvane {

/// Finds out at the start of the program whether a copy of it runs already, and hands that copy the request,
/// or becomes the running copy itself. Works without an application object and blocks, within limits. For one
/// thread.
///
/// The running copy holds a lock, which ends with the process however that ends, and listens on a socket.
/// A client connects, sends one message and waits for one byte.
class SingleInstance {
public:
    enum class Role {
        /// The running copy: `listener()` gets the requests of later starts.
        First,
        /// Another copy has taken the request.
        HandedOver,
        /// Neither: the program runs for itself.
        Alone,
    };

    /// Whether the peer of the connection is a process of the same user.
    static bool isOfThisUser(int socket);

    /// What the running copy answers to a message.
    static constexpr char takenAnswer = 'T';
    static constexpr char refusedAnswer = 'R';

    struct Patience {
        /// For the answer of a copy that has been reached.
        std::chrono::milliseconds answer{3000};
        /// For the lock of a copy that is about to listen, or about to end.
        std::chrono::milliseconds lock{2000};
    };

    /// Called once, when there is a copy to send the message to; the owners of its descriptors must outlive
    /// the construction.
    using MakeMessage = std::function<OpenRequest::Message()>;

    SingleInstance(InstancePlace place, const MakeMessage& makeMessage, Patience patience);
    SingleInstance(InstancePlace place, const MakeMessage& makeMessage)
        : SingleInstance(std::move(place), makeMessage, Patience()) {}
    ~SingleInstance() { release(); }
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    Role role() const { return role_; }
    /// Reason for running alone, for display; empty if none needs showing.
    const QString& fault() const { return fault_; }
    /// The listening, non-blocking socket, owned by this object; -1 unless `First`.
    int listener() const { return listener_.number(); }

    /// Stops accepting requests; later starts wait for the lock. Call at shutdown, before the request
    /// handlers are destroyed.
    void stopListening();
    /// Lets another start become the first. Call when everything is saved.
    void release();

private:
    enum class Locking { Locked, Busy, Failed };
    Locking lock();
    bool listen();
    Role findRole(const MakeMessage& makeMessage, Patience patience);
    Role alone(const QString& fault);

    const InstancePlace place_;
    QString fault_;
    Descriptor lock_;
    Descriptor listener_;
    /// Declared last: its initialiser sets the other members.
    const Role role_;
};

} // namespace korvane
