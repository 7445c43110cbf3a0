// Loading a codec; see codec_library.h.
#include "runtime/native/imagework/codec_library.h"

#include <dlfcn.h>

#include <new>
#include <stdexcept>

#include "runtime/native/core/load_failure.h"

namespace zelmor::imagework {

const FormatCodec* load_codec(const std::string& path, bool own_scope) {
#if defined(__SANITIZE_ADDRESS__)
    const int scope = 0;
    static_cast<void>(own_scope);
#else
    const int scope = own_scope ? RTLD_DEEPBIND : 0;
#endif
    // A library may set a handler of its own for memory that runs out, which is not meant for the rest of the process.
    const std::new_handler handler = std::get_new_handler();
    // Never unloaded: pictures keep readers, and the libraries behind it have types that stay.
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE | scope);
    std::set_new_handler(handler);
    void* const symbol = library != nullptr ? dlsym(library, kFormatCodecSymbol) : nullptr;
    if (symbol == nullptr) {
        throw std::runtime_error(embed::load_failure());
    }
    return reinterpret_cast<FormatCodecFunction>(symbol)();
}

}  // namespace zelmor::imagework
