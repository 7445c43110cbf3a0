// The first bytes of gzip files and the headers of zip entries; see packed_head.h.
#include "runtime/native/imagework/probe/packed_head.h"

#include "runtime/native/imagework/probe/inflate.h"

namespace zelmor::imagework {
namespace {

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

std::vector<uint8_t> unpacked_head(const ByteReader& file, size_t most) {
    if (!file.starts_with(0, "\x1F\x8B")) {
        return {};
    }
    return inflated(file, 0, 64 * most, Wrapping::kGzip, most).bytes;
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
