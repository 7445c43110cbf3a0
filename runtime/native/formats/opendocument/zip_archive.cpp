// The central directory and the entries of a zip archive; see zip_archive.h.
#include "runtime/native/formats/opendocument/zip_archive.h"

#include <algorithm>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/inflate.h"

namespace zelmor::imagework {
namespace {

constexpr std::string_view kEndMark("PK\x05\x06", 4);
constexpr std::string_view kDirectoryMark("PK\x01\x02", 4);
constexpr std::string_view kEntryMark("PK\x03\x04", 4);
constexpr uint64_t kEndSize = 22;
constexpr uint64_t kDirectoryEntrySize = 46;
constexpr uint64_t kHeaderSize = 30;
constexpr uint64_t kMostComment = 0xFFFF;

constexpr uint16_t kStored = 0;
constexpr uint16_t kDeflated = 8;
constexpr uint16_t kEncrypted = 1;

[[noreturn]] void throw_damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

// Where the record at the end of the archive begins, which a comment of any text may follow.
uint64_t find_end(const ByteReader& in, uint64_t size) {
    for (uint64_t back = kEndSize; back <= std::min(size, kEndSize + kMostComment); back++) {
        if (in.starts_with(size - back, kEndMark)) {
            return size - back;
        }
    }
    throw_damaged("the zip archive has no directory at its end");
}

// The polynomial of zip and PNG, bit by bit.
uint32_t checksum_of(std::span<const uint8_t> bytes) {
    static const std::vector<uint32_t> table = [] {
        std::vector<uint32_t> rows(256);
        for (uint32_t i = 0; i < 256; i++) {
            uint32_t row = i;
            for (int bit = 0; bit < 8; bit++) {
                row = (row & 1) != 0 ? row >> 1 ^ 0xEDB88320 : row >> 1;
            }
            rows[i] = row;
        }
        return rows;
    }();
    uint32_t sum = 0xFFFFFFFF;
    for (const uint8_t byte : bytes) {
        sum = table[(sum ^ byte) & 0xFF] ^ sum >> 8;
    }
    return ~sum;
}

}  // namespace

ZipArchive::ZipArchive(std::span<const uint8_t> bytes) : m_bytes(bytes) {
    const ByteReader in(bytes);
    const uint64_t end = find_end(in, bytes.size());
    const uint64_t count = in.u16(end + 10);
    uint64_t at = in.u32(end + 16);
    for (uint64_t i = 0; i < count; i++) {
        if (!in.starts_with(at, kDirectoryMark) || !in.has(at, kDirectoryEntrySize)) {
            throw_damaged("the directory of the zip archive ends early");
        }
        const Entry entry{.header_at = in.u32(at + 42),
                          .packed_size = in.u32(at + 20),
                          .size = in.u32(at + 24),
                          .method = in.u16(at + 10),
                          .flags = in.u16(at + 8),
                          .checksum = in.u32(at + 16)};
        const auto name = in.piece(at + kDirectoryEntrySize, in.u16(at + 28));
        m_entries.emplace(std::string(name.begin(), name.end()), entry);
        at += kDirectoryEntrySize + in.u16(at + 28) + in.u16(at + 30) + in.u16(at + 32);
    }
}

std::optional<std::vector<uint8_t>> ZipArchive::read(const std::string& name) const {
    const auto found = m_entries.find(name);
    if (found == m_entries.end()) {
        return std::nullopt;
    }
    const Entry& entry = found->second;
    const std::string subject = "'" + name + "' in the zip archive ";
    if ((entry.flags & kEncrypted) != 0) {
        throw PictureError(Failure::kUnsupported, subject + "is encrypted");
    }
    if (entry.method != kStored && entry.method != kDeflated) {
        throw PictureError(Failure::kUnsupported,
                           subject + "is packed by method " + std::to_string(entry.method) + ", not by deflate");
    }
    const ByteReader in(m_bytes);
    const uint64_t data_at =
        entry.header_at + kHeaderSize + in.u16(entry.header_at + 26) + in.u16(entry.header_at + 28);
    if (!in.starts_with(entry.header_at, kEntryMark) || !in.has(data_at, entry.packed_size)) {
        throw_damaged(subject + "lies outside of the file");
    }
    const uint64_t room = limits::kInflatedBytes - std::min<uint64_t>(m_unpacked, limits::kInflatedBytes);
    if (entry.size > room) {
        throw PictureError(Failure::kTooLarge, subject + "is too large");
    }
    std::vector<uint8_t> bytes;
    if (entry.method == kStored) {
        const auto stored = in.piece(data_at, entry.packed_size);
        bytes.assign(stored.begin(), stored.end());
    } else {
        Unpacked unpacked = inflated(in, data_at, entry.packed_size, Wrapping::kNone, entry.size + 1);
        if (!unpacked.has_library) {
            throw PictureError(Failure::kInternal, "the library libz.so.1 cannot be loaded");
        }
        if (!unpacked.complete) {
            throw_damaged(subject + "cannot be unpacked");
        }
        bytes = std::move(unpacked.bytes);
    }
    if (bytes.size() != entry.size || checksum_of(bytes) != entry.checksum) {
        throw_damaged(subject + "is damaged");
    }
    m_unpacked += bytes.size();
    return bytes;
}

}  // namespace zelmor::imagework
