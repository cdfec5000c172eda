#include "Network/HTTP/RkHttpRequestHandler.h"

RkHttpRequestHandler::~RkHttpRequestHandler() = default;

void RkHttpRequestHandler::handleRequest(RkHttpRequest& /*request*/, RkBStream& /*stream*/) {}
