// Unpacking by the zlib library; see inflate.h.
#include "runtime/native/behaviors/metadata/containers/inflate.h"

#include <dlfcn.h>
#include <zlib.h>

#include <algorithm>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed {

namespace {

using Uncompress = decltype(&uncompress);

Uncompress load_uncompress() {
    void* library = dlopen("libz.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    auto function = library != nullptr ? reinterpret_cast<Uncompress>(dlsym(library, "uncompress")) : nullptr;
    if (function != nullptr) {
        return function;
    }
    const char* reason = dlerror();
    throw ManagedException("DllNotFoundException", std::string("The library libz.so.1 cannot be loaded: ") +
                                                       (reason != nullptr ? reason : "no reason was given") + ".");
}

}  // namespace

Bytes inflated(std::span<const std::byte> compressed) {
    static const Uncompress unpack = load_uncompress();
    // The size of the result is not stored: the buffer grows until it is large enough.
    for (size_t room = std::max<size_t>(4096, compressed.size() * 4); room <= imagework::limits::kInflatedBytes;
         room *= 4) {
        Bytes out(room);
        uLongf size = room;
        const int status = unpack(reinterpret_cast<Bytef*>(out.data()), &size,
                                  reinterpret_cast<const Bytef*>(compressed.data()), compressed.size());
        if (status == Z_OK) {
            out.resize(size);
            return out;
        }
        if (status != Z_BUF_ERROR) {
            break;
        }
    }
    return {};
}

}  // namespace zelmor::embed
