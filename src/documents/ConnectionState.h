#pragma once

namespace korvane {

/// How a document stands to the computer on which its file lies.
enum class ConnectionState : unsigned char {
    Local,       ///< there is nothing to connect to
    Unconnected, ///< not yet, or the first attempt has failed
    Connecting,
    Connected,
    Lost,   ///< it was connected; the rows loaded so far stay
    Closed, ///< with the document
};

} // namespace korvane
