// The native exceptions of the start-up path.
#include "host/exceptions.h"

#include <utility>

#include "host/pal.h"

BaseException::BaseException(unsigned int code) : m_error_code(code) {}

BaseException::BaseException(unsigned int code, std::string text) : m_error_code(code), m_what(std::move(text)) {}

BaseException::BaseException(std::string text) : m_error_code(0), m_what(std::move(text)) {}

BaseException::BaseException(std::string message, unsigned int code)
    : m_message(std::move(message)), m_error_code(code) {}

BaseException::~BaseException() = default;

const char* BaseException::what() const noexcept {
    if (m_what.empty()) {
        if (!m_message.empty()) {
            m_what = m_message;
            if (m_error_code != 0) {
                m_what.append(": ");
            }
        }
        m_what.append(pal::to_error_string(static_cast<int>(m_error_code)));
    }
    return m_what.c_str();
}

HostException::HostException(unsigned int code) : BaseException(code) {}

HostException::HostException(unsigned int code, std::string text) : BaseException(code, std::move(text)) {}

HostException::HostException(std::string text) : BaseException(std::move(text)) {}

HostException::HostException(std::string message, unsigned int code) : BaseException(std::move(message), code) {}

HostException::~HostException() = default;
