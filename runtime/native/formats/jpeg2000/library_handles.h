// Owners of OpenJPEG's objects, and the messages that the library gives.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_LIBRARY_HANDLES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_LIBRARY_HANDLES_H

#include <openjpeg.h>

#include <memory>
#include <string>

namespace zelmor::imagework {

struct ReleaseStream {
    void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};
struct ReleaseCodec {
    void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
};
struct ReleaseImage {
    void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};
using LibraryStream = std::unique_ptr<opj_stream_t, ReleaseStream>;
using LibraryCodec = std::unique_ptr<opj_codec_t, ReleaseCodec>;
using LibraryImage = std::unique_ptr<opj_image_t, ReleaseImage>;

// The first error that the library tells of. Nothing is printed.
class LibraryMessages {
 public:
    LibraryMessages() = default;
    LibraryMessages(const LibraryMessages&) = delete;
    LibraryMessages& operator=(const LibraryMessages&) = delete;

    void listen(opj_codec_t* codec) {
        opj_set_error_handler(codec, &LibraryMessages::take, this);
        opj_set_warning_handler(codec, &LibraryMessages::ignore, nullptr);
        opj_set_info_handler(codec, &LibraryMessages::ignore, nullptr);
    }
    // `otherwise` where the library failed without a word.
    std::string text(const std::string& otherwise) const { return m_text.empty() ? otherwise : m_text; }

 private:
    static void take(const char* message, void* self) {
        try {
            std::string& text = static_cast<LibraryMessages*>(self)->m_text;
            if (text.empty() && message != nullptr) {
                text = message;
                while (!text.empty() && (text.back() == '\n' || text.back() == '.')) {
                    text.pop_back();
                }
            }
        } catch (const std::bad_alloc&) {
            return;  // the failure itself is reported all the same
        }
    }
    static void ignore(const char*, void*) {}

    std::string m_text;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_LIBRARY_HANDLES_H
