// Metafiles that gzip compressed (.emz, .wmz), and compressing them.
#include <dlfcn.h>
#include <zlib.h>

#include <algorithm>
#include <memory>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/metafile/metafile_file.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed::metafile {

namespace {

// The functions of the library, which is loaded when it is first needed.
struct Zlib {
    decltype(&inflateInit2_) begin = nullptr;
    decltype(&inflate) next = nullptr;
    decltype(&inflateEnd) end = nullptr;
    decltype(&deflateInit2_) begin_packing = nullptr;
    decltype(&deflate) pack = nullptr;
    decltype(&deflateEnd) end_packing = nullptr;
};

const Zlib& zlib() {
    static const Zlib loaded = [] {
        void* library = dlopen("libz.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        Zlib found;
        if (library != nullptr) {
            found.begin = reinterpret_cast<decltype(found.begin)>(dlsym(library, "inflateInit2_"));
            found.next = reinterpret_cast<decltype(found.next)>(dlsym(library, "inflate"));
            found.end = reinterpret_cast<decltype(found.end)>(dlsym(library, "inflateEnd"));
            found.begin_packing = reinterpret_cast<decltype(found.begin_packing)>(dlsym(library, "deflateInit2_"));
            found.pack = reinterpret_cast<decltype(found.pack)>(dlsym(library, "deflate"));
            found.end_packing = reinterpret_cast<decltype(found.end_packing)>(dlsym(library, "deflateEnd"));
        }
        if (found.begin == nullptr || found.next == nullptr || found.end == nullptr || found.begin_packing == nullptr ||
            found.pack == nullptr || found.end_packing == nullptr) {
            throw ManagedException("DllNotFoundException", "The library libz.so.1 cannot be loaded.");
        }
        return found;
    }();
    return loaded;
}

constexpr int kGzipWindow = 15 + 16;  // the largest window, behind a header of gzip

}  // namespace

FileBytes unpacked(FileView bytes) {
    if (bytes.size() < 2 || bytes[0] != 0x1F || bytes[1] != 0x8B) {
        return {bytes.begin(), bytes.end()};
    }
    const Zlib& library = zlib();
    z_stream stream{};
    if (library.begin(&stream, kGzipWindow, ZLIB_VERSION, sizeof stream) != Z_OK) {
        throw std::bad_alloc();
    }
    const std::unique_ptr<z_stream, decltype(&inflateEnd)> ending(&stream, library.end);
    FileBytes out;
    int status = Z_OK;
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(std::min<size_t>(bytes.size(), UINT32_MAX));
    while (status == Z_OK) {
        const size_t before = out.size();
        if (before >= imagework::limits::kInflatedBytes) {
            throw MetafileError("the compressed metafile is too large");
        }
        const size_t room =
            std::min<size_t>(std::max<size_t>(before, 65536), imagework::limits::kInflatedBytes - before);
        out.resize(before + room);
        stream.next_out = out.data() + before;
        stream.avail_out = static_cast<uInt>(room);
        status = library.next(&stream, Z_NO_FLUSH);
        out.resize(before + room - stream.avail_out);
    }
    if (status != Z_STREAM_END) {
        throw MetafileError("the compressed metafile is damaged or ends too early");
    }
    return out;
}

FileBytes packed(FileView bytes) {
    const Zlib& library = zlib();
    constexpr int kUsualMemory = 8;
    z_stream stream{};
    if (library.begin_packing(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kUsualMemory, Z_DEFAULT_STRATEGY,
                              ZLIB_VERSION, sizeof stream) != Z_OK) {
        throw std::bad_alloc();
    }
    const std::unique_ptr<z_stream, decltype(&deflateEnd)> ending(&stream, library.end_packing);
    FileBytes out;
    constexpr size_t kChunk = 1 << 20;
    int status = Z_OK;
    size_t taken = 0;
    while (status != Z_STREAM_END) {
        if (stream.avail_in == 0 && taken < bytes.size()) {
            const FileView part = bytes.subspan(taken, std::min(kChunk, bytes.size() - taken));
            stream.next_in = const_cast<Bytef*>(part.data());
            stream.avail_in = static_cast<uInt>(part.size());
            taken += part.size();
        }
        const size_t before = out.size();
        out.resize(before + kChunk);
        stream.next_out = out.data() + before;
        stream.avail_out = static_cast<uInt>(kChunk);
        status = library.pack(&stream, taken == bytes.size() ? Z_FINISH : Z_NO_FLUSH);
        out.resize(before + kChunk - stream.avail_out);
    }
    return out;
}

}  // namespace zelmor::embed::metafile
