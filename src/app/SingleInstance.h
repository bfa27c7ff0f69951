#pragma once

#include "app/InstancePlace.h"
#include "app/OpenRequest.h"
#include "foundation/Descriptor.h"

#include <QString>

#include <chrono>
#include <functional>

namespace korvane {

/// Finds out at the start of the program whether a copy of it runs already, and hands that copy the request,
/// or becomes the running copy itself. Works without an application object and blocks, within limits. For one
/// thread.
///
/// The running copy holds a lock, which ends with the process however that ends, and listens on a socket.
/// Whoever wants something connects, sends one message and waits for one byte.
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

    /// Whether whoever is at the other end of a connection belongs to the user.
    static bool isOfThisUser(int socket);

    /// What the running copy answers to a message.
    static constexpr char takenAnswer = 'T';
    static constexpr char refusedAnswer = 'R';

    struct Patience {
        /// With a copy that has been reached and does not answer.
        std::chrono::milliseconds answer{3000};
        /// With a copy that is about to begin listening, or has stopped and is about to end.
        std::chrono::milliseconds lock{2000};
    };

    /// Asked for once, when there is a copy to send it to; what its descriptors belong to must outlive the
    /// construction.
    using MakeMessage = std::function<OpenRequest::Message()>;

    SingleInstance(const InstancePlace& place, const MakeMessage& makeMessage, Patience patience);
    SingleInstance(const InstancePlace& place, const MakeMessage& makeMessage)
        : SingleInstance(place, makeMessage, Patience()) {}
    ~SingleInstance() { release(); }
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    Role role() const { return role_; }
    /// Why it is alone, for the user; empty where that is nothing to speak of.
    const QString& fault() const { return fault_; }
    /// Listens, does not block, and stays this object's. -1 for all but the first.
    int listener() const { return listener_.number(); }

    /// From here on nobody gets through any more: later starts wait for the lock. For the end of the program,
    /// before what it serves requests with goes away.
    void stopListening();
    /// Lets another start become the first. Once nothing is saved any more.
    void release();

private:
    enum class Locking { Locked, Busy, Failed };
    Locking lock();
    bool listen();
    Role findRole(const MakeMessage& makeMessage, Patience patience);
    Role alone(const char* fault);

    const InstancePlace place_;
    QString fault_;
    Descriptor lock_;
    Descriptor listener_;
    /// Found last: finding it fills the others.
    const Role role_;
};

} // namespace korvane
