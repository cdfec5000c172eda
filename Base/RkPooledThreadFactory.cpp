#include "Base/RkPooledThreadFactory.h"

RkPooledThreadFactory::~RkPooledThreadFactory() = default;

RkThread* RkPooledThreadFactory::CreateThread(RkRunnable* loop) { return new RkThread(*loop); }
