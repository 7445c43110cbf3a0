// Unpacking by the zlib library, which is loaded when the first gzip file is met; see packed_head.h.
#include "runtime/native/imagework/probe/packed_head.h"

#include <dlfcn.h>
#include <zlib.h>

#include <algorithm>

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

constexpr std::string_view kZipEntry("PK\x03\x04", 4);

// The header before each entry of a zip archive.
struct ZipEntry {
    uint64_t packed_size;
    uint64_t name_size;
    uint64_t extra_size;
    bool stored;
    bool sized;  // otherwise the sizes stand behind the data

    static constexpr uint64_t kHeader = 30;
    static ZipEntry at(const ByteReader& in, uint64_t at) {
        return {in.u32(at + 18), in.u16(at + 26), in.u16(at + 28), in.u16(at + 8) == 0, (in.u16(at + 6) & 8) == 0};
    }
    uint64_t data_at(uint64_t at) const { return at + kHeader + name_size + extra_size; }
};

}  // namespace

namespace {

// At most so many bytes of what a deflate stream at an offset packs, with the header that the window tells of.
std::vector<uint8_t> unpacked(const ByteReader& file, uint64_t at, int window, size_t most) {
    static const Zlib zlib = load_zlib();
    z_stream stream{};
    if (zlib.begin == nullptr || zlib.run == nullptr || zlib.end == nullptr ||
        zlib.begin(&stream, window, ZLIB_VERSION, sizeof stream) != Z_OK) {
        return {};
    }
    constexpr uint64_t kPiece = 1024;
    constexpr size_t kStep = size_t{64} << 10;
    std::vector<uint8_t> head;
    const uint64_t begin = at;
    int status = Z_OK;
    while (status == Z_OK && head.size() < most) {
        const auto piece = file.piece(at, kPiece);
        if (piece.empty() || at - begin > 64 * most) {
            break;
        }
        at += piece.size();
        stream.next_in = const_cast<Bytef*>(piece.data());
        stream.avail_in = static_cast<uInt>(piece.size());
        do {
            const size_t before = head.size();
            head.resize(std::min(most, before + kStep));
            stream.next_out = head.data() + before;
            stream.avail_out = static_cast<uInt>(head.size() - before);
            status = zlib.run(&stream, Z_SYNC_FLUSH);
            head.resize(head.size() - stream.avail_out);
        } while (status == Z_OK && stream.avail_out == 0 && head.size() < most);
        status = status == Z_BUF_ERROR ? Z_OK : status;
    }
    zlib.end(&stream);
    return head;
}

}  // namespace

std::vector<uint8_t> unpacked_head(const ByteReader& file, size_t most) {
    constexpr int kGzip = 15 + 16;
    return file.starts_with(0, "\x1F\x8B") ? unpacked(file, 0, kGzip, most) : std::vector<uint8_t>();
}

std::vector<uint8_t> inflated(const ByteReader& file, uint64_t at, size_t most) {
    constexpr int kBare = -15;
    return unpacked(file, at, kBare, most);
}

bool is_zip_of_type(const ByteReader& file, std::string_view mime_type) {
    if (!file.starts_with(0, kZipEntry) || !file.starts_with(ZipEntry::kHeader, "mimetype")) {
        return false;
    }
    const ZipEntry entry = ZipEntry::at(file.in_order(false), 0);
    return entry.stored && entry.packed_size == mime_type.size() && file.starts_with(entry.data_at(0), mime_type);
}

bool has_zip_entry(const ByteReader& file, std::string_view name) {
    const ByteReader in = file.in_order(false);
    constexpr int kMostEntries = 16;
    uint64_t at = 0;
    for (int i = 0; i < kMostEntries && in.starts_with(at, kZipEntry); i++) {
        const ZipEntry entry = ZipEntry::at(in, at);
        if (entry.name_size == name.size() && in.starts_with(at + ZipEntry::kHeader, name)) {
            return true;
        }
        if (!entry.sized) {
            return false;
        }
        at = entry.data_at(at) + entry.packed_size;
    }
    return false;
}

}  // namespace zelmor::imagework
