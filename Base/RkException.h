#pragma once

#include <exception>
#include <string>

#include "Base/QorBaseExport.h"

/// The root of all exceptions of the library: a message, thrown by value and caught by reference.
class QOR_BASE_EXPORT RkException : public std::exception {
public:
    explicit RkException(const std::string& message);
    RkException(const RkException&);
    RkException& operator=(const RkException&);
    ~RkException() override;

    /// @return the message as a C string; ends at its first NUL
    const char* what() const noexcept override;

    /// @return the whole text. Messages that were composed in a stream end with one NUL, which is part of it here:
    ///         callers compare and log the text as it is.
    const std::string& GetMessage() const;

private:
    std::string m_message;
};
