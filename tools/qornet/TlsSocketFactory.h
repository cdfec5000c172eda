#pragma once

#include <string>

#include "Network/Network/RkTcpSocketFactory.h"

/// Makes the sockets of `qornet serve --cert --key`. Files that are replaced while the server runs are taken up by the next
/// connection. Safe from any thread.
class TlsSocketFactory : public RkTcpSocketFactory {
public:
    /// Loads the files once, so that what is wrong with them is told at the start. Throws CommandFailed. Warns on standard
    /// error if others may read the key.
    TlsSocketFactory(const std::string& certFile, const std::string& keyFile);

    RkTcpSocket* CreateSocket() override;

private:
    const std::string m_certFile;
    const std::string m_keyFile;
};
