// Reading the areas; see tga_areas.h.
#include "runtime/native/formats/tga/tga_areas.h"

#include <algorithm>
#include <string_view>

#include "runtime/native/imagework/limits.h"

namespace zelmor::imagework {
namespace {

constexpr uint64_t kSignatureBytes = sizeof kTgaSignature - 1;
constexpr uint64_t kTagBytes = 10;

std::vector<uint8_t> copy_of(std::span<const uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

// Offsets and lengths may make areas lie over each other, so that all copies are counted.
class Allowance {
 public:
    explicit Allowance(uint64_t file_size) : m_left(std::min(file_size, limits::kTextBytes)) {}
    bool take(uint64_t bytes) {
        if (bytes > m_left) {
            return false;
        }
        m_left -= bytes;
        return true;
    }

 private:
    uint64_t m_left;
};

void read_extension(SourceBytes& bytes, uint64_t at, const TgaHeader& header, Allowance& allowance,
                    TgaEncoding& settings) {
    const ByteReader in(bytes);
    const uint64_t size = in.u16(at);
    if (!in.ok() || size < TgaExtension::kSize || !bytes.has(at, size) || !allowance.take(size)) {
        return;
    }
    settings.extension.emplace(copy_of(bytes.at(at, size)));
    const TgaExtension& extension = *settings.extension;
    if (const uint64_t table = extension.correction_at();
        table != 0 && bytes.has(table, kTgaCorrectionBytes) && allowance.take(kTgaCorrectionBytes)) {
        settings.correction_table = copy_of(bytes.at(table, kTgaCorrectionBytes));
    }
    if (const uint64_t stamp = extension.stamp_at(); stamp != 0 && bytes.has(stamp, 2)) {
        TgaStamp found{in.u8(stamp), in.u8(stamp + 1)};
        const uint64_t length = header.pixel_bytes() * found.width * found.height;
        if (length > 0 && bytes.has(stamp + 2, length) && allowance.take(length)) {
            found.pixels = copy_of(bytes.at(stamp + 2, length));
            settings.stamp = std::move(found);
        }
    }
    const uint64_t lines = extension.scan_lines_at();
    settings.scan_lines = lines != 0 && bytes.has(lines, uint64_t{4} * header.height);
}

void read_developer_area(SourceBytes& bytes, uint64_t at, Allowance& allowance, TgaEncoding& settings) {
    const ByteReader in(bytes);
    const uint64_t count = in.u16(at);
    if (!in.ok() || !bytes.has(at + 2, count * kTagBytes)) {
        return;
    }
    for (uint64_t i = 0; i < count; i++) {
        const uint64_t entry = at + 2 + i * kTagBytes;
        const uint16_t number = in.u16(entry);
        const uint64_t data_at = in.u32(entry + 2);
        const uint64_t size = in.u32(entry + 6);
        if (bytes.has(data_at, size) && allowance.take(size)) {
            settings.developer.push_back({number, copy_of(bytes.at(data_at, size))});
        }
    }
}

}  // namespace

bool has_tga_footer(const ByteReader& file, uint64_t size) {
    return size >= TgaHeader::kSize + kTgaFooterSize &&
           file.starts_with(size - kSignatureBytes - 1, std::string_view(kTgaSignature, kSignatureBytes));
}

void read_tga_areas(SourceBytes& bytes, const TgaHeader& header, TgaEncoding& settings) {
    const ByteReader in(bytes);
    settings.footer = has_tga_footer(in, bytes.size());
    if (!settings.footer) {
        return;
    }
    const uint64_t footer = bytes.size() - kTgaFooterSize;
    Allowance allowance(bytes.size());
    if (const uint64_t at = in.u32(footer); at != 0) {
        read_extension(bytes, at, header, allowance, settings);
    }
    if (const uint64_t at = in.u32(footer + 4); at != 0) {
        read_developer_area(bytes, at, allowance, settings);
    }
}

}  // namespace zelmor::imagework
