#pragma once

#include "Base/QorBaseExport.h"

/// For use in a `catch (...)`: does nothing for an exception, but passes on the forced unwinding of a thread (pthread_exit,
/// cancellation), since a handler that ends one ends the process.
QOR_BASE_EXPORT void PassOnForcedUnwinding();

/// Logs, at LV_ERROR, that the exception now being handled left `operation`.
QOR_BASE_EXPORT void ReportSwallowed(const char* operation) noexcept;

/// Calls `call`. What leaves it is logged and swallowed, save a forced unwinding.
/// @param operation  what the log line says was left, for example "RkRunnable::Run"
template <class Call>
void Swallowing(const char* operation, Call&& call) {
    try {
        call();
    } catch (...) {
        PassOnForcedUnwinding();
        ReportSwallowed(operation);
    }
}

/// Calls `call`. What leaves it is swallowed without a word, save a forced unwinding.
/// @return whether nothing left it
template <class Call>
bool SwallowingSilently(Call&& call) {
    try {
        call();
        return true;
    } catch (...) {
        PassOnForcedUnwinding();
        return false;
    }
}
