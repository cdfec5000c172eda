#include "Base/RkRunnable.h"

RkRunnable::~RkRunnable() = default;

void RkRunnable::SetLocalData(void* data) { m_dat = data; }

void* RkRunnable::GetLocalData() { return m_dat; }
