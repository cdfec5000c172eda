#include <iostream>

#include "Base/QorVersion.h"
#include "Network/Network/RkInetAddress.h"

int main() {
    const RkInetAddress address("10.0.0.1:80", 0, false);
    std::cout << "Qor " << QOR_VERSION << " says " << address << std::endl;
    return address.GetPort() == 80 ? 0 : 1;
}
