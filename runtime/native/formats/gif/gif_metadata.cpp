// XMP in an application extension of GIF. The packet is stored unchanged and not in blocks; the bytes after it are
// chosen so that a reader that takes it for blocks arrives at the end of the extension.
#include <algorithm>
#include <optional>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"

namespace zelmor::embed {

namespace {

constexpr std::string_view kXmpMark{"\x21\xFF\x0BXMP DataXMP", 14};
constexpr size_t kTrailer = 258;  // 1, 255 down to 0, and the end of the extension

// Bytes of colors, of the screen or of a frame.
uint64_t palette_size(unsigned flags) {
    return (flags & 0x80) != 0 ? uint64_t{3} << ((flags & 7) + 1) : 0;
}

// Behind the header and the colors that all frames share.
uint64_t first_block(FileParts& file) {
    constexpr uint64_t kHeader = 13;
    if (file.size() < kHeader) {
        return file.size();
    }
    return std::min(file.size(), kHeader + palette_size(file.reader(false).u8(10)));
}

// The end of the data blocks that begin at an offset.
uint64_t end_of_blocks(FileParts& file, uint64_t at) {
    const imagework::ByteReader in = file.reader(false);
    while (in.has(at, 1) && in.u8(at) != 0) {
        at += 1 + uint64_t{in.u8(at)};
    }
    return std::min(file.size(), at + 1);
}

struct Extension {
    uint64_t start = 0;
    uint64_t end = 0;  // behind it
    uint64_t packet_at = 0;
    uint64_t packet_size = 0;
};

// The extension with the packet; an empty range if the file has none.
Extension find_extension(FileParts& file) {
    const imagework::ByteReader in = file.reader(false);
    for (uint64_t at = first_block(file); at < file.size();) {
        const int kind = in.u8(at);
        if (in.starts_with(at, kXmpMark)) {
            const uint64_t from = at + kXmpMark.size();
            const uint64_t end = end_of_blocks(file, from);
            if (end - from < kTrailer) {
                return {};
            }
            return {at, end, from, end - from - kTrailer};
        }
        if (kind == 0x21 && in.has(at, 2)) {
            at = end_of_blocks(file, at + 2);
        } else if (kind == 0x2C && in.has(at, 11)) {
            at = end_of_blocks(file, at + 11 + palette_size(in.u8(at + 9)));
        } else {
            break;
        }
    }
    return {};
}

}  // namespace

static FileMetadata find_in_gif(const imagework::SharedSource& source) {
    FileParts file(source, FileParts::kShortSteps);
    FileMetadata found;
    const Extension extension = find_extension(file);
    found.xmp = file.take(extension.packet_at, extension.packet_size);
    return found;
}

static Bytes write_to_gif(std::span<const std::byte> file, const Bytes& xmp) {
    FileParts parts(source_of(file), FileParts::kShortSteps);
    const Extension old = find_extension(parts);
    const uint64_t start = old.start == old.end ? first_block(parts) : old.start;
    const uint64_t end = old.start == old.end ? start : old.end;
    Bytes out(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(start));
    if (!xmp.empty()) {
        for (const char c : kXmpMark) {
            out.push_back(static_cast<std::byte>(c));
        }
        out.insert(out.end(), xmp.begin(), xmp.end());
        out.push_back(std::byte{1});
        for (int value = 255; value >= 0; --value) {
            out.push_back(static_cast<std::byte>(value));
        }
        out.push_back(std::byte{0});
    }
    out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(end), file.end());
    return out;
}

// The packet stands behind the colors that all frames share. Encoders write none themselves.
static std::optional<size_t> head_of_gif(std::span<const std::byte> start) {
    constexpr size_t kHeader = 13;
    if (start.size() < kHeader) {
        return std::nullopt;
    }
    const uint64_t size = kHeader + palette_size(std::to_integer<unsigned>(start[10]));
    return start.size() < size ? std::nullopt : std::optional<size_t>(size);
}

extern const MetadataContainer kGifContainer;
const MetadataContainer kGifContainer{
    .format = imagework::Format::kGif,
    .find = &find_in_gif,
    .write = [](std::span<const std::byte> file,
                const MetadataToWrite& metadata) { return write_to_gif(file, metadata.xmp); },
    .head = &head_of_gif,
};

}  // namespace zelmor::embed
