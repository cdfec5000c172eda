#include "Base/RkException.h"

RkException::RkException(const std::string& message) : m_message(message) {}
RkException::RkException(const RkException&) = default;
RkException& RkException::operator=(const RkException&) = default;
RkException::~RkException() = default;

const char* RkException::what() const noexcept { return m_message.c_str(); }
const std::string& RkException::GetMessage() const { return m_message; }
