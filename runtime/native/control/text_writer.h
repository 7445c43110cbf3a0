// A small writer of JSON, the format in which the tests receive the records of the control interface.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_TEXT_WRITER_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_TEXT_WRITER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zelmor::embed::control {

// Builds one JSON value, with its commas.
class TextWriter {
 public:
    TextWriter& open(char bracket);   // '{' or '['
    TextWriter& close(char bracket);  // '}' or ']'
    TextWriter& key(std::string_view name);
    TextWriter& text(std::string_view value);
    TextWriter& text_or_null(const char* value);
    TextWriter& number(int64_t value);
    TextWriter& word(uint64_t value);                  // "0x1f"
    TextWriter& bytes(const void* data, size_t size);  // hexadecimal digits
    TextWriter& null();
    const std::string& result() const { return m_result; }

 private:
    void separate();

    std::string m_result;
    bool m_comma = false;
};

// Copies as much of a text as fits into a buffer, with a terminating zero; returns the size that the whole text needs.
size_t deliver(const std::string& text, char* buffer, size_t size);

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_TEXT_WRITER_H
