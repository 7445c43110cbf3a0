// Finding the codec of a format, and loading it where it is a shared object of its own; see format_codec.h.
#include "runtime/native/imagework/format_codecs.h"

#include <dlfcn.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "runtime/native/imagework/codec_library.h"
#include "runtime/native/imagework/companion_codec.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// The directory of the shared object that this function is part of.
std::string own_directory() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&own_directory), &info) == 0 || info.dli_fname == nullptr) {
        return ".";
    }
    const std::string path = info.dli_fname;
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

// The codecs that are loaded, by their libraries; any thread may meet the first file of a format. `kind` is for
// messages.
const FormatCodec* loaded_codec(const std::string& library, bool own_scope, const char* kind) {
    static std::mutex lock;
    static auto* loaded = new std::map<std::string, const FormatCodec*>();
    const std::lock_guard guard(lock);
    const FormatCodec*& codec = (*loaded)[library];
    if (codec == nullptr) {
        try {
            codec = load_codec(own_directory() + "/" + library, own_scope);
        } catch (const std::runtime_error& error) {
            throw PictureError(Failure::kUnsupported,
                               std::string("the codec of ") + kind + " cannot be loaded: " + error.what());
        }
    }
    return codec;
}

}  // namespace

const FormatCodec* codec_of(Format format) {
    const auto places = codec_places();
    const auto place =
        std::find_if(places.begin(), places.end(), [&](const CodecPlace& known) { return known.format == format; });
    if (place == places.end() || place->codec != nullptr) {
        return place == places.end() ? nullptr : place->codec;
    }
    return loaded_codec(place->library, place->own_scope, format_name(format));
}

const FormatCodec& companion_codec(const char* name, const char* kind) {
    return *loaded_codec(std::string("libzelmor.embed.format.") + name + ".so", false, kind);
}

}  // namespace zelmor::imagework
