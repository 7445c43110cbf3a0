// The native exceptions of the start-up path. They are fatal by design: nothing catches them, the terminate handler
// prints their text and the process ends. Errors that Python is to see are never reported this way.
#ifndef ZELMOR_HOST_EXCEPTIONS_H
#define ZELMOR_HOST_EXCEPTIONS_H

#include <exception>
#include <string>

/// An error number together with a message, or with a finished text. The constructors (code, text) and (text) take the
/// text that what() returns; after (message, code) and (code), what() builds the text of the message and the code.
class BaseException : public std::exception {
 public:
    explicit BaseException(unsigned int code);
    BaseException(unsigned int code, std::string text);
    explicit BaseException(std::string text);
    BaseException(std::string message, unsigned int code);

    BaseException(const BaseException&) = default;
    BaseException& operator=(const BaseException&) = default;
    ~BaseException() override;

    /// The finished text; otherwise the message, ": " if the code is not 0, and the system's text for the code.
    const char* what() const noexcept override;

    unsigned int error_code() const { return m_error_code; }

 private:
    std::string m_message;
    unsigned int m_error_code;
    mutable std::string m_what;  // built by the first what() that finds it empty
};

/// The runtime could not be started.
class HostException : public BaseException {
 public:
    explicit HostException(unsigned int code);
    HostException(unsigned int code, std::string text);
    explicit HostException(std::string text);
    HostException(std::string message, unsigned int code);

    HostException(const HostException&) = default;
    HostException& operator=(const HostException&) = default;
    ~HostException() override;
};

#endif  // ZELMOR_HOST_EXCEPTIONS_H
