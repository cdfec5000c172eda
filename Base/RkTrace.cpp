#include "Base/RkTrace.h"

RkTrace::~RkTrace() = default;
