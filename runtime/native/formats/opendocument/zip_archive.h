// The files in a zip archive, by name.
//
// Sizes, counts and places in the archive are claims: they are compared with the archive itself, and unpacking stops at
// a limit.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_ZIP_ARCHIVE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_ZIP_ARCHIVE_H

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zelmor::imagework {

class ZipArchive {
 public:
    // Reads the directory of the archive, whose bytes outlive the object. PictureError(kDamaged) where there is none.
    explicit ZipArchive(std::span<const uint8_t> bytes);

    bool has(const std::string& name) const { return m_entries.contains(name); }
    // Nothing where the archive has no such file. PictureError: kDamaged where it cannot be unpacked, kTooLarge where
    // all files that were read become more than the limit, kUnsupported where it is encrypted or packed in a way other
    // than by deflate.
    std::optional<std::vector<uint8_t>> read(const std::string& name) const;

 private:
    struct Entry {
        uint64_t header_at = 0;
        uint64_t packed_size = 0;
        uint64_t size = 0;
        uint16_t method = 0;
        uint16_t flags = 0;
        uint32_t checksum = 0;
    };
    std::span<const uint8_t> m_bytes;
    std::map<std::string, Entry> m_entries;
    mutable uint64_t m_unpacked = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_ZIP_ARCHIVE_H
