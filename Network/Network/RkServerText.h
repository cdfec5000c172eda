/// What the status texts of the servers have in common; for the library's own use. Lines end with "\r\n".
#pragma once

#include <ostream>

#include "Network/Network/RkPrintSelf.h"

class RkInetAddress;
class RkThreadPool;

/// The head of every level: who prints, at which level, and when.
/// @param name  kind of server, as in its inspection key
void RkPrintServerBanner(std::ostream& stream, const char* name, PrintSelfLevel level);

/// Where an IPv4 server listens, what it does, and how many threads it has.
void RkPrintServerState(std::ostream& stream, const RkInetAddress& local, const char* state, const RkThreadPool& pool);

/// Lets each connection of a table print itself. The caller holds the table's lock.
template <class Map>
void RkPrintConnections(std::ostream& stream, const Map& connections) {
    stream << "connections:\n";  // this line alone ends with a plain line feed
    for (const auto& entry : connections) {
        stream << "  ";
        entry.second->PrintSelf(stream, RK_PRINT_ALL);
    }
    stream << "\r\n";
}
