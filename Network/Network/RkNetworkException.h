#pragma once

#include <string>

#include "Base/RkException.h"
#include "Network/QorNetworkExport.h"

/// The failure of a socket, a name look-up or a client: a message and the system's error number.
class QOR_NETWORK_EXPORT RkNetworkException : public RkException {
public:
    /// Takes the error number from errno as it stands now, so nothing that may change it may come between the failed call
    /// and this constructor. Where no system call failed the number means nothing.
    explicit RkNetworkException(const std::string& msg);

    RkNetworkException(const std::string& msg, int osErrno);
    RkNetworkException(const RkNetworkException&);
    RkNetworkException& operator=(const RkNetworkException&);
    ~RkNetworkException() override;

    /// @return the system's error number (an errno value)
    int GetOsErrno() const { return m_osErrno; }

private:
    int m_osErrno;
};
