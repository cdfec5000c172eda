#pragma once

#include <cxxabi.h>

/// Logs, at LV_ERROR, that the exception now being handled left `operation`.
void ReportSwallowed(const char* operation) noexcept;

/// Calls `call`. What leaves it is logged and swallowed, save a forced unwinding (pthread_exit, cancellation), which must
/// go on: stopping it would end the process.
/// @param operation  what the log line says was left, for example "RkRunnable::Run"
template <class Call>
void Swallowing(const char* operation, Call&& call) {
    try {
        call();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
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
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return false;
    }
}
