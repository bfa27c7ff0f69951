#pragma once

namespace korvane {

/// State of a document's connection to the host of its file.
enum class ConnectionState : unsigned char {
    Local,       ///< no connection needed
    Unconnected, ///< not connected yet, or the first attempt has failed
    Connecting,
    Connected,
    Lost,   ///< it was connected; the rows loaded so far stay
    Closed, ///< together with the document
};

} // namespace korvane
