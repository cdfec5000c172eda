#include "Base/RkSwallow.h"

#include <cxxabi.h>

#include <exception>

#include "Diag/RkLogStream.h"

namespace {

/// Never destroyed: threads may outlive every static object.
kstr::diag::RkLogger& Logger() {
    static auto& logger = *new kstr::diag::RkLogger("Qor.Base.RkThread");
    return logger;
}

}  // namespace

// A forced unwinding has no object: the reference that catches it is null, and nobody looks at it.
__attribute__((no_sanitize("null"))) void PassOnForcedUnwinding() {
    try {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {  // an exception: the caller's to handle
    }
}

void ReportSwallowed(const char* operation) noexcept {
    try {
        throw;
    } catch (const std::exception& e) {
        const char* text = e.what();
        DIAG_LOG(Logger(), kstr::diag::LV_ERROR, "Exception left " << operation << ": " << (text ? text : "no text"));
    } catch (...) {
        DIAG_LOG(Logger(), kstr::diag::LV_ERROR, "Unknown exception left " << operation);
    }
}
