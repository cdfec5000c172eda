#pragma once

#include <iosfwd>

#include "Network/QorNetworkExport.h"

/// How much an object prints about itself. Any other number may be handed on too, cast to this type: what is printed then
/// is the implementer's affair.
enum PrintSelfLevel : int {
    RK_PRINT_BANNER = 0,   ///< who it is and when it was asked
    RK_PRINT_STATE = 1,    ///< also address, state and counters
    RK_PRINT_DETAILS = 2,  ///< as much as RK_PRINT_STATE, with the classes of this library
    RK_PRINT_ALL = 3       ///< also what it is made of: a server lists its connections
};

/// Something that can print its state as text for a person.
class QOR_NETWORK_EXPORT RkPrintSelf {
public:
    virtual ~RkPrintSelf();

    /// Called by any thread, while others work with the object.
    virtual void PrintSelf(std::ostream& stream, PrintSelfLevel level) = 0;
};
