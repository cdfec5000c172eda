#include "Network/Network/RkPrintSelf.h"

RkPrintSelf::~RkPrintSelf() = default;
