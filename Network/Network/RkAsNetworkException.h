#pragma once

#include "Network/Network/RkNetworkException.h"

/// Runs `step` for callers who catch RkNetworkException alone: what streams and devices throw as a plain RkException leaves
/// as one, with the same text. For the library's own use.
template <class Step>
void RkAsNetworkException(const Step& step) {
    try {
        step();
    } catch (const RkNetworkException&) {
        throw;
    } catch (const RkException& e) {
        throw RkNetworkException(e.GetMessage());
    }
}
