// Unpacking in pieces, so that the memory grows with the data and not with what a file claims; see inflate.h.
#include "runtime/native/imagework/probe/inflate.h"

#include <dlfcn.h>
#include <zlib.h>

#include <algorithm>
#include <array>

namespace zelmor::imagework {
namespace {

struct Zlib {
    decltype(&inflateInit2_) begin = nullptr;
    decltype(&inflate) run = nullptr;
    decltype(&inflateEnd) end = nullptr;
};

Zlib load_zlib() {
    Zlib zlib;
    if (void* library = dlopen("libz.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE); library != nullptr) {
        zlib.begin = reinterpret_cast<decltype(zlib.begin)>(dlsym(library, "inflateInit2_"));
        zlib.run = reinterpret_cast<decltype(zlib.run)>(dlsym(library, "inflate"));
        zlib.end = reinterpret_cast<decltype(zlib.end)>(dlsym(library, "inflateEnd"));
    }
    return zlib;
}

}  // namespace

Unpacked inflated(const ByteReader& file, uint64_t offset, uint64_t length, Wrapping wrapping, size_t most) {
    static const Zlib zlib = load_zlib();
    if (zlib.begin == nullptr || zlib.run == nullptr || zlib.end == nullptr) {
        return {.has_library = false};
    }
    constexpr int kWindow = 15;
    constexpr int kGzip = 16;
    z_stream stream{};
    if (zlib.begin(&stream, wrapping == Wrapping::kGzip ? kWindow + kGzip : -kWindow, ZLIB_VERSION, sizeof stream) !=
        Z_OK) {
        return {};
    }
    Unpacked result;
    constexpr uint64_t kPacked = 4096;
    std::array<uint8_t, size_t{1} << 14> out;
    int status = Z_OK;
    for (uint64_t at = 0; status == Z_OK && at < length && result.bytes.size() < most; at += kPacked) {
        const auto piece = file.piece(offset + at, std::min(kPacked, length - at));
        if (piece.empty()) {
            break;
        }
        stream.next_in = const_cast<Bytef*>(piece.data());
        stream.avail_in = static_cast<uInt>(piece.size());
        do {
            const size_t room = std::min(out.size(), most - result.bytes.size());
            stream.next_out = out.data();
            stream.avail_out = static_cast<uInt>(room);
            status = zlib.run(&stream, Z_SYNC_FLUSH);
            result.bytes.insert(result.bytes.end(), out.data(), out.data() + (room - stream.avail_out));
        } while (status == Z_OK && stream.avail_out == 0 && result.bytes.size() < most);
        if (status == Z_BUF_ERROR) {
            status = Z_OK;  // all input is used up
        }
    }
    zlib.end(&stream);
    result.complete = status == Z_STREAM_END;
    return result;
}

}  // namespace zelmor::imagework
